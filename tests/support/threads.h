// A framework of plain threads, for tests that must not depend on which frameworks exist.
#pragma once

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "parallel/context.h"

namespace nmp::test {

class PlainThreads final : public parallel::Context {
 public:
  explicit PlainThreads(unsigned threads) : threads_(threads) {}
  unsigned threads() const override { return threads_; }
  std::string description() const override { return "plain"; }
  std::size_t loops() const { return loops_; }  ///< calls of parallel_for so far

  void parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                    const std::function<void(std::size_t, std::size_t)>& body) override {
    ++loops_;
    const std::size_t grains = (end - begin + grain - 1) / grain;
    const std::size_t each = (grains + threads_ - 1) / threads_ * grain;
    std::vector<std::thread> workers;
    for (std::size_t first = begin; first < end; first += each)
      workers.emplace_back(
          [&body, first, last = std::min(end, first + each)] { body(first, last); });
    for (std::thread& worker : workers) worker.join();
  }
  void fork_join(const std::function<void()>& left, const std::function<void()>& right) override {
    std::thread worker(left);
    right();
    worker.join();
  }

 private:
  unsigned threads_;
  std::size_t loops_ = 0;
};

}  // namespace nmp::test
