// The word loops for numbers too long for one thread, and sums of numbers at different positions.
//
// From kParallelWords words on, a loop is split over the context's threads at 64-byte boundaries of
// the target. Each part adds as if nothing came in from below; the carries between the parts are
// settled afterwards. The result does not depend on the split.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/word.h"

namespace nmp::words {

inline constexpr std::size_t kParallelWords = 8192;

/// c = a + b and c = a - b; return the carry or borrow. c is disjoint from an operand or the same.
Word add_n(Context& context, Word* c, const Word* a, const Word* b, std::size_t n);
Word sub_n(Context& context, Word* c, const Word* a, const Word* b, std::size_t n);
/// Disjoint or the same array.
void copy(Context& context, Word* target, const Word* source, std::size_t n);
void zero(Context& context, Word* target, std::size_t n);
/// c = -a modulo 2^(32 n); returns the borrow: 1 unless a is zero.
Word negate_n(Context& context, Word* c, const Word* a, std::size_t n);

/// Residue of words[0, n) modulo 2^61 - 1, as hash61::of_words.
std::uint64_t hash_of(Context& context, const Word* words, std::size_t n);

/// A number whose word 0 has position `offset`.
struct Placed {
  const Word* T;
  std::size_t L;
  std::size_t offset;
  std::size_t top() const { return offset + L; }
};

/// c[0, n) = a + b and a - b over the positions [0, n), where n is the larger top. One of the
/// offsets is 0 and neither number is empty. Return the carry or borrow out of position n - 1; the
/// difference is only formed where b.top() <= a.top(). c overlaps an operand only where that
/// operand lies in its place (T = c + offset).
Word add_placed(Context& context, Word* c, const Placed& a, const Placed& b);
Word sub_placed(Context& context, Word* c, const Placed& a, const Placed& b);

}  // namespace nmp::words
