// Division without remainder, from the low end.
#pragma once

#include <cstddef>

#include "arith/word.h"

namespace nmp {

/// x[0, n) = x / d in place for an odd d[0, dl) that divides x; d[dl - 1] != 0, 1 <= dl <= n. The
/// quotient has n - dl + 1 words, its top word may be zero; the words above are unspecified. Where
/// d does not divide x the result is the quotient modulo a power of two. Time n dl.
/// Source: T. Jebelean, An algorithm for exact division, 1993 [Jebelean1993].
void divide_exact(Word* x, std::size_t n, const Word* d, std::size_t dl);

}  // namespace nmp
