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

class BigFloats : public ::testing::Test {
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
    const bool fits = span <= p;
    OwnedFloat c(kept(p) + 1);
    c.set_add(context, a, b, p);
    expect(c, test::add(x, y), p, fits);
    c.set_sub(context, a, b, p);
    expect(c, test::add(x, test::negated(y)), p, fits);
    c.set_uadd(context, a, b, p);
    expect(c, test::add(left, right), p, fits);
    const bool a_larger = compare_magnitude(a, b) >= 0;
    a_larger ? c.set_usub(context, a, b, p) : c.set_rsub(context, a, b, p);
    expect(c, test::magnitude(test::add(left, test::negated(right))), p, fits);
    if (compare_magnitude(a, b) == 0 || left == right || b.is_zero()) return;
    EXPECT_THROW(a_larger ? c.set_rsub(context, a, b, p) : c.set_usub(context, a, b, p),
                 InvalidParametersException);
  }
  Context& context() { return arithmetic_.context; }

  test::Arithmetic arithmetic_;
  test::Rng rng_ = test::Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

TEST_F(BigFloats, Sums) {
  for (std::size_t rep = 0; rep < test::reps(4000); ++rep) {
    std::vector<Word> a_words = words(), b_words = words();
    if (rep % 3 == 0) {  // alike: the tops cancel
      const std::vector<Word> tail = b_words;
      b_words = a_words;
      b_words.insert(b_words.begin(), tail.begin(), tail.end());
    }
    if (rep % 5 == 0) {  // 1 0 0 ... against ffff ffff ...: they cancel across a word
      std::fill(a_words.begin(), a_words.end(), 0);
      std::fill(b_words.begin() + static_cast<std::ptrdiff_t>(b_words.size() / 2), b_words.end(),
                0xFFFFFFFF);
      a_words.back() = 1;
    }
    OwnedFloat a(a_words, 0), b(b_words, 0);
    fill(a);
    fill(b);
    if (rep % 3 == 0) b.exp = a.mag() - b.L;
    if (rep % 5 == 0) b.exp = a.mag() - 1 - b.L;
    check_sums(context(), a, b, rng_.size(50));
  }
}

TEST_F(BigFloats, LongSumsWithThreads) {
  test::PlainThreads threads(3);
  Context parallel{threads, context().products};
  for (std::size_t rep = 0; rep < test::reps(10); ++rep) {
    OwnedFloat a(rng_.words(20000 + rng_.below(9)), 0);
    OwnedFloat b(rng_.words((rep % 2 ? 0 : 30000) + rng_.size(40000)), 0);
    a.exp = static_cast<std::int64_t>(rng_.below(30000)) - 15000;
    b.sign = rng_.below(2) == 0;
    check_sums(parallel, a, b, (rep % 2 ? 5000 : 30000) + rng_.size(60000));
  }
  EXPECT_GT(threads.loops(), 0u);
}

TEST_F(BigFloats, Products) {
  for (std::size_t rep = 0; rep < test::reps(1500); ++rep) {
    OwnedFloat a(words(), 0), b(rep % 3 ? words() : rng_.words(1 + rng_.below(2)), 0);
    fill(a);
    fill(b);
    const std::size_t p = rng_.size(60);
    const FencedScratch scratch(BigFloat::mul_scratch(context(), p));
    const Number exact = test::multiply(read(a, p), read(b, p));
    const bool fits = a.L + b.L <= kept(p);
    // In the result's own buffer and by way of scratch.
    OwnedFloat wide(a.L + b.L), narrow(std::min<std::size_t>(kept(p), a.L + b.L));
    wide.set_mul(context(), a, b, p, scratch.buffer());
    expect(wide, exact, p, fits);
    narrow.set_mul(context(), a, b, p, scratch.buffer());
    expect(narrow, exact, p, fits);
    OwnedFloat square(kept(p));
    square.set_sqr(context(), a, p, scratch.buffer());
    expect(square, test::multiply(read(a, p), read(a, p)), p, 2 * a.L <= kept(p));
    if (b.L <= 2) {
      OwnedFloat small(std::min<std::size_t>(a.L, kept(p)) + b.L);
      small.set_mul_small(a, b, p);
      expect(small, exact, p, fits);
    }
  }
}

TEST_F(BigFloats, WordsAndPowersOfTwo) {
  for (std::size_t rep = 0; rep < test::reps(1500); ++rep) {
    OwnedFloat a(words(), 0);
    fill(a);
    const std::size_t p = rng_.size(60);
    const Word w = std::max<Word>(1, rng_.words(1)[0] >> rng_.below(32));
    OwnedFloat c(std::min<std::size_t>(a.L, kept(p)) + 1), d(a.L + 1);
    c.set_mul_uW(a, w, p);
    expect(c, test::multiply(read(a, p), Number{false, {w}, 0}), p, a.L < kept(p));
    d.set_BigFloat(a, a.L);
    d.mul_uW(w);
    expect(d, test::multiply(value(a), Number{false, {w}, 0}), a.L, true);
    const std::int64_t bits = static_cast<std::int64_t>(rng_.below(400)) - 200;
    const std::int64_t whole = (bits + 320) / 32 - 10;
    d.set_BigFloat(a, a.L);
    d.mp2(bits);
    expect(d, test::multiply(value(a), Number{false, {1u << (bits - 32 * whole)}, whole}), a.L,
           true);
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
  OwnedFloat one(3);
  one.set_double(1.0);
  EXPECT_EQ(std::vector<Word>(one.T, one.T + one.L), (std::vector<Word>{0, 0, 1}));
  EXPECT_EQ(one.exp, -2);
  EXPECT_TRUE(one.sign);
  OwnedFloat none(0);
  for (double zero : {0.0, -0.0}) {
    none.set_double(zero);
    EXPECT_TRUE(none.is_zero() && !none.sign && none.exp == 0);
  }
  // e = -32, a whole number of words: two words are enough.
  OwnedFloat two(2);
  two.set_double(-(0x1p20 + 0x1p-32));
  EXPECT_EQ(value(two), (Number{true, {1, 0x100000}, -1}));
  expect_too_small(2, 3, [&] { two.set_double(1.0); });
  expect_fault<InvalidParametersException>(
      "BigFloat::set_double()", "The value is not finite.",
      [&] { one.set_double(std::numeric_limits<double>::infinity()); });
  for (double x : {0.1, -1e300, 4.9406564584124654e-324, 2.2250738585072014e-308, 1e-310, 123456.0,
                   0x1.fffffffffffffp1023}) {
    one.set_double(x, 7);
    std::int64_t exponent = 0;
    const double mantissa = one.to_double(&exponent);
    // The mantissa lies in [1, 2^32): no subnormal comes in between.
    EXPECT_EQ(std::ldexp(mantissa, static_cast<int>(32 * (exponent - 7))), x);
  }
}

TEST_F(BigFloats, AddingAWordInPlace) {
  for (std::size_t rep = 0; rep < test::reps(1000); ++rep) {
    std::vector<Word> a = words();
    const std::size_t n = a.size(), ones = rng_.below(n + 1);
    std::fill(a.begin() + static_cast<std::ptrdiff_t>(n - ones), a.end(), 0xFFFFFFFF);
    a.push_back(0);  // room
    OwnedFloat x(a, -3);
    x.L = static_cast<std::uint32_t>(n);
    const Number before = value(x);
    const std::size_t at = rng_.below(n + 1);
    const Word w = static_cast<Word>(rng_.below(3));
    x.add_ip(w, -3 + static_cast<std::int64_t>(at));
    expect(x, test::add(before, test::number(false, {w}, static_cast<std::int64_t>(at) - 3)), n,
           true);
    std::copy(a.begin(), a.end(), x.T);
    x.L = static_cast<std::uint32_t>(n);
    x.purturb_up(at % n);
    expect(x, test::add(before, Number{false, {1}, static_cast<std::int64_t>(at % n) - 3}), n,
           true);
  }
}

TEST_F(BigFloats, Faults) {
  OwnedFloat a({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, 2), c(2), zero(1);
  const char* const range = "BigFloat::add_ip(): Magnitude is out of range.";
  for (std::int64_t position : {1, 6})
    expect_fault<InvalidParametersException>("BigFloat::add_ip()", range,
                                             [&] { a.add_ip(1, position); });
  expect_fault<InvalidParametersException>("BigFloat::add_ip()", range, [&] { zero.add_ip(1, 0); });
  expect_fault<InvalidParametersException>("BigFloat::purturb_up()", "Index is out of range.",
                                           [&] { a.purturb_up(3); });
  expect_fault<ArithmeticException>("BigFloat::set_div_sW()", "Divide by zero.",
                                    [&] { c.set_div_sW(a, 0, 5); });
  expect_fault<InvalidParametersException>("BigFloat::set_mul_small()", "The factor is too long.",
                                           [&] { c.set_mul_small(a, a, 5); });
  expect_too_small(3, 4, [&] { a.add_ip(1, 2); });
  expect_too_small(2, 3, [&] { c.set_BigFloat(a, 1); });
  expect_too_small(2, 4, [&] { c.set_uadd(context(), a, a, 1); });
  expect_too_small(2, 3, [&] { c.set_usub(context(), a, a, 1); });
  expect_too_small(2, 7, [&] { c.set_div_sW(a, 3, 5); });
  expect_too_small(2, 3, [&] { c.set_mul_uW(a, 2, 5); });
  expect_too_small(2, 5, [&] { c.set_mul_small(a, OwnedFloat({1, 2}, 0), 5); });
  const FencedScratch scratch(BigFloat::mul_scratch(context(), 5));
  expect_too_small(2, 6, [&] { c.set_mul(context(), a, a, 5, scratch.buffer()); });
  EXPECT_THROW(c.set_mul(context(), a, a, 0, {}), BufferTooSmallException);
  expect_too_small(3, 4, [&] { a.purturb_up(0); });
  OwnedFloat b({1, 2, 0}, 0);
  expect_fault<AlgorithmFailedException>("BigFloat::check_normalization()",
                                         "BigFloat::check_normalization(): Top word is zero.",
                                         [&] { b.check_normalization(); });
  EXPECT_EQ(OwnedFloat({0x12, 0xAB}, 4).dump(), "sign = 1\nmag = 6\nexp = 4\n000000ab 00000012\n");
}

}  // namespace
}  // namespace nmp
