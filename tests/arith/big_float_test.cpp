// Results against exact ones: equal where nothing had to be dropped, else within four units of the
// last word kept.
#include "arith/big_float.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "arith/word_ops.h"
#include "support/arithmetic.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/reference.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::expect_fault;
using test::expect_too_small;
using test::FencedScratch;
using test::Number;
using test::OwnedFloat;
using test::value;

class BigFloats : public test::ArithmeticTest {
 protected:
  static std::size_t kept(std::size_t p) { return p + kExtraPrecision; }

  static void expect(const BigFloat& x, const Number& exact, std::size_t p, bool is_exact) {
    ASSERT_NO_THROW(x.check_normalization());
    ASSERT_TRUE(x.is_zero() ? x.exp == 0 && !x.sign : x.L <= kept(p));
    ASSERT_LE(static_cast<std::uint64_t>(x.T - x.buffer) + x.L, x.buffer_size);
    if (is_exact) {
      ASSERT_EQ(value(x), exact);
      return;
    }
    const Number error = test::magnitude(test::add(value(x), test::negated(exact)));
    const Number units{true, {4}, x.mag() - static_cast<std::int64_t>(kept(p))};
    ASSERT_TRUE(test::add(error, units).negative) << value(x) << "\nexact " << exact;
  }
  void fill(OwnedFloat& x) {
    x.exp = static_cast<std::int64_t>(rng_.below(60)) - 30;
    x.sign = rng_.below(2) == 0;
  }
  std::vector<Word> words() { return rng_.words(rng_.size(40)); }
  /// The top words that an operation reads.
  static Number read(const BigFloat& x, std::size_t p) {
    BigFloat top = x;
    top.truncate(kept(p));
    return value(top);
  }
  void check_sums(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p) {
    const Number x = read(a, p), y = read(b, p);
    const Number left = test::magnitude(x), right = test::magnitude(y);
    const auto span = static_cast<std::size_t>(std::max(a.mag(), b.mag()) - std::min(a.exp, b.exp));
    const auto check = [&](auto operation, const Number& exact) {
      OwnedFloat c(kept(p) + 1);
      (c.*operation)(context, a, b, p);
      expect(c, exact, p, span <= p);
    };
    check(&BigFloat::set_add, test::add(x, y));
    check(&BigFloat::set_sub, test::add(x, test::negated(y)));
    check(&BigFloat::set_uadd, test::add(left, right));
    auto larger = &BigFloat::set_usub, smaller = &BigFloat::set_rsub;
    if (compare_magnitude(a, b) < 0) std::swap(larger, smaller);
    check(larger, test::magnitude(test::add(left, test::negated(right))));
    if (compare_magnitude(a, b) == 0 || left == right) return;
    OwnedFloat wrong(kept(p) + 1);
    EXPECT_THROW((wrong.*smaller)(context, a, b, p), InvalidParametersException);
  }
};

TEST_F(BigFloats, Sums) {
  test::Threads threads(3);
  Context parallel{threads, context_.products};
  // However few the repetitions, go on until the threads had something to do.
  for (std::size_t rep = 0; rep < test::reps(4000) || threads.loops() == 0; ++rep) {
    const bool is_long = rep % 400 < 2;
    const auto draw = [&] { return is_long ? rng_.words(20000 + rng_.below(20000)) : words(); };
    std::vector<Word> a_words = draw(), b_words = rep % 2 ? draw() : words();
    const bool alike = rep % 3 == 0, across = rep % 5 == 0;
    if (alike) {  // the tops cancel
      const std::vector<Word> tail = b_words;
      b_words = a_words;
      b_words.insert(b_words.begin(), tail.begin(), tail.end());
    }
    if (across) {  // 1 0 0 ... against ffff ffff ...: they cancel across a word
      std::fill(a_words.begin(), a_words.end(), 0);
      std::fill(b_words.begin() + static_cast<std::ptrdiff_t>(b_words.size() / 2), b_words.end(),
                0xFFFFFFFF);
      a_words.back() = 1;
    }
    OwnedFloat a(a_words, 0), b(b_words, 0);
    fill(a);
    fill(b);
    if (is_long) a.exp *= 500;
    if (alike || across) b.exp = a.mag() - across - b.L;
    check_sums(is_long ? parallel : context_, a, b,
               is_long ? 10000 + rng_.below(60000) : rng_.size(50));
  }
}

TEST_F(BigFloats, Products) {
  for (std::size_t rep = 0; rep < test::reps(1500); ++rep) {
    OwnedFloat a(words(), 0), b(rep % 3 ? words() : rng_.words(1 + rng_.below(2)), 0);
    fill(a);
    fill(b);
    const std::size_t p = rng_.size(60);
    const FencedScratch scratch(BigFloat::mul_scratch(context_, p));
    const Number exact = test::multiply(read(a, p), read(b, p));
    const bool fits = a.L + b.L <= kept(p);
    // In the result's own buffer and by way of scratch.
    OwnedFloat wide(a.L + b.L), narrow(std::min<std::size_t>(kept(p), a.L + b.L));
    wide.set_mul(context_, a, b, p, scratch.buffer());
    expect(wide, exact, p, fits);
    narrow.set_mul(context_, a, b, p, scratch.buffer());
    expect(narrow, exact, p, fits);
    OwnedFloat square(kept(p));
    square.set_sqr(context_, a, p, scratch.buffer());
    expect(square, test::multiply(read(a, p), read(a, p)), p, 2 * a.L <= kept(p));
    if (b.L <= 2) {
      OwnedFloat small(std::min<std::size_t>(a.L, kept(p)) + b.L);
      small.set_mul_small(a, b, p);
      expect(small, exact, p, fits);
    }
  }
}

TEST_F(BigFloats, WordsInPlaceAndNot) {
  for (std::size_t rep = 0; rep < test::reps(1500); ++rep) {
    OwnedFloat a(words(), 0);
    fill(a);
    const std::size_t p = rng_.size(60);
    const Word w = std::max<Word>(1, rng_.words(1)[0] >> rng_.below(32));
    OwnedFloat c(std::min<std::size_t>(a.L, kept(p)) + 1);
    c.set_mul_uW(a, w, p);
    expect(c, test::multiply(read(a, p), Number{false, {w}, 0}), p, a.L < kept(p));

    const auto in_place = [&](const Number& exact, auto operation) {
      OwnedFloat d(a.L + 1);
      d.set_BigFloat(a, a.L);
      d.sign = true;
      operation(d);
      expect(d, exact, a.L, true);
    };
    const Number x = test::magnitude(value(a));
    in_place(test::multiply(x, Number{false, {w}, 0}), [&](BigFloat& d) { d.mul_uW(w); });
    const std::int64_t bits = static_cast<std::int64_t>(rng_.below(400)) - 200;
    const std::int64_t whole = (bits + 320) / 32 - 10;
    in_place(test::multiply(x, Number{false, {1u << (bits - 32 * whole)}, whole}),
             [&](BigFloat& d) { d.mp2(bits); });
    // A carry through a top of ones.
    std::fill(a.T + rng_.below(a.L), a.T + a.L, 0xFFFFFFFF);
    const auto at = static_cast<std::int64_t>(rng_.below(a.L));
    const Number y = test::magnitude(value(a));
    in_place(test::add(y, test::number(false, {w % 3}, a.exp + at)),
             [&](BigFloat& d) { d.add_ip(w % 3, a.exp + at); });
    in_place(test::add(y, Number{false, {1}, a.mag()}), [&](BigFloat& d) { d.add_ip(1, a.mag()); });
    in_place(test::add(y, Number{false, {1}, a.exp + at}),
             [&](BigFloat& d) { d.purturb_up(static_cast<std::size_t>(at)); });
  }
}

TEST_F(BigFloats, QuotientsMultiplyBack) {
  for (std::size_t rep = 0; rep < test::reps(2000); ++rep) {
    const std::size_t p = rng_.size(60), below = rng_.size(30) - 1;
    const auto w = rep % 9 == 0 ? std::numeric_limits<std::int32_t>::min()
                                : static_cast<std::int32_t>(rng_.words(1)[0]) >> rng_.below(31);
    const Word divisor = w < 0 ? 0u - static_cast<Word>(w) : static_cast<Word>(w);
    if (w == 0) continue;
    OwnedFloat a(words(), 0), q(kept(p));
    fill(a);
    q.set_div_sW(a, w, p);
    ASSERT_EQ(q.L, kept(p));
    // |q w| <= |a| < |q w| + w units of q's last word, and of a's share that was not read.
    const Number back = test::multiply(value(q), Number{w < 0, {divisor}, 0});
    const Number rest = test::add(value(a), test::negated(back));
    ASSERT_TRUE(rest.words.empty() || rest.negative == !a.sign);
    const Number bound{true, {divisor}, q.exp};
    ASSERT_TRUE(test::add(test::magnitude(rest), bound).negative);

    // In place, the number lying anywhere in its buffer.
    OwnedFloat b(below + std::max<std::size_t>(a.L, kept(p)));
    b.set_BigFloat(a, a.L);
    words::copy(b.T + below, b.T, b.L);
    b.T += below;
    b.set_div_sW(b, w, p);
    expect(b, value(q), p, true);
  }
}

TEST_F(BigFloats, Doubles) {
  // Two words are enough for a whole number of words, else three.
  OwnedFloat two(2), three(3), none(0);
  two.set_double(-(0x1p20 + 0x1p-32));
  EXPECT_EQ(value(two), (Number{true, {1, 0x100000}, -1}));
  expect_too_small(2, 3, [&] { two.set_double(1.0); });
  none.set_double(-0.0);
  EXPECT_TRUE(none.is_zero() && !none.sign && none.exp == 0);
  for (double x : {1.0, 0.1, -1e300, 4.9406564584124654e-324, 2.2250738585072014e-308, 123456.0,
                   0x1.fffffffffffffp1023}) {
    three.set_double(x, 7);
    std::int64_t exponent = 0;
    const double mantissa = three.to_double(&exponent);
    // The mantissa lies in [1, 2^32): no subnormal comes in between.
    EXPECT_EQ(std::ldexp(mantissa, static_cast<int>(32 * (exponent - 7))), x);
  }
}

TEST_F(BigFloats, Faults) {
  OwnedFloat a({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, 2), c(2), zero(1), b({1, 2, 0}, 0);
  const auto refuse = [](const char* function, const char* message, auto body) {
    expect_fault<StringException>(std::string("BigFloat::") + function, message, body);
  };
  const char* const range = "BigFloat::add_ip(): Magnitude is out of range.";
  refuse("add_ip()", range, [&] { a.add_ip(1, 1); });
  refuse("add_ip()", range, [&] { a.add_ip(1, 6); });
  refuse("add_ip()", range, [&] { zero.add_ip(1, 0); });
  refuse("purturb_up()", "Index is out of range.", [&] { a.purturb_up(3); });
  refuse("set_div_sW()", "Divide by zero.", [&] { c.set_div_sW(a, 0, 5); });
  refuse("set_double()", "The value is not finite.", [&] { c.set_double(HUGE_VAL); });
  refuse("set_mul_small()", "The factor is too long.", [&] { c.set_mul_small(a, a, 5); });
  refuse("check_normalization()", "BigFloat::check_normalization(): Top word is zero.",
         [&] { b.check_normalization(); });
  expect_too_small(3, 4, [&] { a.add_ip(1, 2); });
  expect_too_small(2, 3, [&] { c.set_BigFloat(a, 1); });
  expect_too_small(2, 4, [&] { c.set_uadd(context_, a, a, 1); });
  expect_too_small(2, 3, [&] { c.set_usub(context_, a, a, 1); });
  expect_too_small(2, 7, [&] { c.set_div_sW(a, 3, 5); });
  expect_too_small(2, 3, [&] { c.set_mul_uW(a, 2, 5); });
  expect_too_small(2, 5, [&] { c.set_mul_small(a, OwnedFloat({1, 2}, 0), 5); });
  const FencedScratch scratch(BigFloat::mul_scratch(context_, 5));
  expect_too_small(2, 6, [&] { c.set_mul(context_, a, a, 5, scratch.buffer()); });
  EXPECT_THROW(c.set_mul(context_, a, a, 0, {}), BufferTooSmallException);
}

}  // namespace
}  // namespace nmp
