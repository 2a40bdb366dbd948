// Turns a binary fraction into decimal digits by splitting it in halves.
//
// A node holds a fraction v and owes the digits of v * 10^D. With D1 = D / 2 its right half works
// on y = frac(v * 10^D1), its left half on v itself, cut to the words that D1 digits need. No
// division, and the digits come out in place (see radix_split.h).
//
// Everything is cut, nothing is rounded, so a computed left half is never too large. With the
// result word r of a node (the start of what its digits left over), its digits Delta and
// z = v * 10^D,
//     (1)   Delta + r / 2^32  <=  z  <  Delta + (r + c) / 2^32
// where c = 2 for a leaf and grows by the 2^-kSlackBits that each level's cut adds: c < 3 for any
// tree that fits a machine. Let I + y = v * 10^D1 with I whole. By (1) for the left half and its
// own cut, I * 2^32 + top(y) exceeds Delta * 2^32 + r by 0, 1 or 2. So top(y) - r modulo 2^32 must
// be one of these, else a fault has happened, and where top(y) < r the left half stopped just short
// of a digit boundary (0.4999... for 0.5000...) and gets one added.
//
// Source: D. J. Bernstein, "Scaled remainder trees", 2004, for the use of fractions in place of
// division; R. P. Brent and P. Zimmermann, "Modern Computer Arithmetic", 2010, section 1.7.2, for
// the splitting.
#pragma once

#include <cstddef>

#include "arith/context.h"
#include "arith/word.h"
#include "digits/radix_power.h"
#include "digits/radix_split.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"

namespace nmp::CBRv2 {

/// Largest difference of the overlap words of two halves.
inline constexpr Word kOverlapTolerance = 2;

/// Bytes of scratch for `convert_T`, the powers not included.
std::size_t convert_scratch(const Context& context, const Split& split);

/// Converts a whole fraction.
///
/// Shapes    node: split.storage() words. In: node[0, split.words(split.levels)) is the fraction,
///           least significant word first. Out: node[0, split.wanted) are the digits, most
///           significant block first; what follows up to split.storage() is unspecified.
/// Promise   The blocks read as one number are floor(fraction * 10^(9 wanted)), or one less where
///           that product exceeds a whole number by less than 3 / 2^32 of a unit.
/// Failure   AlgorithmFailedException "Overlap Mismatch...", "Mismatching block residuals." or
///           "Mismatching exponents." where a fault has spoilt the words.
/// Progress  advance() as digits are finished; may be null.
/// Threads   The same digits for any context.
/// Cost      Two transforms of 0.85 n words per level, n being those of the whole fraction.
/// Memory    Transforms of a fraction and a power of the top level, or for each thread those of its
///           subtrees, whichever is more.
void convert_T(Context& context, const Split& split, const PowerTable& powers, Word* node,
               Progress* progress, AlignedBufferC scratch);

}  // namespace nmp::CBRv2
