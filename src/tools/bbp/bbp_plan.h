// What the position and the number of digits ask for.
//
// Digits `offset` .. `offset` + `digits` - 1 behind the point of Pi are the first ones of the
// fraction of 16^offset Pi. Its pieces are cut to W = precision_bits binary places, so each is less
// than one unit 2^-W off, and so is the tail of the series from the first term on whose pieces all
// lie below 2^-W. The sum is off by less than `error_bound` units. Behind the digits there are at
// least 16 bits more than the error bound has.
#pragma once

#include <cstdint>

#include "tools/bbp/bbp_formula.h"

namespace numforge {

inline constexpr std::uint64_t kMostBBPOffset = (std::uint64_t{1} << 63) - 1;
inline constexpr std::uint64_t kMostBBPDigits = 1'000'000;

struct BBPPlan {
  unsigned formula = 0;
  std::uint64_t offset = 0, digits = 0;
  std::size_t kernel_words = 0;       ///< of 48 bits: W = 48 kernel_words
  std::uint64_t terms = 0;            ///< values of k
  std::uint64_t modular_terms = 0;    ///< those, from 0 on, whose exponents are all at least 0
  std::uint64_t largest_divisor = 0;  ///< sticks at the end of the range
  std::uint64_t error_bound = 0;

  std::uint64_t precision_bits() const { return 48 * std::uint64_t{kernel_words}; }
  /// Words of a FractionFloat that holds W bits.
  std::size_t fraction_words() const {
    return static_cast<std::size_t>((precision_bits() + 63) / 64);
  }
  const BBPFormula& terms_of() const { return kBBPFormula[formula]; }
};

/// `formula` < kBBPFormulas, `offset` <= kMostBBPOffset, 1 <= `digits` <= kMostBBPDigits; with
/// `more_words` words of 48 bits more than these digits usually need.
BBPPlan plan_bbp(unsigned formula, std::uint64_t offset, std::uint64_t digits,
                 std::size_t more_words = 0);

}  // namespace numforge
