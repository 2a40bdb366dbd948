// The arithmetic-geometric mean.
//
// Iteration  x, y -> (x + y) / 2, sqrt(x y), until the means agree in a quarter of the words; then
//            the rest is one short quotient. With m = (x + y) / 2, d = (x - y) / 2, t = d / m,
//                M(x, y) = m / (1 + t^2/4 + 9 t^4/64 + ...) = m (1 - t^2/4 - 5 t^4/64 - ...),
//            the coefficients of the first series being squares of binomial((2k choose k)) 4^-k,
//            below 1, so that for |t| < 2^-32 what follows the second term is below t^4 / 12.
// Squares    Once |t| < 1/4 the squares A = x^2 and B = y^2 are kept instead of y:
//                T = (A + B) / 2,  x' = (x + sqrt(B)) / 2,  A' = x'^2,  B' = 2 A' - T = x y,
//            so that a step squares where it multiplied. Before, the difference would cancel.
// Accuracy   M grows with x and with y and is homogeneous, so a step that is off by a factor 1 + e
//            at most in both means changes the result by no more than that factor. With q = p + 1
//            words a step is off by less than 4 * 2^(-32 q), and the doubly exponential approach
//            leaves fewer than 128 steps even where x / y has 2^64 bits: the result is off by less
//            than 2^(-32 p) of itself. With squares, errors dx of x, e of T's and A's rounding and
//            dB of B change the result, relative to x = 1 and to first order in t, by dx/2 + dB/4;
//            the step maps that to itself and adds less than two roundings: errors add up as
//            before.
// Cost       With M a product of p by p words: a step of squares 2/3 M and a root 2 M.
// Source     [BZ2010] section 4.8.1; the series is Gauss's, M(1 + t, 1 - t) = 1 / F(1/2, 1/2; 1;
// t^2);
//            the squares are Schoenhage's, as in Schoenhage, Grotefeld, Vetter: Fast algorithms,
//            1994 [SGV1994].
#pragma once

#include <cstddef>

#include "arith/big_float.h"
#include "arith/context.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// r = M(a, b), for a, b >= 0, in a buffer of newton_result_words(p + 1) words that overlaps
/// neither. Zero where one of them is. InvalidParametersException "The argument is negative.".
/// Tells `progress`, if there is one, the share of the steps that are done.
void set_agm(Context& context, BigFloat& r, const BigFloat& a, const BigFloat& b, std::size_t p,
             AlignedBufferC scratch, Progress* progress = nullptr);
std::size_t agm_scratch(const Context& context, std::size_t p);

}  // namespace nmp
