// The inner loops of modes A and B, as a table that each instruction set fills in.
//
// A kernel sums a batch of neighbouring terms at once: all pieces of `terms` values of k, one lane
// each. They share the exponent of two, from which each lane is a few powers of two away, and so
// the whole schedule of the exponentiation: the bits of the exponent from the top, a square modulo
// D for each and a doubling for those that are set.
//
// Residues x are doubles that hold signed integers. With u = 2^-53, I = 1/D rounded and
// C = 3 * 2^51, a product h + l = y * x (h rounded, l its error, by one FMA) is reduced by
//
//   q = (h * I + C) - C     the nearest integer to h * I, for |h * I| < 2^51,
//   r = (h - q * D) + l     exact: both sums are integers below 2^53.
//
// h and I are off by u each, so |r| <= D (1/2 + (2 u + u^2) |y x| / D).
//
//   mode A   D < 2^49; a doubling goes into the next square, y = 2 x. From |x| <= 5/8 D follows
//            |r| <= D (1/2 + 2^-52 * 2 * 25/64 D) < 5/8 D, and |q| < 2^49.
//   mode B   D < 2^51; y = x. From |x| <= D follows |r| <= D (1/2 + (2^-52 + 2^-106) D) < D, and
//            |q| < 2^51. A doubling is 2 r - D or 2 r + D, which brings it back to |x| <= D.
//
// At the end x is multiplied by the lane's factor +-2^s, s <= 48, then by 2^48 for each word of the
// fraction: the quotients are the words (signed; C stays in them and is taken off by the caller),
// the remainder is the next x. Where the last remainder is negative the last word is one too large.
// So each piece gives floor(2^(48 words) x / D) modulo 2^(48 words), whatever x stands for it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tools/bbp/bbp_formula.h"

namespace numforge::bbp {

inline constexpr unsigned kWordBits = 48;
/// log2 of the largest factor of a lane.
inline constexpr unsigned kMostShift = 48;
/// What each word that is added brings along: C as a 64-bit integer.
inline constexpr std::uint64_t kBias = 0x4338000000000000u;
/// Batches of one call, so that sums stay within 64 bits: kMostBatches * kMostVectors * 2^48 <
/// 2^63.
inline constexpr std::size_t kMostBatches = 1024, kMostVectors = 16;

struct TermRun {
  double first;            ///< k of the first lane of the first batch
  std::size_t batches;     ///< up to kMostBatches
  std::uint64_t exponent;  ///< of the first batch; each has terms * step less than the one before
  std::size_t shifts;      ///< factors of each lane
  const double* factors;   ///< [shift][vector][lane]; zero where a lane is to be left out
  std::size_t words;
};

/// Adds to sums[word][lane].
using SumTerms = void (*)(std::int64_t* sums, const TermRun* run);

struct Kernels {
  std::size_t lanes;                  ///< of one vector
  std::size_t vectors[kBBPFormulas];  ///< of one batch, a multiple of the formula's pieces
  SumTerms sum[2][kBBPFormulas];      ///< [mode A, mode B][formula]

  /// Values of k in one batch. Vector v holds piece v % pieces of k = v / pieces * lanes + lane.
  std::size_t terms(unsigned formula) const {
    return vectors[formula] / kBBPFormula[formula].pieces * lanes;
  }
};

extern const Kernels kKernelsAvx2;
extern const Kernels kKernelsAvx512;

}  // namespace numforge::bbp
