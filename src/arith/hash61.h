// Residues modulo the Mersenne prime 2^61 - 1, carried along with numbers as a check.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/wide.h"
#include "arith/word.h"

namespace nmp::hash61 {

inline constexpr std::uint64_t kPrime = (std::uint64_t{1} << 61) - 1;

/// x modulo 2^61 - 1 for any 64-bit x, in [0, 2^61 - 1): 2^61 = 1, so the high part adds on.
constexpr std::uint64_t fold(std::uint64_t x) {
  x = (x & kPrime) + (x >> 61);
  return x >= kPrime ? x - kPrime : x;
}
constexpr std::uint64_t add(std::uint64_t a, std::uint64_t b) {
  return fold(a + b);
}  // a, b < 2^62
constexpr std::uint64_t negate(std::uint64_t a) { return fold(kPrime - fold(a)); }
constexpr std::uint64_t subtract(std::uint64_t a, std::uint64_t b) {
  return add(fold(a), negate(b));
}

/// a * b mod 2^61 - 1 for a, b < 2^62: 2^61 = 1, so the product's high part adds on.
constexpr std::uint64_t multiply(std::uint64_t a, std::uint64_t b) {
  const wide::Pair product = wide::multiply(fold(a), fold(b));
  return fold((product.low & kPrime) + (product.high << 3 | product.low >> 61));
}

/// base^exponent mod 2^61 - 1.
constexpr std::uint64_t power(std::uint64_t base, std::uint64_t exponent) {
  std::uint64_t result = 1;
  for (base = fold(base); exponent != 0; exponent >>= 1) {
    if (exponent & 1) result = multiply(result, base);
    base = multiply(base, base);
  }
  return result;
}
/// 2^(32 e) mod 2^61 - 1 for any integer e: the weight of word position e.
constexpr std::uint64_t word_weight(std::int64_t e) {
  std::int64_t bits = (e % 61) * 32 % 61;
  if (bits < 0) bits += 61;
  return std::uint64_t{1} << bits;
}

/// Residue of the number words[0, n). Reads at memory speed.
std::uint64_t of_words(const Word* words, std::size_t n);

}  // namespace nmp::hash61
