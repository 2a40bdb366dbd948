// The product of two word arrays, short ones without a detour.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "arith/context.h"
#include "arith/word.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// c[0, al + bl) = a b; c overlaps neither operand. a == b with al == bl is a square. Below
/// kExactFloatBasecaseLength words in all, and for a factor of one or two words, it is formed
/// here; the others go to the dispatcher, with the product's residue if it is known. Scratch as
/// `multiply_scratch(al + bl)`.
void product(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
             std::size_t bl, AlignedBufferC scratch,
             std::optional<std::uint64_t> residue = std::nullopt);

}  // namespace nmp
