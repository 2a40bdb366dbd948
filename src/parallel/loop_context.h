// What all frameworks with threads have in common: both shapes become one kind of loop.
#pragma once

#include <string>

#include "parallel/context.h"
#include "parallel/loop.h"

namespace nmp::parallel {

class LoopContext : public Context {
 public:
  LoopContext(std::string key, unsigned threads) : key_(std::move(key)), threads_(threads) {}

  unsigned threads() const final { return threads_; }
  std::string description() const final { return key_ + ':' + std::to_string(threads_); }
  void parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                    const std::function<void(std::size_t, std::size_t)>& body) final;
  /// A loop of two chunks. The left task is the caller's.
  void fork_join(const std::function<void()>& left, const std::function<void()>& right) final;

 protected:
  /// Runs a loop of several chunks, the first one here, the others with whatever threads there are.
  /// Returns when the last of them has left the loop. Throws only before the loop has begun.
  virtual void share(Loop& loop) = 0;
  /// For a constructor that could not start all threads.
  void set_threads(unsigned threads) { threads_ = threads; }

 private:
  void run(Loop& loop);

  const std::string key_;
  unsigned threads_;
};

}  // namespace nmp::parallel
