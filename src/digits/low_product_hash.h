// The residue of the low part of a product, by a transform of half its length.
//
// With a plan that wraps around at W words and M = 2^(32 W) - wrap_sign, the product is
//     P = high 2^(32 W) + low,   R = low + wrap_sign high = P - high M,
// and P's own residue is that of its operands. So R tells the residue of high = (P - R) / M, and as
// P's bits from `bits` up to W can be read off R, that of everything above `bits`. As in
// radix_product.h, the words that wrap around end below a guard word, which shows whether they
// changed what is read; then the product is made in full.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// hash61 of a * b modulo 2^bits, 32 (al - 1) < bits <= 32 al. Same residue for any context.
std::uint64_t low_product_hash(Context& context, const Word* a, std::size_t al, const Word* b,
                               std::size_t bl, std::uint64_t bits, AlignedBufferC scratch);
/// Bytes of scratch for these and for shorter a with as many fewer bits.
std::size_t low_product_scratch(const Context& context, std::size_t al, std::size_t bl);

}  // namespace nmp
