// How an operand is cut into digits, and how many digits the primes have room for.
//
// A coefficient of a product is a sum of products of digits, one for each digit of the shorter
// operand; the primes' product must exceed the range of all of them. Short operands leave room for
// few primes; longer ones need more, but then take longer digits with them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/multiply/hybrid/hybrid_kernels.h"

namespace nmp::hybrid {

/// Every prime is c * 15 * 2^36 + 1 < 2^50, so lengths 2^k * {1, 3, 5, 15} exist up to 15 * 2^36.
inline constexpr unsigned kMaxLogLength = 36;
inline constexpr std::uint64_t kUnit = std::uint64_t{15} << kMaxLogLength;
/// The first kMaxPrimes serve the hybrid NTT, all of them the vector transform.
inline constexpr std::uint64_t kPrimes[kWidePrimes] = {
    1092 * kUnit + 1, 1089 * kUnit + 1, 1083 * kUnit + 1, 1078 * kUnit + 1, 1073 * kUnit + 1,
    1064 * kUnit + 1, 1060 * kUnit + 1, 1058 * kUnit + 1, 1040 * kUnit + 1, 1032 * kUnit + 1,
    1018 * kUnit + 1, 1015 * kUnit + 1, 1006 * kUnit + 1, 1003 * kUnit + 1};

/// A little-endian number of 64-bit limbs.
struct Limbs {
  static constexpr unsigned kCount = 11;
  std::uint64_t limb[kCount] = {};

  constexpr explicit Limbs(std::uint64_t x = 0) : limb{x} {}
  /// *this * x + y; throws what no constant expression may when there is no room for it.
  constexpr Limbs times(std::uint64_t x, std::uint64_t y = 0) const {
    Limbs out;
    std::uint64_t carry[2] = {y & 0xFFFFFFFF, y >> 32};
    for (unsigned i = 0; i < 2 * kCount; ++i) {
      const std::uint64_t half = limb[i / 2] >> (i % 2 * 32) & 0xFFFFFFFF;
      const std::uint64_t low = half * (x & 0xFFFFFFFF) + carry[0];
      const std::uint64_t high = half * (x >> 32) + carry[1] + (low >> 32);
      out.limb[i / 2] |= (low & 0xFFFFFFFF) << (i % 2 * 32);
      carry[0] = high & 0xFFFFFFFF;
      carry[1] = high >> 32;
    }
    if ((carry[0] | carry[1]) != 0) throw "too long";
    return out;
  }
  constexpr Limbs shifted(unsigned bits) const {
    Limbs out = *this;
    for (; bits >= 32; bits -= 32) out = out.times(std::uint64_t{1} << 32);
    return out.times(std::uint64_t{1} << bits);
  }
  constexpr Limbs operator-(const Limbs& other) const {
    Limbs out;
    std::uint64_t borrow = 0;
    for (unsigned i = 0; i < kCount; ++i) {
      out.limb[i] = limb[i] - other.limb[i] - borrow;
      borrow = limb[i] < other.limb[i] || (limb[i] == other.limb[i] && borrow);
    }
    return out;
  }
  constexpr bool operator<(const Limbs& other) const {
    for (unsigned i = kCount; i-- > 0;)
      if (limb[i] != other.limb[i]) return limb[i] < other.limb[i];
    return false;
  }
};

/// p_0 ... p_(count-1).
constexpr Limbs product_of_primes(unsigned count) {
  Limbs product(1);
  for (unsigned k = 0; k < count; ++k) product = product.times(kPrimes[k]);
  return product;
}

struct Format {
  unsigned primes;
  unsigned bytes;  ///< of a digit; four digits are so many words
  bool balanced;   ///< digits lie between -2^63 and 2^63
};

/// From the shortest operands to the longest. A format holds what the ones before it hold.
inline constexpr Format kFormats[] = {
    {3, 8, false}, {3, 8, true}, {4, 11, false}, {5, 14, false}, {5, 13, false}};
inline constexpr unsigned kFormatCount = sizeof kFormats / sizeof kFormats[0];

inline constexpr std::size_t kMaxWordsPerDigit = 4;

/// Digits in `words` words.
constexpr std::uint64_t digits_in(const Format& format, std::uint64_t words) {
  return words / format.bytes * 4 + (words % format.bytes * 4 + format.bytes - 1) / format.bytes;
}
/// Words in `digits` digits, a multiple of four.
constexpr std::uint64_t words_in(const Format& format, std::uint64_t digits) {
  return digits / 4 * format.bytes;
}

/// A number added to every coefficient, to make all of them positive where some may not be: enough
/// for one product whose shorter operand has `shorter` digits. It is a multiple of 2^(8 bytes) - 1,
/// so that the sum of them all is a multiple of what a transform wraps around at.
constexpr Limbs bias(const Format& format, std::uint64_t shorter) {
  const Limbs x = Limbs(shorter).shifted(8 * format.bytes) - Limbs(shorter);
  if (format.balanced) return x.times((std::uint64_t{1} << 62) + 1);  // above shorter * 2^126
  return x.shifted(8 * format.bytes) - x;
}

/// Largest number of digits of the shorter operand, times the number of products that are added,
/// for which the primes of a format hold every coefficient.
std::uint64_t capacity(unsigned format);

/// The first format that holds sums of `sum` products whose shorter operand has at most `shorter`
/// words; kFormatCount for none.
unsigned first_format(std::uint64_t shorter, std::uint64_t sum);

}  // namespace nmp::hybrid
