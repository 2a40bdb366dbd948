// The merges at the right edge of a truncated series, whose R nobody needs: the longest of all,
// which say how much memory a job takes. So memory comes first here:
//
//   1. R0*P1, of which the truncated sum wants the top only, goes into R0's place.
//   2. The right half's P and R are dead by then: products grow over them.
#pragma once

#include <cstddef>

#include "arith/context.h"
#include "memory/aligned_buffer.h"
#include "series/merge.h"

namespace nmp::BinarySplitting::CommonP2B3 {

/// Bytes behind the buffer of right.Q, those of right.P and right.R included.
std::size_t last_merge_bytes(const Context& context, const Words& left, const Words& right);

/// left.P and left.Q merged with right; spoils left.R. `right` was carved by carve_range;
/// `behind_Q` is the scratch from the buffer of right.P on, `scratch` that behind right.R. Where
/// R0*P1 is longer than R0's buffer, the merge is an ordinary one in the memory there is, its
/// products cut to pieces if need be.
void merge_last(Context& context, Range& left, const Range& right, std::size_t kept,
                AlignedBufferC behind_Q, AlignedBufferC scratch);

}  // namespace nmp::BinarySplitting::CommonP2B3
