// Every operation against the slow reference; the residue is recomputed after each of them.
#include "arith/exact_float.h"

#include <gtest/gtest.h>

#include "arith/hash61.h"
#include "support/arithmetic.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/reference.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::expect_fault;
using test::expect_too_small;
using test::Number;
using test::value;

struct Operand {
  std::vector<Word> words;
  std::int64_t exp;
  bool positive;
  std::int64_t mag() const { return exp + static_cast<std::int64_t>(words.size()); }
};

using Owned = test::Owned<ExactFloat>;

Owned owned(const Operand& a, std::size_t below = 0, std::size_t above = 0) {
  return Owned(a.words, a.exp, a.positive, below, above);
}
/// `a` in a buffer that just reaches from its bottom or b's to `above` words over the higher top.
Owned roomy(const Operand& a, const Operand& b, int above) {
  return owned(a, static_cast<std::size_t>(std::max<std::int64_t>(a.exp - b.exp, 0)),
               static_cast<std::size_t>(std::max<std::int64_t>(b.mag() - a.mag(), 0) + above));
}

class ExactFloats : public test::ArithmeticTest {
 protected:
  static void expect(const ExactFloat& x, const Number& expected) {
    ASSERT_EQ(value(x), expected);
    ASSERT_EQ(x.hash, x.computed_hash());
    ASSERT_TRUE(x.is_zero() ? x.exp == 0 && !x.sign : x.T[x.L - 1] != 0);
    ASSERT_LE(static_cast<std::uint64_t>(x.T - x.buffer) + x.L, x.buffer_size);
  }
  Operand operand(std::size_t most, std::size_t least = 0) {
    return {rng_.words(least + rng_.size(most)),
            static_cast<std::int64_t>(rng_.below(2 * most)) - 40, rng_.below(2) == 0};
  }
  /// Operands that overlap, nest or lie apart; often alike, so that the top or all of it cancels.
  void check_sums(Context& context, std::size_t most, std::size_t least = 0) {
    Operand a = operand(most, least), b = operand(most);
    if (rng_.below(3) == 0) {
      const std::size_t n = b.words.size();
      b = {a.words, a.exp, b.positive};
      if (rng_.below(3) != 0) b.words[rng_.below(b.words.size())] ^= 1u << rng_.below(31);
      if (rng_.below(3) == 0) {
        b.words.insert(b.words.begin(), n, 0xFFFFFFFF);
        b.exp -= static_cast<std::int64_t>(n);
      }
      if (b.words.back() == 0) b.words.back() = 1;
    }
    const Owned x = owned(a), y = owned(b);
    const Number sum = test::add(value(x), value(y));
    const Number left = test::magnitude(value(x)), right = test::magnitude(value(y));
    Owned z(static_cast<std::size_t>(std::max(a.mag(), b.mag()) + 1 - std::min(a.exp, b.exp)));
    z.set_add(context, x, y);
    expect(z, sum);
    const auto in_place = [&](auto operation, int above, const Number& expected) {
      Owned r = roomy(a, b, above);
      (r.*operation)(context, y);
      expect(r, expected);
      r.negate();
      expect(r, test::negated(expected));
    };
    in_place(&ExactFloat::add_ip, 1, sum);
    in_place(&ExactFloat::uaddAB_ip, 1, test::add(left, right));
    in_place(&ExactFloat::uaddBA_ip, 1, test::add(left, right));
    auto larger = &ExactFloat::usubAB_ip, smaller = &ExactFloat::usubBA_ip;
    if (compare_magnitude(x, y) < 0) std::swap(larger, smaller);
    in_place(larger, 0, test::magnitude(test::add(left, test::negated(right))));
    // The wrong way round is noticed.
    if (left == right) return;
    Owned wrong = roomy(a, b, 1);
    EXPECT_THROW((wrong.*smaller)(context, y), InvalidParametersException);
  }
};

TEST_F(ExactFloats, Sums) {
  for (std::size_t rep = 0; rep < test::reps(3000); ++rep) check_sums(context_, 30);
  for (const unsigned count : {2u, 3u, 20u}) {
    test::Threads threads(count);
    Context parallel{threads, context_.products};
    // However few the repetitions, go on until the threads had something to do.
    for (std::size_t rep = 0; rep < test::reps(20) || threads.loops() == 0; ++rep)
      check_sums(parallel, 40000, 20000 * (rep % 2));
  }
}

TEST_F(ExactFloats, ProductsAndPowersOfTwo) {
  for (std::size_t rep = 0; rep < test::reps(1000); ++rep) {
    const Operand a = operand(rep % 4 ? 12 : 150), b = operand(rep % 4 ? 12 : 150);
    const Owned x = owned(a), y = owned(b);
    Owned z(x.L + y.L);
    const test::FencedScratch scratch(multiply_scratch(context_, x.L + y.L));
    z.set_mul(context_, x, y, scratch.buffer());
    expect(z, test::multiply(value(x), value(y)));

    const Word w = rng_.words(1)[0];
    Owned scaled = roomy(a, a, 1);
    scaled.mul_uW(w);
    expect(scaled, test::multiply(value(x), Number{false, {w}, 0}));

    const std::int64_t bits = static_cast<std::int64_t>(rng_.below(400)) - 200;
    Owned shifted = roomy(a, a, 1);
    shifted.mp2(bits);
    const std::int64_t whole = (bits + 320) / 32 - 10;
    expect(shifted, test::multiply(value(x), Number{false, {1u << (bits - 32 * whole)}, whole}));
  }
}

TEST_F(ExactFloats, CopiesAndZeros) {
  for (std::size_t rep = 0; rep < test::reps(200); ++rep) {
    const Operand a = operand(20);
    const Owned x = owned(a), none(0);
    Owned y(x.L);
    BasicInt integer(x.T, x.L);
    integer.L = x.L;
    integer.hash = hash61::of_words(x.T, x.L);
    y.set_BasicInt(integer, a.positive);
    expect(y, test::number(!a.positive, a.words, 0));
    y.set_ExactFloat(context_, x);
    expect(y, value(x));
    y.mul_uW(0);
    expect(y, {});

    Owned z(x.L + 1);
    z.set_add(context_, none, x);
    expect(z, value(x));
    z.set_mul(context_, x, none, {});
    expect(z, {});
    EXPECT_EQ(z.hash, 0u);
    Owned sum = roomy(a, a, 1);  // after cancelling, the same positions still take the number
    const std::int64_t lowest = sum.Tmin();
    sum.negate();
    sum.add_ip(context_, x);
    expect(sum, {});
    if (lowest > 0 || lowest + sum.buffer_size < 0) continue;
    sum.add_ip(context_, x);
    expect(sum, value(x));
  }
}

TEST_F(ExactFloats, ProductsOfWordsThatChangedAreRefused) {
  Owned x(rng_.words(300), -5), y(rng_.words(300), 1000, false), z(600);
  const auto multiply = [&] {
    test::FencedScratch scratch(multiply_scratch(context_, 600));
    z.set_mul(context_, x, y, scratch.buffer());
  };
  EXPECT_NO_THROW(multiply());
  y.T[17] ^= 0x4000;
  expect_fault<AlgorithmFailedException>("multiply()", "Multiplication Failed: Checksum Mismatch",
                                         multiply);
}

TEST_F(ExactFloats, RoomIsChecked) {
  const std::vector<Word> words{1, 2, 3};
  const Owned full(words, 5), low(words, 4), high(words, 6);
  const auto refuse = [&](const char* name, const char* fault, auto operation, const Owned& b,
                          std::size_t above = 0) {
    Owned a(words, 5, true, 0, above);
    expect_fault<InvalidParametersException>(std::string("ExactFloat::") + name, fault,
                                             [&] { (a.*operation)(context_, b); });
  };
  refuse("uaddAB_ip()", "Amag >= Tmax", &ExactFloat::uaddAB_ip, full);
  refuse("uaddBA_ip()", "Bmag >= Tmax", &ExactFloat::uaddBA_ip, high);
  refuse("usubBA_ip()", "Bmag > Tmax", &ExactFloat::usubBA_ip, high);
  refuse("usubAB_ip()", "Bexp < Tmin", &ExactFloat::usubAB_ip, low);
  refuse("uaddAB_ip()", "Bexp < Tmin", &ExactFloat::uaddAB_ip, low, 1);
  refuse("uaddBA_ip()", "Bexp < Tmin", &ExactFloat::uaddBA_ip, low, 1);

  Owned z(3), tiny(2);
  expect_too_small(3, 6, [&] { z.set_mul(context_, full, low, {}); });
  expect_too_small(3, 5, [&] { z.set_add(context_, full, low); });
  expect_too_small(2, 3, [&] { tiny.set_ExactFloat(context_, full); });
  z.set_ExactFloat(context_, full);
  expect_too_small(3, 4, [&] { z.mul_uW(2); });
  expect_too_small(3, 4, [&] { z.mp2(1); });
}

}  // namespace
}  // namespace nmp
