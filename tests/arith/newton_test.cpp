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

class Newton : public ::testing::Test {
 protected:
  /// |1 - x| < 2^(-32 p), computed without rounding.
  void expect_one(const BigFloat& x, std::size_t p) {
    OwnedFloat one(1), difference(x.L + 8);
    one.set_u64(1);
    difference.set_sub(context(), one, x, x.L + 4);
    EXPECT_LE(difference.is_zero() ? -static_cast<std::int64_t>(p) : difference.mag(),
              -static_cast<std::int64_t>(p))
        << "precision " << p << ", seed " << rng_.trace();
  }
  OwnedFloat exact_product(const BigFloat& a, const BigFloat& b) {
    OwnedFloat c(a.L + b.L);
    FencedScratch scratch(BigFloat::mul_scratch(context(), a.L + b.L));
    c.set_mul(context(), a, b, a.L + b.L, scratch.buffer());
    return c;
  }
  Context& context() { return arithmetic_.context; }

  test::Arithmetic arithmetic_;
  test::Rng rng_ = test::Rng::from_environment();
};

TEST_F(Newton, InverseSquareRoot) {
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const std::size_t p = rng_.size(rep % 10 ? 60 : 2000);
    const Word n = rep % 3 ? static_cast<Word>(rng_.size(~0u - 1u)) : ~static_cast<Word>(rep);
    OwnedFloat r(newton_result_words(p));
    FencedScratch scratch(invsqrt_scratch(context(), p));
    set_invsqrt_uW(context(), r, n, p, scratch.buffer());
    OwnedFloat square = exact_product(r, r), product(square.L + 1);
    product.set_mul_uW(square, n, square.L + 1);
    // n r^2 is off by twice the error of r; a bit of the promise stands back for it.
    expect_one(product, p - 1);
    OwnedFloat more(newton_result_words(p + 3));
    FencedScratch more_scratch(invsqrt_scratch(context(), p + 3));
    set_invsqrt_uW(context(), more, n, p + 3, more_scratch.buffer());
    OwnedFloat difference(p + 10);
    difference.set_sub(context(), more, r, p + 6);
    EXPECT_LT(difference.is_zero() ? -99999 : difference.mag() - more.mag(),
              1 - static_cast<std::int64_t>(p));
  }
}

TEST_F(Newton, ReciprocalAndQuotient) {
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const std::size_t p = rng_.size(rep % 10 ? 60 : 2000);
    const OwnedFloat a(rng_.words(rng_.size(2 * p)), -static_cast<std::int64_t>(rng_.below(9)));
    const OwnedFloat b(rng_.words(rng_.size(2 * p)), -static_cast<std::int64_t>(rng_.below(9)));
    OwnedFloat r(newton_result_words(p)), q(newton_result_words(p));
    FencedScratch scratch(reciprocal_scratch(context(), p));
    set_reciprocal(context(), r, b, p, scratch.buffer());
    expect_one(exact_product(r, b), p);

    FencedScratch more(quotient_scratch(context(), p));
    set_quotient(context(), q, a, b, p, more.buffer());
    // |b q - a| < |a| 2^(-32 p)
    OwnedFloat back = exact_product(q, b), rest(back.L + a.L + 8);
    rest.set_sub(context(), back, a, back.L + a.L + 4);
    EXPECT_LE(rest.is_zero() ? a.mag() - static_cast<std::int64_t>(p) : rest.mag(),
              a.mag() - static_cast<std::int64_t>(p))
        << "precision " << p << ", seed " << rng_.trace();
  }
}

TEST_F(Newton, RefusesZero) {
  OwnedFloat zero(1), r(16);
  EXPECT_THROW(set_reciprocal(context(), r, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_quotient(context(), r, zero, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_invsqrt_uW(context(), r, 0, 4, {}), ArithmeticException);
}

}  // namespace
}  // namespace nmp
