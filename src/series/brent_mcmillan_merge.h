// Two adjacent ranges of the Brent-McMillan series become one, in the place of the left one:
//
//     D = D0*D1              C = C0*D1 + D0*C1
//     T = T0*S + 2^s T1      U = U0*S + T0*M + 2^s U1      with S = D1^2, M = C1*D1
//
// F: one transform of the length of D. Each operand is transformed once and sums are formed in
// transform space: D0, C0, D1 and C1 give D, C, S and M in 8 F; S, M, T0 and U0, twice as long,
// give T and U in 6 * 2 F. 20 F in all.
//
// C and U end one word below D and T; numbers that are cut short are cut in pairs, at such places.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "arith/context.h"
#include "arith/exact_float.h"
#include "memory/aligned_buffer.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {

/// The numbers of a range, over storage of the caller. All are positive.
struct Range {
  ExactFloat D, C, T, U;
};

/// Lengths of a range's numbers in words, or of the buffers that hold them.
struct Words {
  std::size_t D, C, T, U;
  std::size_t bytes() const;
};

Range carve_range(AlignedBufferC& scratch, const Words& words);

/// Words of D and of T that are left of a range; C and U are cut at the same places.
struct Kept {
  std::size_t D, T;
};
inline constexpr Kept kAll{std::numeric_limits<std::int32_t>::max(),
                           std::numeric_limits<std::int32_t>::max()};

/// Bytes of scratch with which ranges of at most these lengths can be merged. Never shrinks as a
/// length grows.
std::size_t merge_bytes(const Context& context, const Words& left, const Words& right,
                        const Kept& kept);

/// left = left merged with right, whose T and U are spoilt; `shift` is s. Throws
/// AlgorithmFailedException "Multiplication Failed: Checksum Mismatch" where a result's words are
/// not what its operands' residues say.
void merge(Context& context, Range& left, Range& right, std::uint64_t shift, const Kept& kept,
           AlignedBufferC scratch);

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
