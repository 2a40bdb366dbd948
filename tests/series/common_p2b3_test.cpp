// The engine is tested on a series of its own, against the recurrence modulo other primes and
// against itself at a higher precision.
#include "series/common_p2b3.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "arith/hash61.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/random.h"

namespace nmp::BinarySplitting {
namespace {

using test::FencedScratch;
using test::OwnedFloat;

class Silence : public Progress {
 public:
  void stage(std::string_view) override {}
  void note(std::string_view line) override { notes += std::string(line) + "\n"; }
  void step(std::string_view label) override { steps += std::string(label) + "|"; }
  void trail(char, std::string_view) override { ++depth; }
  void untrail(std::size_t count) override { depth -= static_cast<int>(count); }
  void advance(double f) override {
    EXPECT_GE(f, fraction);
    EXPECT_LE(f, 1.0);
    fraction = f;
  }
  std::string notes, steps;
  int depth = 0;
  double fraction = 0;
};

/// P(k) = (-1)^k (5k + 1), Q(k) = 7 k^2 + 100, R(k) = (-1)^k (3k - 1).
class SampleSeries : public Series {
 public:
  explicit SampleSeries(std::uint64_t n) { terms = n; }
  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double last = static_cast<double>(b), n = static_cast<double>(b - a);
    const double q = n * std::log2(7 * last * last + 100);
    return {q + 2, q, n * std::log2(3 * last)};
  }
  void end_case_1(std::uint64_t k, Term& t) const override {
    t.P.set_u64(5 * k + 1);
    t.Q.set_u64(7 * k * k + 100);
    t.R.set_u64(3 * k - 1);
    t.P_positive = t.R_positive = k % 2 == 0;
  }
  void end_case_2(std::uint64_t k, Term& t) const override {
    const std::uint64_t p0 = 5 * k + 1, p1 = 5 * k + 6, q1 = 7 * (k + 1) * (k + 1) + 100,
                        r0 = 3 * k - 1, r1 = 3 * k + 2;
    // P(k) Q(k+1) and R(k) P(k+1) are both negative for odd k; for even k the second one is.
    t.P.set_u64(k % 2 ? p0 * q1 + r0 * p1 : p0 * q1 - r0 * p1);
    t.Q.set_u64(7 * k * k + 100);
    t.Q.mul_u64(q1);
    t.R.set_u64(r0 * r1);
    t.P_positive = k % 2 == 0;
    t.R_positive = false;
    if (k == broken_term || k + 1 == broken_term) t.P.mul_u64(3);
  }
  Residues residues(std::uint64_t k) const override {
    const auto signed_value = [&](std::uint64_t x) { return k % 2 ? hash61::negate(x) : x; };
    return {signed_value(5 * k + 1), 7 * k * k + 100, signed_value(3 * k - 1)};
  }
  std::uint64_t broken_term = 0;
};

/// P and Q modulo a prime that the program does not use, term by term.
struct SmallResidues {
  static constexpr std::uint64_t kModulus = 4294967291u;
  std::uint64_t P = 0, Q = 1, R = 1;
  explicit SmallResidues(std::uint64_t terms) {
    for (std::uint64_t k = 1; k <= terms; ++k) {
      const auto sign = [&](std::uint64_t x) { return (k % 2 ? kModulus - x : x) % kModulus; };
      const std::uint64_t q = (7 * k * k + 100) % kModulus;
      P = (P * q % kModulus + R * sign(5 * k + 1) % kModulus) % kModulus;
      Q = Q * q % kModulus;
      R = R * sign(3 * k - 1) % kModulus;
    }
  }
  static std::uint64_t of(const BigFloat& x) {
    std::uint64_t r = 0;
    for (std::uint32_t i = x.L; i-- > 0;) r = ((r << 32) + x.T[i]) % kModulus;
    for (std::int64_t e = 0; e < x.exp; ++e) r = (r << 32) % kModulus;
    return x.sign || r == 0 ? r : kModulus - r;
  }
  static std::uint64_t of(std::int64_t x) {
    const auto m = static_cast<std::int64_t>(kModulus);
    return static_cast<std::uint64_t>((x % m + m) % m);
  }
};

class CommonP2B3Test : public ::testing::Test {
 protected:
  /// Sums the series at a precision of `target` words, in exactly the memory that it asks for.
  void sum(const Series& series, std::size_t target) {
    CommonP2B3::PSR_SeriesS run(context(), series, target);
    numerator = std::make_unique<OwnedFloat>(run.result_words());
    denominator = std::make_unique<OwnedFloat>(run.result_words());
    FencedScratch scratch(run.scratch_bytes());
    blocks = run.plan().blocks.size();
    progress.fraction = 0;
    run.run(*numerator, *denominator, progress, scratch.buffer());
    EXPECT_EQ(progress.depth, 0) << "the trail is not back where it began";
  }
  Context& context() { return arithmetic_.context; }

  test::Arithmetic arithmetic_;
  test::Rng rng_ = test::Rng::from_environment();
  Silence progress;
  std::unique_ptr<OwnedFloat> numerator, denominator;
  std::size_t blocks = 0;
};

TEST_F(CommonP2B3Test, ExactSumsAndCoefficients) {
  constexpr struct {
    std::int64_t P, Q;
    std::uint64_t D;
  } kFinishes[] = {{1, 0, 1},
                   {-1, 1, 1},
                   {5, -5, 7},
                   {3, 0, 9},
                   {-2, 1103, 9801},
                   {1, 13591409, 4270934400},
                   {6'000'000'000, -1, 5'000'000'000}};
  for (std::size_t rep = 0; rep < test::reps(100); ++rep) {
    const auto& finish = kFinishes[rep % std::size(kFinishes)];
    SampleSeries series(rng_.size(3000));
    series.coefP = finish.P;
    series.coefQ = finish.Q;
    series.coefD = finish.D;
    sum(series, 5000);
    const SmallResidues expected(series.terms);
    constexpr std::uint64_t m = SmallResidues::kModulus;
    EXPECT_EQ(SmallResidues::of(*numerator), (SmallResidues::of(finish.P) * expected.P % m +
                                              SmallResidues::of(finish.Q) * expected.Q % m) %
                                                 m)
        << series.terms << " terms, coefficients " << finish.P << " " << finish.Q;
    EXPECT_EQ(SmallResidues::of(*denominator), finish.D % m * expected.Q % m);
  }
}

TEST_F(CommonP2B3Test, TruncatedSumsKeepTheirPrecision) {
  SampleSeries series(4001);
  series.coefQ = 3;
  sum(series, 9000);
  ASSERT_EQ(blocks, 1u);
  for (const std::size_t target : {200u, 333u, 512u, 1000u, 2000u}) {
    const auto exact_numerator = std::move(numerator), exact_denominator = std::move(denominator);
    sum(series, target);
    EXPECT_GT(blocks, 1u);
    EXPECT_LE(numerator->L, target + kExtraPrecision);
    // n/d - N/D, as n D - N d over d D
    const std::size_t longest = exact_numerator->L + target + 8;
    OwnedFloat left(longest), right(longest), difference(longest + 8);
    FencedScratch scratch(BigFloat::mul_scratch(context(), longest));
    left.set_mul(context(), *numerator, *exact_denominator, longest, scratch.buffer());
    right.set_mul(context(), *exact_numerator, *denominator, longest, scratch.buffer());
    difference.set_sub(context(), left, right, longest);
    ASSERT_FALSE(difference.is_zero());
    EXPECT_LT(difference.mag() - left.mag(), -static_cast<std::int64_t>(target));
    numerator = std::make_unique<OwnedFloat>(exact_numerator->L + 1);
    denominator = std::make_unique<OwnedFloat>(exact_denominator->L + 1);
    numerator->set_BigFloat(*exact_numerator, longest);
    denominator->set_BigFloat(*exact_denominator, longest);
  }
}

TEST_F(CommonP2B3Test, ModularCheckCatchesAWrongTerm) {
  for (const std::uint64_t broken : {1u, 501u, 999u}) {
    SampleSeries series(1000);
    series.broken_term = broken;
    EXPECT_THROW(sum(series, 5000), BSRModularCheckFailedException) << "term " << broken;
    progress.depth = 0;
  }
}

TEST_F(CommonP2B3Test, AnnouncesItsSteps) {
  SampleSeries series(1234);
  series.expansion_factor = 2.5;
  series.coefP = -3;
  series.coefQ = 7;
  series.coefD = 2;
  sum(series, 100);
  EXPECT_EQ(progress.notes, "Series CommonP2B3...  1,234 terms  (Expansion Factor = 2.5)\n");
  EXPECT_EQ(progress.steps,
            "Summing: |Finalizing: P * coefP: |Finalizing: Q * coefQ: |Finalizing: Q * coefD: |"
            "Finalizing: P + Q: |");
  progress.steps.clear();
  series.coefQ = -3;
  sum(series, 100);
  EXPECT_EQ(progress.steps,
            "Summing: |Finalizing: P + Q: |Finalizing: P * coefP: |Finalizing: Q * coefD: |");
}

TEST_F(CommonP2B3Test, Refusals) {
  SampleSeries series(2000);
  const CommonP2B3::Sizing sizing(context(), series, 5000);
  CommonP2B3::Plan plan;
  plan.size = 1000;
  CommonP2B3::SeriesRun run{series, sizing, plan, progress};
  CommonP2B3::BSR_BlockS block(run);
  FencedScratch scratch(sizing.scratch_bytes(0, 1000, true) + sizing.result(0, 1000, true).bytes());
  AlignedBufferC rest = scratch.buffer();
  CommonP2B3::Range range = carve_range(rest, sizing.result(0, 1000, true));
  EXPECT_THROW(block.BSR_S(context(), range, 0, 1001, true, 1, rest), InvalidParametersException);
  EXPECT_THROW(block.BSR_S(context(), range, 0, 1000, true, 2, rest), InvalidParametersException);
  EXPECT_THROW(block.BSR_S(context(), range, 0, 1000, true, 1, AlignedBufferC()),
               LimitExceededException);
  EXPECT_NO_THROW(block.BSR_S(context(), range, 0, 1000, true, 1, rest));
}

}  // namespace
}  // namespace nmp::BinarySplitting
