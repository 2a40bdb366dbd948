// Where the residues of one operand modulo one prime are kept: one double for each point.
//
// This is the border between the transform and the storage. The transform sees a plane through
// `read` and `write` only, strip by strip; each strip is worked on once per pass, and no two tasks
// have strips with a point in common. So storage that is not memory needs these two functions and
// a plan whose strips have runs long enough for it.
#pragma once

#include <algorithm>
#include <cstddef>

namespace nmp::vector {

/// `runs` runs of `width` doubles each: the first begins at `offset`, the next `stride` later.
struct Strip {
  std::size_t offset, runs, stride, width;
};

class Plane {
 public:
  Plane() = default;
  explicit Plane(double* memory) : memory_(memory) {}

  /// The doubles of a strip, run after run: in `buffer`, or, for a single run that is in memory
  /// already, where they are.
  double* read(const Strip& s, double* buffer) const {
    if (s.runs == 1) return memory_ + s.offset;
    for (std::size_t i = 0; i < s.runs; ++i)
      std::copy_n(memory_ + s.offset + i * s.stride, s.width, buffer + i * s.width);
    return buffer;
  }
  /// Puts a strip back, from wherever `read` or its caller had it.
  void write(const Strip& s, const double* from) {
    if (s.runs == 1 && from == memory_ + s.offset) return;
    for (std::size_t i = 0; i < s.runs; ++i)
      std::copy_n(from + i * s.width, s.width, memory_ + s.offset + i * s.stride);
  }

 private:
  double* memory_ = nullptr;
};

}  // namespace nmp::vector
