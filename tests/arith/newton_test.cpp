// Each result is checked by what it promises: multiplied back, it leaves less than 2^(-32 p).
#include "arith/newton.h"

#include <gtest/gtest.h>

#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/random.h"

namespace nmp {
namespace {

using test::FencedScratch;
using test::OwnedFloat;

class Newton : public test::ArithmeticTest {
 protected:
  /// |a - b| < |b| 2^(-32 p), computed without rounding.
  void expect_close(const BigFloat& a, const BigFloat& b, std::size_t p) {
    const auto span = static_cast<std::size_t>(std::max(a.mag(), b.mag()) - std::min(a.exp, b.exp));
    OwnedFloat difference(span + 8);
    difference.set_sub(context_, a, b, span);
    const std::int64_t bound = b.mag() - static_cast<std::int64_t>(p);
    EXPECT_LE(difference.is_zero() ? bound : difference.mag(), bound) << "precision " << p;
  }
  OwnedFloat exact_product(const BigFloat& a, const BigFloat& b) {
    OwnedFloat c(a.L + b.L);
    FencedScratch scratch(BigFloat::mul_scratch(context_, a.L + b.L));
    c.set_mul(context_, a, b, a.L + b.L, scratch.buffer());
    return c;
  }
};

TEST_F(Newton, ResultsMultiplyBack) {
  OwnedFloat one(1);
  one.set_u64(1);
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const std::size_t p = rng_.size(rep % 10 ? 60 : 2000);
    const Word n = rep % 3 ? static_cast<Word>(rng_.size(~0u - 1u)) : ~static_cast<Word>(rep);
    const OwnedFloat a(rng_.words(rng_.size(2 * p)), -static_cast<std::int64_t>(rng_.below(9)));
    const OwnedFloat b(rng_.words(rng_.size(2 * p)), -static_cast<std::int64_t>(rng_.below(9)));
    OwnedFloat r(newton_result_words(p));
    set_reciprocal(context_, r, b, p, FencedScratch(reciprocal_scratch(context_, p)).buffer());
    expect_close(exact_product(r, b), one, p);
    set_quotient(context_, r, a, b, p, FencedScratch(quotient_scratch(context_, p)).buffer());
    expect_close(exact_product(r, b), a, p);

    set_invsqrt_uW(context_, r, n, p, FencedScratch(invsqrt_scratch(context_, p)).buffer());
    OwnedFloat square = exact_product(r, r), product(square.L + 1);
    product.set_mul_uW(square, n, square.L + 1);
    // n r^2 is off by twice the error of r; a bit of the promise stands back for it.
    expect_close(product, one, p - 1);
  }
}

TEST_F(Newton, RefusesZero) {
  OwnedFloat zero(1), r(16);
  EXPECT_THROW(set_reciprocal(context_, r, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_quotient(context_, r, zero, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_invsqrt_uW(context_, r, 0, 4, {}), ArithmeticException);
}

}  // namespace
}  // namespace nmp
