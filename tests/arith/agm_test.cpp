// The mean against digits from mpmath, and against its own symmetries.
#include "arith/agm.h"

#include <gtest/gtest.h>

#include "arith/hash61.h"
#include "arith/newton.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"

namespace nmp {
namespace {

using test::FencedScratch;
using test::OwnedFloat;

class Agm : public test::ArithmeticTest {
 protected:
  static OwnedFloat power_of_two(std::int64_t bits) {
    OwnedFloat x({1}, 0, true, 0, 1);
    x.mp2(bits);
    return x;
  }
  OwnedFloat agm(const BigFloat& a, const BigFloat& b, std::size_t p) {
    OwnedFloat r(newton_result_words(p + 1));
    FencedScratch scratch(agm_scratch(context_, p));
    set_agm(context_, r, a, b, p, scratch.buffer());
    return r;
  }
  OwnedFloat sqrt(const BigFloat& a, std::size_t p) {
    OwnedFloat r(newton_result_words(p));
    FencedScratch scratch(sqrt_scratch(context_, p));
    set_sqrt(context_, r, a, p, scratch.buffer());
    return r;
  }
  OwnedFloat product(const BigFloat& a, const BigFloat& b, std::size_t p) {
    OwnedFloat c(2 * p + 8);
    FencedScratch scratch(BigFloat::mul_scratch(context_, p));
    c.set_mul(context_, a, b, p, scratch.buffer());
    return c;
  }
  /// |a - b| <= 2^(bits - 32 p) |b|.
  void expect_close(const BigFloat& a, const BigFloat& b, std::size_t p, unsigned bits = 1) {
    OwnedFloat difference(b.L + a.L + 8), bound(b.L + 2);
    difference.set_sub(context_, a, b, b.L + a.L);
    bound.set_BigFloat(b, b.L);
    bound.mp2(std::int64_t{bits} - 32 * static_cast<std::int64_t>(p));
    EXPECT_LE(compare_magnitude(difference, bound), 0) << "precision " << p;
  }
  /// The first 10000 hexadecimal digits after the point as an integer, modulo 2^61 - 1.
  static std::uint64_t hash_of_fraction(const BigFloat& x) {
    constexpr std::int64_t kWords = 1250;
    const auto below = static_cast<std::size_t>(-kWords - x.exp);
    return hash61::of_words(x.T + below, std::min<std::size_t>(x.L - below, kWords));
  }
};

TEST_F(Agm, KnownDigits) {
  constexpr std::size_t p = 1256;
  const OwnedFloat one = power_of_two(0), three({3}, 0), seven({7}, 0);
  const OwnedFloat root = sqrt(power_of_two(1), p);
  EXPECT_EQ(hash_of_fraction(agm(one, root, p)), 391301548903884548u);
  EXPECT_EQ(hash_of_fraction(agm(one, power_of_two(-3000), p)), 264495124772792482u);
  EXPECT_EQ(hash_of_fraction(agm(seven, three, p)), 1046219377629418528u);
}

TEST_F(Agm, SymmetriesAtEveryPrecision) {
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const std::size_t p = rep < 100 ? rep + 1 : rng_.size(600);
    const auto exponent = [&] { return static_cast<std::int64_t>(rng_.below(40)) - 20; };
    const OwnedFloat a(rng_.words(rng_.size(2 * p)), exponent());
    OwnedFloat b(rng_.words(rng_.size(2 * p)), exponent(), true, 0, 1);
    if (rep % 4 == 0) {  // near a: the limit is reached at once, or soon
      b = OwnedFloat(a.L + 2);
      b.set_BigFloat(a, a.L);
      b.T[rng_.below(b.L)] ^= 1;
      if (b.T[b.L - 1] == 0) continue;
    }
    const OwnedFloat m = agm(a, b, p);
    expect_close(agm(b, a, p), m, p);
    // M(a, b) = M((a + b) / 2, sqrt(a b)), at a higher precision.
    OwnedFloat mean(p + 16);
    mean.set_add(context_, a, b, p + 8);
    mean.set_div_sW(mean, 2, p + 8);
    const OwnedFloat root = sqrt(product(a, b, p + 8), p + 8);
    expect_close(m, agm(mean, root, p + 4), p);
    expect_close(agm(a, a, p), a, p);
  }
}

TEST_F(Agm, ChecksItsArguments) {
  const OwnedFloat one({1}, 0), minus({1}, 0, false);
  OwnedFloat zero(1), r(newton_result_words(10));
  r.set_u64(5);
  set_agm(context_, r, zero, one, 9, {});
  EXPECT_TRUE(r.is_zero());
  EXPECT_THROW(set_agm(context_, r, one, minus, 9, {}), InvalidParametersException);
  FencedScratch scratch(agm_scratch(context_, 9) / 2);
  const OwnedFloat two({2}, 0), words(rng_.words(9), 0);
  EXPECT_THROW(set_agm(context_, r, two, words, 9, scratch.buffer()), BufferTooSmallException);
}

}  // namespace
}  // namespace nmp
