// Loops over the points of a plane, shared out among threads where they are many.
#pragma once

#include <cstddef>
#include <functional>

#include "arith/context.h"
#include "parallel/context.h"

namespace nmp::n64 {

/// Transforms of fewer points stay on the calling thread.
inline constexpr std::size_t kParallelPoints = std::size_t{1} << 14;
/// Points of a task at least, but for the last one.
inline constexpr std::size_t kTaskPoints = std::size_t{1} << 12;

/// Threads that a plane of n points is worth.
inline unsigned threads_for(const Context& context, std::size_t n) {
  return n < kParallelPoints ? 1 : context.threads.threads();
}

/// Calls body(first, last) for ranges that tile [0, n), multiples of kTaskPoints long.
template <class Body>
void share(Context& context, std::size_t n, const Body& body) {
  if (threads_for(context, n) == 1) return body(std::size_t{0}, n);
  context.threads.parallel_for(0, n, kTaskPoints, std::cref(body));
}

}  // namespace nmp::n64
