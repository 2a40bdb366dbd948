// Reciprocal, quotient and roots by Newton's iteration.
//
// Accuracy  A result asked for at precision p (words) is off by less than 2^(-32 p) of itself:
//           every number keeps p + kExtraPrecision words, of which the top one may hold a single
//           bit, so each rounding is below 2^(-32 (p + 1)), and a step makes fewer than 16. Where
//           an n-th root raises to a power, that multiplies errors by n, and the step divides
//           them by n again.
// Steps     From h good words to p <= 2 h - 1: relative error e becomes c e^2, c <= 3/2 ((n + 1) /
// 2
//           for n-th roots), and the correction is one product at half precision, since the
//           leading half of the residual is zero. Precisions are planned downwards from the target,
//           so that the last step is the only long one. The first approximation is a double, good
//           to 46 bits and more.
// Cost      In transform space the known half of a residual is not computed (the product wraps
//           around) and the factor that a step uses twice is transformed once. With M a product of
//           p by p words: reciprocal 1.67 M, quotient 2.17 M, inverse root of a word 1.33 M, square
//           root 2 M, inverse square root 2.67 M.
// Source    [BZ2010] sections 3.4 and 3.5.2; the quotient as in [KM1997].
#pragma once

#include <cstddef>
#include <cstdint>

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

/// r = sqrt(a) and r = 1 / sqrt(a) for a number of any length. InvalidParametersException "The
/// argument is negative."; the inverse root of zero is ArithmeticException "Divide by zero.". r
/// must not overlap a.
void set_sqrt(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
              AlignedBufferC scratch);
void set_invsqrt(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
                 AlignedBufferC scratch);
std::size_t sqrt_scratch(const Context& context, std::size_t p);

/// r = a^(1 / degree) and r = a^(-1 / degree), 2 <= degree < 2^31: the real root, so that an odd
/// degree takes negative numbers. Other degrees are InvalidParametersException; the rest as above.
void set_root(Context& context, BigFloat& r, const BigFloat& a, std::uint32_t degree, std::size_t p,
              AlignedBufferC scratch);
void set_inverse_root(Context& context, BigFloat& r, const BigFloat& a, std::uint32_t degree,
                      std::size_t p, AlignedBufferC scratch);
std::size_t root_scratch(const Context& context, std::size_t p);

}  // namespace nmp
