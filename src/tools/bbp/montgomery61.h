// Mode C: residues modulo one odd divisor D < 2^61, as integers with 64 x 64 -> 128-bit products.
//
// Residues are lazy: 0 <= x < 2 D. A product goes with a division by 2^64, which is no loss where
// everything is a power of two: a square takes 2^(64 + f) to 2^(64 + 2 f), so exponents are counted
// from 64, and no residue has to be brought into another form.
//
// Source: P. Montgomery, "Modular multiplication without trial division", 1985; the fraction's
// words by exact division: T. Jebelean, "An algorithm for exact division", 1993.
#pragma once

#include <cstdint>

namespace numforge::bbp {

struct Product {
  std::uint64_t low, high;
};

namespace portable {
constexpr Product multiply(std::uint64_t a, std::uint64_t b) {
  const std::uint64_t a0 = a & 0xFFFFFFFFu, a1 = a >> 32;
  const std::uint64_t b0 = b & 0xFFFFFFFFu, b1 = b >> 32;
  const std::uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0;
  const std::uint64_t middle = (p00 >> 32) + (p01 & 0xFFFFFFFFu) + (p10 & 0xFFFFFFFFu);
  return {(middle << 32) | (p00 & 0xFFFFFFFFu),
          a1 * b1 + (p01 >> 32) + (p10 >> 32) + (middle >> 32)};
}
}  // namespace portable

#ifdef __SIZEOF_INT128__
constexpr Product multiply(std::uint64_t a, std::uint64_t b) {
  __extension__ using Uint128 = unsigned __int128;
  const Uint128 product = static_cast<Uint128>(a) * b;
  return {static_cast<std::uint64_t>(product), static_cast<std::uint64_t>(product >> 64)};
}
#else
using portable::multiply;
#endif

class Montgomery61 {
 public:
  Montgomery61() = default;
  /// `d` odd, 1 <= d < 2^61.
  explicit Montgomery61(std::uint64_t d) : d_(d), inverse_((3 * d) ^ 2) {
    for (int bits = 5; bits < 64; bits *= 2) inverse_ *= 2 - d * inverse_;
    one_ = (0 - d) % d;
  }

  /// 2^64 modulo D.
  std::uint64_t one() const { return one_; }
  /// a b / 2^64 for a b < 2^64 D / 2: below 2 D.
  std::uint64_t multiply(std::uint64_t a, std::uint64_t b) const {
    const Product p = bbp::multiply(a, b);
    return p.high - bbp::multiply(p.low * inverse_, d_).high + d_;
  }
  /// 2^bit a^2 / 2^64, bit 0 or 1.
  std::uint64_t square(std::uint64_t a, unsigned bit) const {
    const std::uint64_t x = multiply(a, a) << bit;  // below 3 D / 2 << bit
    return x - (x >= 2 * d_ ? 2 * d_ : 0);
  }
  std::uint64_t normal(std::uint64_t a) const { return a - (a >= d_ ? d_ : 0); }
  /// 2^128 modulo D, a lazy residue: what `next_word` wants.
  std::uint64_t word_factor() const {
    std::uint64_t x = one_ << 1;
    for (int i = 0; i < 6; ++i) x = multiply(x, x);
    return x;
  }
  /// floor(2^64 x / D); x < D becomes 2^64 x modulo D. The remainder is found first, so that the
  /// quotient is an exact one, -x / D modulo 2^64.
  std::uint64_t next_word(std::uint64_t& x, std::uint64_t factor) const {
    x = normal(multiply(x, factor));
    return (0 - x) * inverse_;
  }

 private:
  std::uint64_t d_ = 1, inverse_ = 1, one_ = 0;
};

}  // namespace numforge::bbp
