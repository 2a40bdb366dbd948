// The framework without threads: loops and pairs of tasks run one after the other.
#pragma once

#include "parallel/context.h"

namespace nmp::parallel {

class SerialContext final : public Context {
 public:
  unsigned threads() const override { return 1; }
  std::string description() const override { return "none"; }

  void parallel_for(std::size_t begin, std::size_t end, std::size_t /*grain*/,
                    const std::function<void(std::size_t, std::size_t)>& body) override {
    if (begin < end) body(begin, end);
  }

  void fork_join(const std::function<void()>& left, const std::function<void()>& right) override {
    left();
    right();
  }
};

}  // namespace nmp::parallel
