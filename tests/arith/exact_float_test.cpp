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

/// A number with words of its own: `below` free words under it and `above` over it.
class Owned : public ExactFloat {
 public:
  explicit Owned(std::size_t words) : Owned({}, 0, true, 0, words) {}
  Owned(const std::vector<Word>& words, std::int64_t exponent, bool positive, std::size_t below,
        std::size_t above)
      : storage_(below + words.size() + above, 0xDEADBEEF) {
    buffer = storage_.data();
    buffer_size = static_cast<std::uint32_t>(storage_.size());
    set_zero();
    if (words.empty()) return;
    std::copy(words.begin(), words.end(), storage_.data() + below);
    T = storage_.data() + below;
    L = static_cast<std::uint32_t>(words.size());
    exp = exponent;
    sign = positive;
    hash = computed_hash();
  }
  Owned(const Owned&) = delete;

 private:
  std::vector<Word> storage_;
};

class ExactFloats : public ::testing::Test {
 protected:
  static void expect(const ExactFloat& x, const Number& expected) {
    ASSERT_EQ(value(x), expected);
    ASSERT_EQ(x.hash, x.computed_hash());
    ASSERT_TRUE(x.is_zero() ? x.exp == 0 && !x.sign : x.T[x.L - 1] != 0);
    ASSERT_LE(static_cast<std::uint64_t>(x.T - x.buffer) + x.L, x.buffer_size);
  }
  struct Operand {
    std::vector<Word> words;
    std::int64_t exp;
    bool positive;
    std::int64_t mag() const { return exp + static_cast<std::int64_t>(words.size()); }
  };
  Operand operand(std::size_t most, std::size_t least = 0) {
    return {rng_.words(least + rng_.size(most)),
            static_cast<std::int64_t>(rng_.below(2 * most)) - 40, rng_.below(2) == 0};
  }
  /// Operands that overlap, nest or lie apart; often alike, so that the top or all of it cancels.
  std::pair<Operand, Operand> operands(std::size_t most, std::size_t least) {
    std::pair<Operand, Operand> pair{operand(most, least), operand(most)};
    auto& [a, b] = pair;
    if (rng_.below(3) == 0) {
      const std::size_t n = b.words.size();
      b = a;
      b.positive = rng_.below(2) == 0;
      if (rng_.below(3) != 0) b.words[rng_.below(b.words.size())] ^= 1u << rng_.below(31);
      if (rng_.below(3) == 0) {
        b.words.insert(b.words.begin(), n, 0xFFFFFFFF);
        b.exp -= static_cast<std::int64_t>(n);
      }
      if (b.words.back() == 0) b.words.back() = 1;
    }
    return pair;
  }
  static Owned fixed(const Operand& a) { return {a.words, a.exp, a.positive, 0, 0}; }
  /// `a` in a buffer that just reaches from its bottom or b's to `above` words over the higher top.
  static Owned roomy(const Operand& a, const Operand& b, int above) {
    return {a.words, a.exp, a.positive,
            static_cast<std::size_t>(std::max<std::int64_t>(a.exp - b.exp, 0)),
            static_cast<std::size_t>(std::max<std::int64_t>(b.mag() - a.mag(), 0) + above)};
  }
  void check_sums(Context& context, std::size_t most, std::size_t least = 0) {
    const auto [a, b] = operands(most, least);
    const Owned x = fixed(a), y = fixed(b);
    const Number sum = test::add(value(x), value(y));
    const Number left = test::magnitude(value(x)), right = test::magnitude(value(y));
    const bool a_larger = compare_magnitude(x, y) >= 0;

    Owned z(static_cast<std::size_t>(std::max(a.mag(), b.mag()) + 1 - std::min(a.exp, b.exp)));
    z.set_add(context, x, y);
    expect(z, sum);
    Owned r = roomy(a, b, 1);
    r.add_ip(context, y);
    expect(r, sum);
    r.negate();
    expect(r, test::negated(sum));

    Owned ab = roomy(a, b, 1), ba = roomy(a, b, 1);
    ab.uaddAB_ip(context, y);
    expect(ab, test::add(left, right));
    ba.uaddBA_ip(context, y);
    expect(ba, test::add(left, right));
    Owned difference = roomy(a, b, 0);
    if (a_larger)
      difference.usubAB_ip(context, y);
    else
      difference.usubBA_ip(context, y);
    expect(difference, test::magnitude(test::add(left, test::negated(right))));
    // The wrong way round is noticed.
    if (left == right) return;
    Owned wrong = roomy(a, b, 1);
    EXPECT_THROW(a_larger ? wrong.usubBA_ip(context, y) : wrong.usubAB_ip(context, y),
                 InvalidParametersException);
  }
  Context& context() { return arithmetic_.context; }

  test::Arithmetic arithmetic_;
  test::Rng rng_ = test::Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

TEST_F(ExactFloats, Sums) {
  for (std::size_t rep = 0; rep < test::reps(3000); ++rep) check_sums(context(), 30);
}

TEST_F(ExactFloats, LongSumsWithThreads) {
  test::PlainThreads threads(3);
  Context parallel{threads, context().products};
  for (std::size_t rep = 0; rep < test::reps(30); ++rep)
    check_sums(parallel, 40000, 20000 * (rep % 2));
  EXPECT_GT(threads.loops(), 0u);
}

TEST_F(ExactFloats, ProductsAndPowersOfTwo) {
  for (std::size_t rep = 0; rep < test::reps(1000); ++rep) {
    const Operand a = operand(rep % 4 ? 12 : 150), b = operand(rep % 4 ? 12 : 150);
    const Owned x = fixed(a), y = fixed(b);
    Owned z(x.L + y.L);
    const test::FencedScratch scratch(multiply_scratch(context(), x.L + y.L));
    z.set_mul(context(), x, y, scratch.buffer());
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
    const Owned x = fixed(a);
    Owned y(x.L);
    y.set_ExactFloat(x);
    expect(y, value(x));
    BasicInt integer(x.T, x.L);
    integer.L = x.L;
    integer.hash = hash61::of_words(x.T, x.L);
    y.set_BasicInt(integer, a.positive);
    expect(y, test::number(!a.positive, a.words, 0));

    Owned z(x.L + 1);
    const Owned none(0);
    z.set_add(context(), none, x);
    expect(z, value(x));
    z.set_mul(context(), x, none, {});
    expect(z, {});
    EXPECT_EQ(z.hash, 0u);
    z.set_ExactFloat(x);
    z.mul_uW(0);
    expect(z, {});
    Owned sum = roomy(a, a, 1);  // after cancelling, the same positions still take the number
    const std::int64_t lowest = sum.Tmin();
    sum.negate();
    sum.add_ip(context(), x);
    expect(sum, {});
    if (lowest <= 0 && lowest + sum.buffer_size >= 0) {
      EXPECT_EQ(sum.Tmin(), lowest);
      sum.add_ip(context(), x);
      expect(sum, value(x));
    }
  }
}

TEST_F(ExactFloats, RoomIsChecked) {
  const std::vector<Word> words{1, 2, 3};
  const Owned full(words, 5, true, 0, 0), low(words, 4, true, 0, 0), high(words, 6, true, 0, 0);
  const auto attempt = [&](const char* name, const char* fault, auto operation, const Owned& b) {
    Owned a(words, 5, true, 0, 0);
    expect_fault<InvalidParametersException>(name, fault, [&] { (a.*operation)(context(), b); });
  };
  attempt("ExactFloat::uaddAB_ip()", "Amag >= Tmax", &ExactFloat::uaddAB_ip, full);
  attempt("ExactFloat::uaddBA_ip()", "Bmag >= Tmax", &ExactFloat::uaddBA_ip, high);
  attempt("ExactFloat::usubBA_ip()", "Bmag > Tmax", &ExactFloat::usubBA_ip, high);
  attempt("ExactFloat::usubAB_ip()", "Bexp < Tmin", &ExactFloat::usubAB_ip, low);
  Owned cut(words, 5, true, 0, 0);
  cut.buffer_size = 2;  // only a damaged number can stand out above its buffer
  expect_fault<InvalidParametersException>("ExactFloat::usubAB_ip()", "Amag > Tmax",
                                           [&] { cut.usubAB_ip(context(), full); });
  Owned roomy(words, 5, true, 0, 1);
  expect_fault<InvalidParametersException>("ExactFloat::uaddAB_ip()", "Bexp < Tmin",
                                           [&] { roomy.uaddAB_ip(context(), low); });
  expect_fault<InvalidParametersException>("ExactFloat::uaddBA_ip()", "Bexp < Tmin",
                                           [&] { roomy.uaddBA_ip(context(), low); });

  Owned z(3);
  expect_too_small(3, 6, [&] { z.set_mul(context(), full, low, {}); });
  expect_too_small(3, 5, [&] { z.set_add(context(), full, low); });
  z.set_ExactFloat(full);
  expect_too_small(3, 4, [&] { z.mul_uW(2); });
  expect_too_small(3, 4, [&] { z.mp2(1); });
  z.mp2(64);
  expect(z, test::number(false, words, 7));
  Owned tiny(2);
  expect_too_small(2, 3, [&] { tiny.set_ExactFloat(full); });

  alignas(64) std::byte block[128];
  EXPECT_EQ(ExactFloat(AlignedBufferC(block, 128)).buffer_size, 32u);
}

}  // namespace
}  // namespace nmp
