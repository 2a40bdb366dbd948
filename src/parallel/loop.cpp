#include "parallel/loop.h"

#include <algorithm>
#include <utility>

namespace nmp::parallel {
namespace {

constexpr std::size_t kChunksPerThread = 4;

std::size_t divide_up(std::size_t a, std::size_t b) { return (a - 1) / b + 1; }

}  // namespace

Loop::Loop(std::size_t begin, std::size_t end, std::size_t grain, unsigned threads,
           const Body& body)
    : begin_(begin), end_(end), body_(body) {
  grain = std::clamp<std::size_t>(grain, 1, end - begin);
  const std::size_t grains = divide_up(end - begin, grain);
  const std::size_t each = divide_up(grains, kChunksPerThread * threads);
  chunks_ = divide_up(grains, each);
  chunk_ = chunks_ == 1 ? end - begin : each * grain;
}

void Loop::run_one(std::size_t chunk) const {
  const std::size_t first = begin_ + chunk * chunk_;
  body_(first, chunk + 1 == chunks_ ? end_ : first + chunk_);
}

void Loop::run(std::size_t chunk) noexcept {
  try {
    for (; is_chunk(chunk); chunk = claim()) run_one(chunk);
  } catch (...) {
    next_ = chunks_;
    if (!failed_.exchange(true)) error_ = std::current_exception();
  }
}

void Loop::rethrow() {
  if (failed_) std::rethrow_exception(std::exchange(error_, nullptr));
}

}  // namespace nmp::parallel
