// Real threads for tests of what runs on them.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "parallel/context.h"

namespace nmp::test {

/// The usual framework with so many threads, which counts what it is given.
class Threads final : public parallel::Context {
 public:
  explicit Threads(unsigned threads)
      : pool_(parallel::make_context("pushpool:" + std::to_string(threads))) {}
  unsigned threads() const override { return pool_->threads(); }
  std::string description() const override { return pool_->description(); }
  std::size_t loops() const { return loops_; }  ///< calls of parallel_for so far
  std::size_t forks() const { return forks_; }  ///< calls of fork_join so far

  void parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                    const std::function<void(std::size_t, std::size_t)>& body) override {
    ++loops_;
    pool_->parallel_for(begin, end, grain, body);
  }
  void fork_join(const std::function<void()>& left, const std::function<void()>& right) override {
    ++forks_;
    pool_->fork_join(left, right);
  }

 private:
  const std::unique_ptr<parallel::Context> pool_;
  std::atomic<std::size_t> loops_ = 0, forks_ = 0;
};

}  // namespace nmp::test
