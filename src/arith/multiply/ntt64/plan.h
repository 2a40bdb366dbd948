// How one product is cut into digits, pieces and planes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/multiply/ntt64/field.h"

namespace nmp::n64 {

/// Digits per transform point: 80 bits while the sums of products stay below the product of the
/// primes, 64 bits for longer operands, where they always do.
inline constexpr unsigned kWideDigitBits = 80;
inline constexpr unsigned kNarrowDigitBits = 64;

/// True when a sum of `points` products of two digits below 2^digit_bits is less than the product
/// of the primes: decided in exact integers.
bool capacity_suffices(unsigned digit_bits, std::uint64_t points);

/// Digits of `words` words.
constexpr std::uint64_t digits_of(std::uint64_t words, unsigned digit_bits) {
  return (words * 32 + digit_bits - 1) / digit_bits;
}

/// A product of al >= bl words. Long operands are cut into `pieces` pieces of `piece_words` words
/// (the last one may be shorter), each multiplied by the whole of the short one, which is then
/// transformed once.
struct Plan {
  Plan(std::size_t al, std::size_t bl, bool square);

  /// Planes of `length` points each: all residues of the first operand and of the product, and
  /// the second operand's, one prime at a time or (several pieces) for all primes.
  std::size_t planes() const;
  std::size_t scratch_bytes() const;

  unsigned digit_bits;
  std::size_t length;       ///< points of the transforms
  std::size_t piece_words;  ///< words of the first operand per transform
  std::size_t pieces;
  bool square;
};

/// Bytes that suffice for the plan of any product of at most n words; never shrinks as n grows.
/// kPrimes + 1 planes of 8 bytes per point: 12.8 bytes per 4-byte word of the product with digits
/// of 80 bits, plus at most 25 percent for the length.
std::size_t plan_scratch_bytes(std::size_t n);

}  // namespace nmp::n64
