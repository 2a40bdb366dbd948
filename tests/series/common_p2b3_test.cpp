// The engine is tested on a series of its own, against sums with the slow reference.
#include "series/common_p2b3.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "arith/hash61.h"
#include "series/subtree_tasks.h"
#include "series/sum_test.h"
#include "support/faults.h"
#include "support/threads.h"

namespace nmp::BinarySplitting {
namespace {

using test::FencedScratch;
using test::Number;

/// A term that must not be computed.
struct ForbiddenTerm {};

/// P(k) = (-1)^k (5k + 1), Q(k) = 7 k^2 + 100, R(k) = (-1)^k (3k - 1).
class SampleSeries : public Series {
 public:
  explicit SampleSeries(std::uint64_t n) { terms = n; }
  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    // 7 k^2 + 100 <= 7 (k + 4)^2
    const double q = static_cast<double>(b - a) * std::log2(7.0) + 2 * log2_product(1, 4, a, b);
    return {q + 2, q, log2_product(3, 0, a, b)};
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
    if (k == forbidden_term || k + 1 == forbidden_term) throw ForbiddenTerm();
  }
  Residues residues(std::uint64_t k) const override {
    const auto signed_value = [&](std::uint64_t x) { return k % 2 ? hash61::negate(x) : x; };
    return {signed_value(5 * k + 1), 7 * k * k + 100, signed_value(3 * k - 1)};
  }
  std::uint64_t broken_term = 0, forbidden_term = 0;
};

Number number_of(std::int64_t x) {
  return small(static_cast<std::uint64_t>(x < 0 ? -x : x), x < 0);
}

class CommonP2B3Test : public SumTest {
 protected:
  /// coefP P + coefQ Q and coefD Q, term by term.
  static Fraction exact(const Series& series) {
    Number P, Q = number_of(1), R = Q;
    for (std::int64_t k = 1; k <= static_cast<std::int64_t>(series.terms); ++k) {
      const std::int64_t sign = k % 2 ? -1 : 1, q = 7 * k * k + 100;
      P = add(multiply(P, number_of(q)), multiply(R, number_of(sign * (5 * k + 1))));
      Q = multiply(Q, number_of(q));
      R = multiply(R, number_of(sign * (3 * k - 1)));
    }
    return {add(multiply(P, number_of(series.coefP)), multiply(Q, number_of(series.coefQ))),
            multiply(Q, number_of(static_cast<std::int64_t>(series.coefD)))};
  }
};

TEST_F(CommonP2B3Test, ExactSumsAndCoefficients) {
  constexpr struct {
    std::int64_t P, Q;
    std::uint64_t D;
  } kFinishes[] = {{1, 0, 1},
                   {-1, 1, 1},
                   {5, -5, 7},
                   {3, 0, 9},
                   {1, 13591409, 4270934400},
                   {6'000'000'000, -1, 5'000'000'000}};
  for (std::size_t rep = 0; rep < test::reps(60); ++rep) {
    const auto& finish = kFinishes[rep % std::size(kFinishes)];
    SampleSeries series(rng_.size(3000));
    series.coefP = finish.P;
    series.coefQ = finish.Q;
    series.coefD = finish.D;
    ASSERT_TRUE(sum(series, 5000) == exact(series))
        << series.terms << " terms, coefficients " << finish.P << " " << finish.Q;
  }
}

TEST_F(CommonP2B3Test, TruncatedSumsKeepTheirPrecision) {
  SampleSeries series(4001);
  series.coefQ = 3;
  const Fraction whole = exact(series);
  for (const std::size_t target : {200u, 333u, 512u, 1000u, 2000u}) {
    expect_close(sum(series, target), whole, target);
    EXPECT_GT(blocks_, 1u);
  }
}

TEST_F(CommonP2B3Test, ModularCheckCatchesAWrongTerm) {
  for (const std::uint64_t broken : {1u, 501u, 999u}) {
    SampleSeries series(1000);
    series.broken_term = broken;
    EXPECT_THROW(sum(series, 5000), BSRModularCheckFailedException) << "term " << broken;
  }
}

TEST_F(CommonP2B3Test, StatesTheScratchItUses) {
  for (const std::size_t target : {10000u, 16000u, 25000u}) {
    SampleSeries series(25000);  // Q is 23000 words long
    sum(series, target);
    // Transforms this short round their needs up to whole strips.
    EXPECT_GT(static_cast<double>(touched_), 0.8 * static_cast<double>(stated_)) << target;
  }
}

TEST_F(CommonP2B3Test, ThreadsGiveTheSameWords) {
  SampleSeries series(40000);
  for (const std::size_t target : {9000u, 60000u}) {
    const Fraction one = sum(series, target);
    const std::size_t serial = stated_;
    for (const unsigned threads : {2u, 3u, 7u}) {
      test::Threads pool(threads);
      Context context{pool, context_.products};
      EXPECT_TRUE(sum(context, series, target) == one) << threads << " threads";
      EXPECT_LT(static_cast<double>(stated_), 1.2 * static_cast<double>(serial));
    }
  }
}

TEST_F(CommonP2B3Test, SubtreeTasks) {
  SampleSeries series(40000);
  const CommonP2B3::Plan plan{{}, series.terms, 1};
  // The terms after the fifth in exact scratch, by recursion where `threads` is 0.
  const auto sum_range = [&](unsigned threads, bool needs_R) {
    test::Threads pool(std::max(threads, 1u));
    Context context{pool, context_.products};
    const CommonP2B3::Sizing sizing(context, series, 60000);
    CommonP2B3::SeriesRun run{series, sizing, plan, steps_};
    CommonP2B3::SubtreeTasks tasks(context, run, 5, series.terms, needs_R, threads);
    EXPECT_TRUE(threads == 0 || tasks.can_run());
    const CommonP2B3::Words words = sizing.result(5, series.terms, needs_R);
    const FencedScratch results(words.bytes());
    const FencedScratch scratch(threads != 0 ? tasks.scratch_bytes()
                                             : sizing.scratch_bytes(5, series.terms, needs_R));
    AlignedBufferC place = results.buffer();
    CommonP2B3::Range range = carve_range(place, words);
    steps_ = Steps();
    if (threads != 0)
      tasks.run(range, scratch.buffer());
    else
      CommonP2B3::BSR_BlockS(run).BSR_S(context, range, 5, series.terms, needs_R, 1,
                                        scratch.buffer());
    return std::vector<Number>{test::value(range.P), test::value(range.Q),
                               needs_R ? test::value(range.R) : Number()};
  };
  for (const bool needs_R : {false, true}) {
    const std::vector<Number> expected = sum_range(0, needs_R);
    for (const unsigned threads : {2u, 3u, 7u})
      EXPECT_EQ(sum_range(threads, needs_R), expected) << threads << " threads";
  }
  // One subtree's failure ends the others and reaches the caller.
  series.forbidden_term = 23456;
  EXPECT_THROW(sum_range(3, true), ForbiddenTerm);
  // Too short to be cut.
  const CommonP2B3::Sizing sizing(context_, series, 60000);
  CommonP2B3::SeriesRun run{series, sizing, plan, steps_};
  EXPECT_FALSE(CommonP2B3::SubtreeTasks(context_, run, 0, 500, true, 2).can_run());
}

TEST_F(CommonP2B3Test, AnnouncesItsSteps) {
  SampleSeries series(1234);
  series.expansion_factor = 2.5;
  series.coefP = -3;
  series.coefQ = 7;
  series.coefD = 2;
  sum(series, 100);
  EXPECT_EQ(steps_.text,
            "Series CommonP2B3...  1,234 terms  (Expansion Factor = 2.5)\n"
            "Summing: |Finalizing: P * coefP: |Finalizing: Q * coefQ: |Finalizing: Q * coefD: |"
            "Finalizing: P + Q: |");
  series.coefQ = -3;
  sum(series, 100);
  EXPECT_THAT(
      steps_.text,
      testing::EndsWith(
          "\nSumming: |Finalizing: P + Q: |Finalizing: P * coefP: |Finalizing: Q * coefD: |"));
}

TEST_F(CommonP2B3Test, Refusals) {
  SampleSeries series(2000);
  const CommonP2B3::Sizing sizing(context_, series, 5000);
  CommonP2B3::Plan plan;
  plan.size = 1000;
  CommonP2B3::SeriesRun run{series, sizing, plan, steps_};
  const CommonP2B3::Sizing::Words words = sizing.result(0, 1000, true);
  const FencedScratch scratch(sizing.scratch_bytes(0, 1000, true) + words.bytes());
  const auto refuse = [&](auto exception, const char* message, std::uint64_t terms, unsigned tds,
                          bool room) {
    test::expect_fault<decltype(exception)>(
        "BinarySplitting::CommonP2B3::BSR_BlockS::BSR_S()", message, [&] {
          AlignedBufferC rest = scratch.buffer();
          CommonP2B3::Range range = carve_range(rest, words);
          CommonP2B3::BSR_BlockS(run).BSR_S(context_, range, 0, terms, true, tds,
                                            room ? rest : AlignedBufferC());
        });
  };
  using Invalid = InvalidParametersException;
  refuse(Invalid(), "Size exceeded for plan.", 1001, 1, true);
  refuse(Invalid(), "Attempted to run with a larger tds than the plan supports.", 1000, 2, true);
  refuse(LimitExceededException(), "Unable to fit even 100 terms in memory.", 99, 1, false);
}

}  // namespace
}  // namespace nmp::BinarySplitting
