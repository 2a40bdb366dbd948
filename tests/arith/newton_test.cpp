// Each result is checked by what it promises: multiplied back, it leaves less than 2^(-32 p). The
// products go to the basecase and to real transforms, and to reference transforms of either sign
// for every length.
#include "arith/newton.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "arith/newton/step_products.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/random.h"
#include "support/reference_transforms.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::FencedScratch;
using test::OwnedFloat;

/// Operations with exact scratch, exact products to check them by.
class Operations {
 public:
  explicit Operations(Context& context) : context_(context) {}

  OwnedFloat reciprocal(const BigFloat& a, std::size_t p) {
    return run(p, reciprocal_scratch(context_, p), [&](BigFloat& r, AlignedBufferC scratch) {
      set_reciprocal(context_, r, a, p, scratch);
    });
  }
  OwnedFloat quotient(const BigFloat& a, const BigFloat& b, std::size_t p) {
    return run(p, quotient_scratch(context_, p), [&](BigFloat& r, AlignedBufferC scratch) {
      set_quotient(context_, r, a, b, p, scratch);
    });
  }
  OwnedFloat invsqrt_word(Word n, std::size_t p) {
    return run(p, invsqrt_scratch(context_, p), [&](BigFloat& r, AlignedBufferC scratch) {
      set_invsqrt_uW(context_, r, n, p, scratch);
    });
  }
  OwnedFloat root(const BigFloat& a, std::uint32_t degree, std::size_t p, bool inverse) {
    const std::size_t bytes = degree == 2 ? sqrt_scratch(context_, p) : root_scratch(context_, p);
    return run(p, bytes, [&](BigFloat& r, AlignedBufferC scratch) {
      if (degree == 2)
        inverse ? set_invsqrt(context_, r, a, p, scratch) : set_sqrt(context_, r, a, p, scratch);
      else
        inverse ? set_inverse_root(context_, r, a, degree, p, scratch)
                : set_root(context_, r, a, degree, p, scratch);
    });
  }

  OwnedFloat product(const BigFloat& a, const BigFloat& b) {
    OwnedFloat c(a.L + b.L);
    FencedScratch scratch(BigFloat::mul_scratch(context_, a.L + b.L));
    c.set_mul(context_, a, b, a.L + b.L, scratch.buffer());
    return c;
  }
  OwnedFloat power(const BigFloat& a, std::uint32_t n) {
    return n == 1 ? product(a, one()) : product(a, power(a, n - 1));
  }
  static OwnedFloat one() { return OwnedFloat({1}, 0); }

  /// |a - b| < 2^(bits - 32 p) |b|, computed without rounding.
  void expect_close(const BigFloat& a, const BigFloat& b, std::size_t p, unsigned bits = 0) {
    const auto span = static_cast<std::size_t>(std::max(a.mag(), b.mag()) - std::min(a.exp, b.exp));
    OwnedFloat difference(span + 8), bound(b.L + 2);
    difference.set_sub(context_, a, b, span);
    bound.set_BigFloat(b, b.L);
    bound.mp2(std::int64_t{bits} - 32 * static_cast<std::int64_t>(p));
    EXPECT_LT(compare_magnitude(difference, bound), 0) << "precision " << p;
  }

  void check_quotients(const BigFloat& a, const BigFloat& b, std::size_t p) {
    expect_close(product(reciprocal(b, p), b), one(), p);
    expect_close(product(quotient(a, b, p), b), a, p);
  }
  void check_word_root(Word n, std::size_t p) {
    const OwnedFloat r = invsqrt_word(n, p), square = product(r, r);
    expect_close(product(square, OwnedFloat({n}, 0)), one(), p, 1);
  }
  /// The n-th power of a root is off by n times its error.
  void check_roots(const BigFloat& a, std::uint32_t degree, std::size_t p) {
    const unsigned bits = degree == 2 ? 1 : 3;
    expect_close(power(root(a, degree, p, false), degree), a, p, bits);
    expect_close(product(power(root(a, degree, p, true), degree), a), one(), p, bits);
  }

 private:
  OwnedFloat run(std::size_t p, std::size_t bytes,
                 const std::function<void(BigFloat&, AlignedBufferC)>& operation) {
    OwnedFloat r(newton_result_words(p));
    FencedScratch scratch(bytes);
    operation(r, scratch.buffer());
    r.check_normalization();
    return r;
  }
  Context& context_;
};

class Newton : public test::ArithmeticTest, public ::testing::WithParamInterface<int> {
 protected:
  Newton() { reference_table_.add(std::uint64_t{1} << 30, &reference_); }
  /// 0, or the sign of the wrap-around.
  Context& context() { return GetParam() == 0 ? context_ : wrapping_; }
  OwnedFloat number(std::size_t words, bool positive = true) {
    return OwnedFloat(rng_.words(words), static_cast<std::int64_t>(rng_.below(19)) - 9, positive);
  }

  test::ReferenceTransforms reference_{GetParam() < 0 ? -1 : 1, 5};
  AlgorithmTable reference_table_;
  Context wrapping_{context_.threads, reference_table_};
};

std::string sign_name(const ::testing::TestParamInfo<int>& info) {
  return info.param == 0 ? "Program" : info.param > 0 ? "Cyclic" : "Negacyclic";
}
INSTANTIATE_TEST_SUITE_P(With, Newton, ::testing::Values(0, 1, -1), sign_name);
class NewtonWrapping : public Newton {};
INSTANTIATE_TEST_SUITE_P(With, NewtonWrapping, ::testing::Values(1, -1), sign_name);

TEST_P(Newton, EveryShortPrecision) {
  Operations operations(context());
  for (std::size_t p = 1; p <= 200; ++p) {
    const OwnedFloat a = number(rng_.size(2 * p), rng_.below(2) == 0);
    const OwnedFloat b = number(p % 3 ? rng_.size(2 * p) : p + 2, rng_.below(2) == 0);
    operations.check_quotients(a, b, p);
    operations.check_word_root(p % 3 ? static_cast<Word>(rng_.size(~0u - 1u)) : ~0u, p);
    operations.check_roots(number(rng_.size(2 * p)), 2, p);
    const auto degree = static_cast<std::uint32_t>(3 + p % 5);
    const bool positive = degree % 2 == 0 || rng_.below(2) == 0;
    if (p <= 60) operations.check_roots(number(rng_.size(2 * p), positive), degree, p);
  }
}

TEST_P(Newton, ExtremeOperands) {
  Operations operations(context());
  using Words = std::vector<Word>;
  for (const std::size_t p : {1u, 2u, 3u, 4u, 5u, 8u, 13u, 31u, 32u, 33u}) {
    for (const std::size_t n :
         {std::size_t{1}, std::size_t{2}, p, p + 1, p + 2, p + 3, 2 * p + 5}) {
      Words ones(n, ~0u), power(n, 0), above, below, top_bit(n, 0);
      power[n - 1] = 1;
      top_bit[n - 1] = 0x80000000u;
      above = power;
      above[0] |= 1;
      below = ones;
      below[0] -= 1;
      for (const Words& words : {ones, power, top_bit, above, below}) {
        const std::int64_t exp = static_cast<std::int64_t>(rng_.below(5)) - 2;
        const OwnedFloat a(words, exp), b(ones, 0);
        operations.check_quotients(b, a, p);
        operations.check_quotients(a, a, p);
        operations.check_roots(a, 2, p);
        operations.check_roots(a, 3, p);
      }
    }
    for (const Word n : {1u, 2u, 3u, 4u, 0x10000u, 0x80000000u, 0xFFFE0001u, ~0u})
      operations.check_word_root(n, p);
  }
}

TEST_P(Newton, LongNumbersOnBothSidesOfTransforms) {
  // The program's own products: whole, in pieces, with threads.
  test::Threads two(2);
  Context chosen_context = context_, threaded{two, context_.products};
  if (GetParam() > 0) chosen_context.longest_product = 300;
  Operations operations(GetParam() < 0 ? threaded : chosen_context);
  for (std::size_t p = 90; p <= 1200; p += p < 110 ? 1 : 1 + rng_.size(p)) {
    const OwnedFloat a = number(2 * p), b = number(rng_.below(2) ? 2 * p : rng_.size(p));
    operations.check_quotients(a, b, p);
    operations.check_quotients(b, a, p);
    operations.check_word_root(static_cast<Word>(rng_.size(~0u - 1u)), p);
    operations.check_roots(a, 2, p);
    operations.check_roots(a, 3, p);
  }
}

TEST_P(Newton, ThreadsMakeNoDifference) {
  constexpr std::size_t p = 3000;
  test::Threads three(3);
  Context threaded{three, context_.products};
  if (GetParam() != 0) threaded.longest_product = context_.longest_product = 1000;
  Operations serial(context_), parallel(threaded);
  const OwnedFloat a = number(p + 9), b = number(p + 9);
  EXPECT_EQ(test::value(serial.quotient(a, b, p)), test::value(parallel.quotient(a, b, p)));
  EXPECT_EQ(test::value(serial.root(a, 2, p, true)), test::value(parallel.root(a, 2, p, true)));
  EXPECT_EQ(test::value(serial.root(a, 5, p, false)), test::value(parallel.root(a, 5, p, false)));
}

TEST_P(NewtonWrapping, TooLittleScratch) {
  const OwnedFloat a = number(40), b = number(40);
  OwnedFloat r(newton_result_words(50));
  a.T[0] |= 1;  // roots of single words take less
  const auto expect_too_small = [](std::size_t bytes, const auto& operation) {
    FencedScratch scratch(bytes - kBufferAlignment);
    EXPECT_THROW(operation(scratch.buffer()), BufferTooSmallException);
  };
  for (const std::size_t p : {3u, 17u, 50u}) {
    expect_too_small(reciprocal_scratch(context(), p),
                     [&](AlignedBufferC s) { set_reciprocal(context(), r, a, p, s); });
    expect_too_small(quotient_scratch(context(), p),
                     [&](AlignedBufferC s) { set_quotient(context(), r, a, b, p, s); });
    expect_too_small(invsqrt_scratch(context(), p),
                     [&](AlignedBufferC s) { set_invsqrt_uW(context(), r, 7, p, s); });
    expect_too_small(sqrt_scratch(context(), p),
                     [&](AlignedBufferC s) { set_invsqrt(context(), r, a, p, s); });
  }
}

TEST_P(NewtonWrapping, FindsFaultsOfTransforms) {
  const OwnedFloat a = number(30), b = number(30);
  OwnedFloat r(newton_result_words(30));
  a.T[0] |= 1;
  FencedScratch scratch(root_scratch(context(), 30));
  std::size_t& made = reference_.products;
  const auto every_product = [&](const std::function<void()>& operation) {
    reference_.fault = made = 0;
    operation();
    const std::size_t all = made;
    EXPECT_GT(all, 4u);
    for (std::size_t nth = 1; nth <= all; ++nth) {
      made = 0;
      reference_.fault = nth;
      EXPECT_THROW(operation(), AlgorithmFailedException) << nth << " of " << all;
    }
  };
  every_product([&] { set_quotient(context(), r, a, b, 30, scratch.buffer()); });
  every_product([&] { set_invsqrt_uW(context(), r, 2, 30, scratch.buffer()); });
  every_product([&] { set_sqrt(context(), r, a, 30, scratch.buffer()); });
  every_product([&] { set_root(context(), r, a, 3, 30, scratch.buffer()); });
}

TEST_P(NewtonWrapping, ResidualsThatWrapAround) {
  for (std::size_t rep = 0; rep < test::reps(2000); ++rep) {
    // c = y z + d for a d of at most 5 words: 6 words are enough for it.
    const OwnedFloat y = number(1 + rng_.below(6)), z = number(1 + rng_.below(6));
    OwnedFloat d(rng_.words(1 + rng_.below(5)), y.exp + z.exp, rng_.below(2) == 0);
    if (rep % 3 == 0) d.set_zero();
    if (rep % 3 == 1) {
      d.truncate(1);
      d.exp = y.exp + z.exp;
      d.T[0] = 1;
    }
    OwnedFloat c(20);
    const OwnedFloat product = Operations(context_).product(y, z);
    c.set_add(context_, product, d, 18);
    if (c.is_zero() || !c.sign || c.exp < y.exp + z.exp) continue;
    const newton::StepShape shape{6, 6, 12, 3};
    FencedScratch scratch(newton::StepProducts::bytes(context(), shape));
    newton::StepProducts products(context(), shape, scratch.buffer());
    if (rep % 2 == 0) products.keep(y);
    EXPECT_EQ(test::value(products.residual(c, y, z)), test::value(static_cast<BigFloat&>(d)));
    c.negate();
    OwnedFloat minus(std::vector<Word>(y.T, y.T + y.L), y.exp, false);
    d.negate();
    EXPECT_EQ(test::value(products.residual(c, minus, z)), test::value(static_cast<BigFloat&>(d)));
  }
}

TEST_P(Newton, RefusesArguments) {
  const OwnedFloat minus({5}, 0, false), two({2}, 0);
  OwnedFloat zero(1), r(16);
  EXPECT_THROW(set_reciprocal(context_, r, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_quotient(context_, r, zero, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_invsqrt_uW(context_, r, 0, 4, {}), ArithmeticException);
  EXPECT_THROW(set_invsqrt(context_, r, zero, 4, {}), ArithmeticException);
  EXPECT_THROW(set_inverse_root(context_, r, zero, 3, 4, {}), ArithmeticException);
  EXPECT_THROW(set_sqrt(context_, r, minus, 4, {}), InvalidParametersException);
  EXPECT_THROW(set_invsqrt(context_, r, minus, 4, {}), InvalidParametersException);
  EXPECT_THROW(set_root(context_, r, minus, 4, 4, {}), InvalidParametersException);
  EXPECT_THROW(set_root(context_, r, two, 1, 4, {}), InvalidParametersException);
  EXPECT_THROW(set_root(context_, r, two, 0x80000000u, 4, {}), InvalidParametersException);
  r.set_u64(1);
  set_root(context_, r, zero, 3, 4, {});
  EXPECT_TRUE(r.is_zero());
  r.set_u64(1);
  set_sqrt(context_, r, zero, 4, {});
  EXPECT_TRUE(r.is_zero());
}

}  // namespace
}  // namespace nmp
