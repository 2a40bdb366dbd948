// The families beside CommonP2B3 against their sums term by term.
#include <gtest/gtest.h>

#include <cmath>

#include "arith/hash61.h"
#include "foundation/exceptions.h"
#include "series/binary_bbp.h"
#include "series/hyperdescent.h"
#include "series/sum_test.h"
#include "support/threads.h"

namespace nmp::BinarySplitting {
namespace {

using test::Number;

/// P(k) = +-(k + 3), Q(k) = 7 k^2 (2^40 + k), positive for k = 1 only.
class SampleBBP : public BinaryBBP::BinaryBBPSeries {
 public:
  SampleBBP(BinaryScale scale, std::uint64_t n) : BinaryBBPSeries(scale) { terms = n; }
  static constexpr std::uint64_t kLarge = std::uint64_t{1} << 40;

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double n = static_cast<double>(b - a);
    const double q = n * (std::log2(7.0) + 40.1) + 2 * log2_product(1, 0, a, b);
    return {q + scale().bits * n + 64, q, 0};
  }
  void end_case_1(std::uint64_t k, Term& t) const override {
    t.P.set_u64(k == broken_term ? k + 2 : k + 3);
    t.P_positive = k == 1;
    t.Q.set_u64(7 * k * k);
    t.Q.mul_u64(kLarge + k);
  }
  std::uint64_t broken_term = 0;

 private:
  Residues fraction_residues(std::uint64_t k) const override {
    return {k == 1 ? k + 3 : hash61::negate(k + 3), hash61::multiply(7 * k * k, kLarge + k), 1};
  }
};

class Families : public SumTest {};

TEST_F(Families, TaylorSumsAreExact) {
  for (const bool alternating : {false, true}) {
    for (const std::uint64_t n : {1u, 2u, 20u, 21u, 128u, 129u, 1000u, 3333u}) {
      Number P = small(1), Q = P;
      for (std::uint64_t k = 2; k <= n; ++k) {
        P = add(multiply(P, small(k)), small(1, alternating && k % 2 == 0));
        Q = multiply(Q, small(k));
      }
      const Fraction actual = sum(Hyperdescent::TaylorSeries(alternating, n), 5000);
      EXPECT_EQ(actual.numerator, alternating ? test::negated(P) : P) << n;
      EXPECT_EQ(actual.denominator, Q) << n;
    }
  }
  EXPECT_EQ(steps_.text,
            "Series Hyperdescent...  3,333 terms  (Expansion Factor = 0)\n"
            "Summing: |Finalizing: P * coefP: |Finalizing: Q * coefD: |Finishing Series|");
}

TEST_F(Families, BinarySumsKeepTheirPrecision) {
  for (const BinaryScale scale : {BinaryScale{6, true}, {6, false}, {5, true}, {31, true}}) {
    for (const std::uint64_t n : {1u, 15u, 16u, 17u, 33u, 100u, 1200u}) {
      SampleBBP series(scale, n);
      Number P, Q = small(1);
      for (std::uint64_t k = 1; k <= n; ++k) {
        const Number q = multiply(small(7 * k * k), small(SampleBBP::kLarge + k));
        const bool negative = (k != 1) != (scale.alternating && k % 2 == 0);
        P = multiply(multiply(P, q), small(std::uint64_t{1} << scale.bits));
        P = add(P, multiply(Q, small(k + 3, negative)));
        Q = multiply(Q, q);
      }
      for (std::uint64_t k = 1; k < n; ++k) Q = multiply(Q, small(std::uint64_t{1} << scale.bits));
      const Fraction whole = sum(series, 9000);
      EXPECT_EQ(multiply(whole.numerator, Q), multiply(P, whole.denominator));
      if (n < 1200) continue;
      for (const std::size_t target : {700u, 1000u, 1500u}) {
        expect_close(sum(series, target), {P, Q}, target);
        EXPECT_GT(blocks_, 1u);
      }
    }
  }
  EXPECT_EQ(
      steps_.text,
      "Series BinaryBBP...  1,200 terms  (Expansion Factor = 0)\nSumming: |Finishing Series|");
}

TEST_F(Families, ThreadsGiveTheSameWords) {
  test::Threads pool(3);
  Context context{pool, context_.products};
  const SampleBBP binary({6, true}, 9000);
  const Hyperdescent::TaylorSeries taylor(true, 20000);
  for (const Series* series :
       {static_cast<const Series*>(&binary), static_cast<const Series*>(&taylor)})
    for (const std::size_t target : {3000u, 40000u})
      EXPECT_EQ(sum(context, *series, target), sum(*series, target));
}

TEST_F(Families, ModularCheckCatchesAWrongTerm) {
  for (const std::uint64_t broken : {1u, 17u, 999u}) {
    SampleBBP series({6, true}, 1000);
    series.broken_term = broken;
    EXPECT_THROW(sum(series, 9000), BSRModularCheckFailedException) << "term " << broken;
  }
}

}  // namespace
}  // namespace nmp::BinarySplitting
