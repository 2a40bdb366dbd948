// Two adjacent ranges become one:
//
//     P = P0*Q1 + R0*P1        Q = Q0*Q1        R = R0*R1
//
// Three ways lead to the same words; a merge takes the first that its scratch and numbers allow.
// F: one transform of the length of P. In a series with R about 0.6 times as long as Q:
//
//     summed   P0, R0, P1, Q0 and Q1 are transformed once and P is added up in transform space:
//              7 F, and R by itself, 1.7 F. Four spectra live at once.
//     shared   only Q1 is transformed once for two products, R0*P1 goes by itself at its own
//              length: 5 F + 2.3 F + 1.7 F. Two spectra and one product.
//     plain    four products: 10 F. One product and what its multiplication needs.
//
// Where products are truncated, R0*P1 is wanted for its top only, and shorter by itself than as a
// summand; so such merges are never summed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/exact_float.h"
#include "memory/aligned_buffer.h"

namespace nmp::BinarySplitting::CommonP2B3 {

/// The three products of a range, over storage of the caller.
struct Range {
  ExactFloat P, Q, R;
  std::uint64_t dropped = 1;  ///< factor dropped from P, Q and R each, modulo 2^61 - 1
};

/// Lengths of a range's products in words, or of the buffers that hold them.
struct Words {
  std::size_t P, Q, R;
  std::size_t bytes() const;
};

/// Cuts a range's storage from scratch: Q first, then P and R.
Range carve_range(AlignedBufferC& scratch, const Words& words);

/// Words that products keep where they are truncated.
struct Kept {
  std::size_t sum;  ///< P and Q
  std::size_t R;
};
inline constexpr Kept kKeepAll = {static_cast<std::size_t>(-1), static_cast<std::size_t>(-1)};

enum class MergeWay { kPlain, kShared, kSummed };

/// Bytes of scratch with which ranges of at most these lengths can be merged in this way; 0 where
/// products of this length have no transforms to share. Never shrinks as a length grows.
std::size_t merge_bytes(const Context& context, const Words& left, const Words& right, bool needs_R,
                        MergeWay way);

/// left = left merged with right. `left`'s buffers must hold the result, cut to `kept`. left.R may
/// be words of left.Q, scaled: then there is no R to form. Scratch: merge_bytes of the plain way, or
/// more. Throws AlgorithmFailedException "Multiplication Failed: Checksum Mismatch" where a result's
/// words are not what its operands' residues say.
void merge(Context& context, Range& left, const Range& right, bool needs_R, const Kept& kept,
           AlignedBufferC scratch);

}  // namespace nmp::BinarySplitting::CommonP2B3
