// The word that every large number is made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace nmp {

/// One digit in radix 2^32. Numbers are little-endian arrays of words: word 0 is the least
/// significant. Lengths, positions and exponents count words.
using Word = std::uint32_t;
/// Two words side by side, and the limb of the inner loops where the target has 64-bit registers.
using DoubleWord = std::uint64_t;

inline constexpr unsigned kWordBits = 32;

/// Unaligned little-endian access to words as 64-bit limbs. A number may start at any word.
inline std::uint64_t load_limb(const Word* words) {
  std::uint64_t limb;
  std::memcpy(&limb, words, sizeof limb);
  return limb;
}
inline void store_limb(Word* words, std::uint64_t limb) { std::memcpy(words, &limb, sizeof limb); }

}  // namespace nmp
