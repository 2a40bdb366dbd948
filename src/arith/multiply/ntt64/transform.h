// Number-theoretic transforms of one plane, in place, shared out among threads.
//
// A plane holds a polynomial of n points modulo x^n - 1. The forward transform splits x^n - 1 into
// linear factors, block by block, and leaves the residues in the order of the splits; the inverse
// undoes the splits from the last to the first. Every block x^m - r has one set of twiddles:
//
//   radix 3 and 5   once each, first, where n is 3, 5 or 15 times a power of two
//   radix 4 and 2   down to blocks of kLeafPoints, depth first, twiddles computed per block
//   twist           x^m - r becomes x^m - 1 by scaling point j by r^(j/m)
//   leaf            radix 4 in cache, twiddles from the field's tables
//
// Several threads take the first splits level by level, each thread a range of columns, until there
// are enough blocks for each thread to split whole ones depth first. Where that makes leaves
// shorter, the order of the residues stays the same: it is bit-reversed at any length of leaves.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/multiply/ntt64/field.h"

namespace nmp::n64 {

/// The smallest length 2^k, 3 * 2^k, 5 * 2^k or 15 * 2^k that holds `points` >= 1 points; steps are
/// at most 25 percent. Throws LimitExceededException past kRootOrder.
std::uint64_t transform_length(std::uint64_t points);

/// Values in [0, 4 p) before and after; n a transform length.
void forward(Context& context, const Field& field, std::uint64_t* plane, std::size_t n);

/// Values in [0, 2 p) before and after. The result is n times the polynomial.
void inverse(Context& context, const Field& field, std::uint64_t* plane, std::size_t n);

/// a[j] = a[j] * b[j], from [0, 4 p) to [0, 2 p). b may be a.
void multiply_points(Context& context, const Field& field, std::uint64_t* a, const std::uint64_t* b,
                     std::size_t n);

}  // namespace nmp::n64
