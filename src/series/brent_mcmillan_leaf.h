// Short ranges of the Brent-McMillan series by straight code on 64-bit limbs, and whole ranges
// modulo 2^61 - 1.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "arith/context.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {

struct Parameters;
struct Range;

/// The end case: a few terms, appended one by one.
struct Leaf {
  static constexpr std::uint64_t kMostTerms = 16;
  /// 16 terms of 2 * 40 bits, the word behind the point, and room for carries.
  static constexpr std::size_t kLimbs = 16 * 80 / 64 + 4;

  struct Number {
    std::array<std::uint64_t, kLimbs> limbs;
    std::size_t length = 0;
  };
  /// C and U times 2^32.
  Number D, C, T, U;
};

/// D and T, the numbers of the series of 1 (N), and C and U, those of the series of H_j (A), with
/// term j appended: `odd` is j without its `twos`; the term weighs 2^shift.
void seriesN_BSR_End_PQ1(Leaf& leaf, std::uint64_t odd, std::uint64_t shift);
void seriesA_BSR_End_PQ1(Leaf& leaf, std::uint64_t odd, unsigned twos);

/// result = the terms a+1..b, b - a <= Leaf::kMostTerms.
void set_leaf(const Parameters& parameters, Range& result, std::uint64_t a, std::uint64_t b);

/// A range's numbers modulo 2^61 - 1.
struct Residues {
  std::uint64_t D = 1, C = 0, T = 0, U = 0;
};
/// Of the terms a+1..b, from j alone: shares no code with the big numbers. Uses the threads of its
/// context.
Residues range_residues(Context& context, const Parameters& parameters, std::uint64_t a,
                        std::uint64_t b);

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
