// Roots of unity, rounded from 62-bit integers: the same on every target, whatever its doubles.
#pragma once

#include <cstdint>

namespace nmp::fft {

struct Root {
  double re, im;
};

/// e(numerator / denominator) = exp(2 pi i numerator / denominator). The denominator is odd * 2^k
/// with odd < 16 and k <= 58, numerator < denominator * 2^4. Each part is within
/// 2^-54 + 2^-59 of the true one.
Root root(std::uint64_t numerator, std::uint64_t denominator);

}  // namespace nmp::fft
