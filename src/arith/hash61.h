// Residues modulo the Mersenne prime 2^61 - 1, carried along with numbers as a check.
#pragma once

#include <cstddef>
#include <cstdint>

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

/// a * b mod 2^61 - 1 for a, b < 2^62, from 32-bit halves: no 128-bit type needed.
constexpr std::uint64_t multiply(std::uint64_t a, std::uint64_t b) {
  a = fold(a);
  b = fold(b);
  const std::uint64_t a1 = a >> 32, a0 = a & 0xFFFFFFFFu, b1 = b >> 32, b0 = b & 0xFFFFFFFFu;
  // a1, b1 < 2^29, so every partial sum below stays under 2^64.
  const std::uint64_t low = a0 * b0;
  const std::uint64_t middle = a1 * b0 + a0 * b1;  // < 2^62, weighs 2^32
  const std::uint64_t high = a1 * b1;              // weighs 2^64 = 2^3
  const std::uint64_t middle_folded = (middle >> 29) + ((middle << 32) & kPrime);  // 2^61 = 1
  return fold(fold(low) + middle_folded + fold(high << 3));
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
