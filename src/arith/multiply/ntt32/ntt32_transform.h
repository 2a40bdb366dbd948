// Transforms of one plane of the 32-bit NTT, in place, shared out among threads.
//
//   thirds      where the length is 3 * 2^k; the second and third part become cyclic by a twist
//   two levels  at a time over the whole plane, down to nodes of a leaf's length
//   leaves      each made cyclic by a twist, then transformed in the cache
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "arith/context.h"
#include "arith/multiply/ntt32/ntt32_field.h"

namespace nmp::n32 {

/// odd * 2^log points; odd is 1 or 3.
struct Length {
  std::uint32_t odd;
  unsigned log;
  std::size_t points() const { return std::size_t{odd} << log; }

  /// The shortest one for so many points, at least 2^kLeastLeafLog. Throws LimitExceededException
  /// past 3 * 2^kMaxLog.
  static Length holding(std::uint64_t points);
};

/// Calls body(first, last) for ranges that tile [0, n), multiples of `grain` long, in parallel
/// where n points are worth it.
void share(Context& context, std::size_t n, std::size_t grain,
           const std::function<void(std::size_t, std::size_t)>& body);

/// Points in [0, p) before and after. The inverse gives points() times the polynomial.
void forward(Context& context, const Kernels& kernels, const Field& field, std::uint32_t* plane,
             Length length);
void inverse(Context& context, const Kernels& kernels, const Field& field, std::uint32_t* plane,
             Length length);

}  // namespace nmp::n32
