// The tree by which decimal digits are taken out of a binary fraction.
//
//   block   one word holding nine decimal digits, 0 <= block < 10^9. Blocks run most significant
//           first: the order in which they are printed.
//   leaf    `leaf` blocks; level 0. A node of level j covers leaf * 2^j blocks, so all nodes of a
//           level are alike and one power of ten per level serves them all.
//
// A node of D digits works on a fraction of words(level) words, least significant first: enough
// for 10^D times the fraction's last unit to stay below 2^-38, of which one whole word is the
// overlap that two neighbours are compared in and kSlackBits keep the sum over all levels small.
// Since a block spends 32 bits on 29.9, that fraction fits the room of the node's own blocks as
// soon as there are kSmallestSharedLeaf of them, and a node is converted in place.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "arith/word.h"

namespace nmp::CBRv2 {

inline constexpr unsigned kBlockDigits = 9;
inline constexpr Word kBlockRadix = 1'000'000'000;
/// Blocks of the largest leaf: one is never split below this.
inline constexpr std::size_t kMaxLeafBlocks = 128;
inline constexpr unsigned kSlackBits = 6;

/// An upper bound of log2(10^digits), less than 2 + digits / 2^24 bits above it.
constexpr std::uint64_t bits_for_digits(std::uint64_t digits) {
  // log2(10) is 55732705.18 / 2^24 and 3566893131.80 / 2^30.
  constexpr std::uint64_t kCoarse = 55'732'706, kFine = 3'566'893'132;
  return (digits >> 24) * kCoarse + (((digits & 0xFFFFFF) * kFine) >> 30) + 1;
}
/// Words that hold any number below 10^digits.
constexpr std::uint64_t words_for_digits(std::uint64_t digits) {
  return (bits_for_digits(digits) + kWordBits - 1) / kWordBits;
}
/// Words that hold 5^exponent.
constexpr std::uint64_t words_for_power_of_5(std::uint64_t exponent) {
  return (bits_for_digits(exponent) - exponent) / kWordBits + 1;
}

struct Split {
  /// At least one digit. One block more is converted than is shown: the conversion may fall short
  /// by one unit of its last place, which only nine zeros in a row would carry into the digits.
  explicit constexpr Split(std::uint64_t digits)
      : wanted(static_cast<std::size_t>((digits + kBlockDigits - 1) / kBlockDigits) + 1) {
    leaf = wanted;
    for (; leaf > kMaxLeafBlocks; ++levels) leaf = (leaf + 1) / 2;
  }

  constexpr std::size_t blocks(unsigned level) const { return leaf << level; }
  constexpr std::uint64_t digits(unsigned level) const {
    return std::uint64_t{blocks(level)} * kBlockDigits;
  }
  /// Words of the fraction that a node of this level converts.
  constexpr std::size_t words(unsigned level) const {
    return static_cast<std::size_t>(
        (bits_for_digits(digits(level)) + kSlackBits + kWordBits - 1) / kWordBits + 1);
  }
  /// Exponent of the power that moves the right half of a node's digits before the point.
  constexpr std::uint64_t half_digits(unsigned level) const { return digits(level - 1); }
  /// Words of the buffer that takes the fraction of the whole and gives the blocks.
  constexpr std::size_t storage() const { return std::max(blocks(levels), words(levels)); }

  std::size_t wanted;    ///< blocks that hold the digits and one more; the tree covers a few more
  std::size_t leaf = 0;  ///< blocks of a leaf
  unsigned levels = 0;   ///< level of the root
};

/// A leaf that is part of a tree has more than kMaxLeafBlocks / 2 blocks, and from here on the
/// fraction is no longer than the blocks: 64 blocks of 29.9 bits leave 134 bits for the overlap.
inline constexpr std::size_t kSmallestSharedLeaf = kMaxLeafBlocks / 2;
static_assert((bits_for_digits(kSmallestSharedLeaf * kBlockDigits) + kSlackBits + 31) / 32 + 1 <=
              kSmallestSharedLeaf);

}  // namespace nmp::CBRv2
