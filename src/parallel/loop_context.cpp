#include "parallel/loop_context.h"

namespace nmp::parallel {

void LoopContext::run(Loop& loop) {
  share(loop);
  loop.rethrow();
}

void LoopContext::parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                               const std::function<void(std::size_t, std::size_t)>& body) {
  if (begin >= end) return;
  if (threads_ == 1) return body(begin, end);
  Loop loop(begin, end, grain, threads_, body);
  if (loop.chunks() == 1) return body(begin, end);
  run(loop);
}

void LoopContext::fork_join(const std::function<void()>& left, const std::function<void()>& right) {
  if (threads_ == 1) {
    left();
    return right();
  }
  const std::function<void(std::size_t, std::size_t)> body = [&](std::size_t first, std::size_t) {
    first == 0 ? left() : right();
  };
  Loop loop(0, 2, 1, threads_, body);
  run(loop);
}

}  // namespace nmp::parallel
