// Reciprocal, quotient and inverse square root by Newton's iteration.
//
// Accuracy  A result asked for at precision p (words) is off by less than 2^(-32 p) of itself:
//           every operation keeps p + kExtraPrecision words, of which the top one may hold a
//           single bit, so each rounding is below 2^(-32 (p + 1)), and a step makes fewer than 16.
// Steps     From h good words to 2 h - 2: relative error e becomes c e^2, c <= 3/2, and the
//           correction is one product at half precision, since the leading half of the residual is
//           zero. Precisions are planned downwards from the target, so that the last step is the
//           only long one. The first approximation is a double, good to 50 bits.
// Source    [BZ2010] sections 3.4 and 3.5.2; the quotient as in [KM1997].
#pragma once

#include <cstddef>

#include "arith/big_float.h"
#include "arith/context.h"
#include "memory/aligned_buffer.h"

namespace nmp {

/// Words that a buffer for a result at precision p must have.
constexpr std::size_t newton_result_words(std::size_t p) { return p + kExtraPrecision + 4; }

/// r = 1 / a. `a` is not zero (ArithmeticException "Divide by zero."); r must not overlap it.
void set_reciprocal(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
                    AlignedBufferC scratch);
std::size_t reciprocal_scratch(const Context& context, std::size_t p);

/// q = a / b, with the last step of the reciprocal folded into the quotient.
void set_quotient(Context& context, BigFloat& q, const BigFloat& a, const BigFloat& b,
                  std::size_t p, AlignedBufferC scratch);
std::size_t quotient_scratch(const Context& context, std::size_t p);

/// r = 1 / sqrt(n) for a word n > 0.
void set_invsqrt_uW(Context& context, BigFloat& r, Word n, std::size_t p, AlignedBufferC scratch);
std::size_t invsqrt_scratch(const Context& context, std::size_t p);

}  // namespace nmp
