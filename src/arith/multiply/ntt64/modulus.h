// Arithmetic modulo a prime just below 2^62, with lazy ranges.
//
// A fixed factor w travels with q = floor(w 2^64 / p) (V. Shoup's trick); then x w - floor(x q /
// 2^64) p lies in [0, 2 p) for every 64-bit x (D. Harvey, Faster arithmetic for number-theoretic
// transforms, 2014). As 4 p < 2^64, sums of such values need no reduction of their own.
#pragma once

#include <cstdint>

#include "arith/wide.h"

namespace nmp::n64 {

/// A factor below p, prepared for multiplication by it.
struct Factor {
  std::uint64_t value;
  std::uint64_t quotient;  ///< floor(value * 2^64 / p)
};

class Modulus {
 public:
  /// 2^61 < p < 2^62.
  constexpr explicit Modulus(std::uint64_t p) : p_(p), reciprocal_(divide_power_125(p)) {}

  constexpr std::uint64_t p() const { return p_; }

  /// x in [0, 2 bound) to [0, bound).
  static constexpr std::uint64_t wrap(std::uint64_t x, std::uint64_t bound) {
    return x >= bound ? x - bound : x;
  }
  /// [0, 4 p) to [0, 2 p).
  constexpr std::uint64_t halve_range(std::uint64_t x) const { return wrap(x, 2 * p_); }
  /// [0, 4 p) to [0, p).
  constexpr std::uint64_t reduce(std::uint64_t x) const { return wrap(wrap(x, 2 * p_), p_); }

  /// Sum and difference of values in [0, 2 p), again in [0, 2 p).
  constexpr std::uint64_t add(std::uint64_t x, std::uint64_t y) const { return halve_range(x + y); }
  constexpr std::uint64_t subtract(std::uint64_t x, std::uint64_t y) const {
    return halve_range(x + 2 * p_ - y);
  }

  /// x * w in [0, 2 p), for any x.
  constexpr std::uint64_t multiply_lazy(std::uint64_t x, const Factor& w) const {
    return x * w.value - wide::multiply_high(x, w.quotient) * p_;
  }

  /// x * y in [0, 4 p) for x < 2 p, y < p. The estimated quotient is less than 3.6 too small: the
  /// cut of the product, the cut of the reciprocal and the last floor lose less than one each,
  /// the first one less than 2^-64 times the reciprocal < 0.6.
  constexpr std::uint64_t multiply_wide(std::uint64_t x, std::uint64_t y) const {
    const wide::Pair z = wide::multiply(x, y);
    const std::uint64_t top = (z.high << 3) | (z.low >> 61);
    return z.low - wide::multiply_high(top, reciprocal_) * p_;
  }

  /// x * y in [0, p) for x, y < p.
  constexpr std::uint64_t multiply(std::uint64_t x, std::uint64_t y) const {
    return reduce(multiply_wide(x, y));
  }

  constexpr std::uint64_t power(std::uint64_t x, std::uint64_t exponent) const {
    std::uint64_t result = 1;
    for (; exponent != 0; exponent >>= 1) {
      if (exponent & 1) result = multiply(result, x);
      x = multiply(x, x);
    }
    return result;
  }
  constexpr std::uint64_t inverse(std::uint64_t x) const { return power(x, p_ - 2); }

  /// w < p with its quotient.
  constexpr Factor factor(std::uint64_t w) const {
    // The reciprocal gives the quotient or up to three less; the remainder tells.
    const wide::Pair z = wide::multiply(w, reciprocal_);
    std::uint64_t quotient = (z.high << 3) | (z.low >> 61);
    std::uint64_t remainder = 0 - quotient * p_;
    for (; remainder >= p_; remainder -= p_) ++quotient;
    return {w, quotient};
  }

 private:
  static constexpr std::uint64_t divide_power_125(std::uint64_t p) {
    std::uint64_t quotient = 0, remainder = 1;
    for (int i = 0; i < 125; ++i) {
      remainder *= 2;
      quotient *= 2;
      if (remainder >= p) {
        remainder -= p;
        ++quotient;
      }
    }
    return quotient;
  }

  std::uint64_t p_;
  std::uint64_t reciprocal_;  ///< floor(2^125 / p), below 2^64
};

}  // namespace nmp::n64
