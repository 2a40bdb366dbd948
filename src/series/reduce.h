// Leaves and common factors: what a block's recursion does below the general merge.
#pragma once

#include <cstdint>

#include "series/factors.h"
#include "series/leaf.h"
#include "series/merge.h"

namespace nmp::BinarySplitting::CommonP2B3 {

/// Divides left.R and right.Q by their common factor before a merge of (a, m] and (m, b].
void drop_common(const CommonFactors& factors, Range& left, Range& right, std::uint64_t a,
                 std::uint64_t m, std::uint64_t b);
/// The products of a leaf.
void set_leaf(Range& range, const Leaf& leaf);
/// Prints the failure and throws BSRModularCheckFailedException.
[[noreturn]] void fail_modular_check(const Range& range, std::uint64_t expected,
                                     std::uint64_t actual);

}  // namespace nmp::BinarySplitting::CommonP2B3
