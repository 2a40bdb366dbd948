// A framework of plain threads, for tests that must not depend on which frameworks exist.
#pragma once

#include <algorithm>
#include <exception>
#include <functional>
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
    std::vector<std::function<void()>> tasks;
    for (std::size_t first = begin; first < end; first += each)
      tasks.emplace_back([&body, first, last = std::min(end, first + each)] { body(first, last); });
    run(tasks);
  }
  void fork_join(const std::function<void()>& left, const std::function<void()>& right) override {
    run({left, right});
  }

 private:
  /// Every task on a thread of its own; rethrows the first exception by place.
  static void run(const std::vector<std::function<void()>>& tasks) {
    std::vector<std::exception_ptr> faults(tasks.size());
    std::vector<std::thread> workers;
    for (std::size_t i = 0; i < tasks.size(); ++i)
      workers.emplace_back([&, i] {
        try {
          tasks[i]();
        } catch (...) {
          faults[i] = std::current_exception();
        }
      });
    for (std::thread& worker : workers) worker.join();
    for (const std::exception_ptr& fault : faults)
      if (fault) std::rethrow_exception(fault);
  }

  unsigned threads_;
  std::size_t loops_ = 0;
};

}  // namespace nmp::test
