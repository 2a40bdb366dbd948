// The Brent-McMillan engine against sums with the slow reference.
#include "series/brent_mcmillan_ab.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "series/brent_mcmillan_leaf.h"
#include "series/sum_test.h"
#include "support/faults.h"
#include "support/threads.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {
namespace {

using test::FencedScratch;
using test::Number;
using test::OwnedFloat;

Number power_of_two(std::uint64_t e) {
  return test::number(false, {Word{1} << e % 32}, static_cast<std::int64_t>(e / 32));
}

struct Exact {
  Number D, C, T, U;
  bool operator==(const Exact&) const = default;
};

/// The terms a+1..b, each put before those that follow it: D, D sum 1/j, D^2 sum of weights,
/// D^2 sum of weights times harmonic numbers.
Exact exact(const Parameters& parameters, std::uint64_t a, std::uint64_t b) {
  Exact sum{small(1), {}, {}, {}};
  for (std::uint64_t j = b; j > a; --j) {
    std::uint64_t odd = j, twos = 0;
    for (; odd % 2 == 0 && twos < std::min(parameters.k, 31u); odd /= 2) ++twos;
    // Its weight is the next sum's first factor: that of j + 1 over it is 2^(2k - 2 twos(j + 1)).
    std::uint64_t next = j + 1, next_twos = 0;
    for (; next % 2 == 0 && next_twos < std::min(parameters.k, 31u); next /= 2) ++next_twos;
    const Number shift = power_of_two(2 * (parameters.k - next_twos)), D = sum.D;
    const Number inverse = test::number(false, {Word{1} << (31 - twos)}, -1);  // half of 2^-twos
    sum.U = add(multiply(D, sum.C), multiply(shift, sum.U));
    sum.T = add(multiply(D, D), multiply(shift, sum.T));
    sum.C = add(multiply(small(odd), sum.C), multiply(small(2), multiply(inverse, D)));
    sum.D = multiply(small(odd), D);
  }
  return sum;
}

Exact values(const Range& range) {
  return {test::value(range.D), test::value(range.C), test::value(range.T), test::value(range.U)};
}

class BrentMcMillan : public test::ArithmeticTest {
 protected:
  struct Result {
    Fraction value, S;
    bool operator==(const Result&) const = default;
  };
  Result sum(const Parameters& parameters, std::size_t refined = 0) {
    return sum(context_, parameters, refined);
  }
  /// In exactly the memory that the run asks for.
  Result sum(Context& context, const Parameters& parameters, std::size_t refined = 0) {
    PSR_SeriesS run(context, parameters);
    const std::size_t words = PSR_SeriesS::result_words(parameters.target);
    OwnedFloat n(words), d(words), S(words), R(words);
    FencedScratch scratch(run.scratch_bytes());
    PSR_SeriesS::Results results{n, d, S, R};
    steps_ = Steps();
    run.run(results, refined, steps_, scratch.buffer());
    EXPECT_EQ(steps_.depth, 0) << "the trail is not back where it began";
    stated_ = run.scratch_bytes();
    touched_ = scratch.touched();
    blocks_ = run.plan().blocks;
    return {{test::value(results.numerator), test::value(results.denominator)},
            {test::value(results.S), test::value(results.R)}};
  }
  /// A range by recursion alone, in exactly the scratch that it asks for.
  Exact sum_range(const Parameters& parameters, std::uint64_t a, std::uint64_t b) {
    const Sizing sizing(context_, parameters);
    const Plan plan{parameters.terms, 1, 0};
    SeriesRun run{parameters, sizing, plan, steps_};
    const FencedScratch place(sizing.result(a, b).bytes());
    const FencedScratch scratch(sizing.scratch_bytes(a, b));
    AlignedBufferC rest = place.buffer();
    Range range = carve_range(rest, sizing.result(a, b));
    steps_ = Steps();
    BSR_BlockS(run).BSR_S(context_, range, a, b, 1, scratch.buffer());
    return values(range);
  }

  Steps steps_;
  std::size_t stated_ = 0, touched_ = 0;
  std::uint64_t blocks_ = 0;
};

TEST_F(BrentMcMillan, RangesAreExact) {
  for (std::size_t rep = 0; rep < test::reps(40); ++rep) {
    // Every fourth one in the megawords, where j has 40 bits and j^2 no longer fits a limb.
    const bool far = rep % 4 == 3;
    const std::uint64_t a = far ? (std::uint64_t{1} << 34) - rng_.below(20) : rng_.below(2000);
    const std::uint64_t b = a + 8 + rng_.size(far ? 100 : 500);
    const unsigned k =
        far ? 30 + static_cast<unsigned>(rng_.below(6)) : 1 + static_cast<unsigned>(rng_.below(14));
    const Parameters parameters{k, b, 5000};
    ASSERT_TRUE(sum_range(parameters, a, b) == exact(parameters, a, b))
        << "k = " << k << ", terms from " << a << " to " << b;
  }
}

// Long enough for shared transforms, at both lengths of a merge.
TEST_F(BrentMcMillan, LongMergesAreExact) {
  for (const unsigned k : {5u, 13u}) {
    const Parameters parameters{k, 1500, 5000};
    EXPECT_TRUE(sum_range(parameters, 0, 1500) == exact(parameters, 0, 1500)) << k;
  }
}

TEST_F(BrentMcMillan, TruncatedSumsKeepTheirPrecision) {
  std::uint64_t truncated = 0;
  for (std::size_t rep = 0; rep < test::reps(24); ++rep) {
    // From n far below the number of terms to nearly as many; and n so large that the first terms
    // weigh hundreds of words less than the later ones, which are measured against their D.
    const bool steep = rep % 6 == 5;
    const auto k = static_cast<unsigned>(steep ? 13 : 4 + rep % 7);
    const std::uint64_t terms = (steep ? 9000 : 1100) + rng_.below(2000);
    const std::size_t target = steep ? 600 + rng_.below(300) : 20 + rng_.below(500);
    const Result exact = sum({k, terms, 12000}, 12000);
    ASSERT_EQ(blocks_, 1u);
    const Result cut = sum({k, terms, target}, target);
    truncated += blocks_ > 1;
    expect_close(cut.value, exact.value, target);
    expect_close(cut.S, exact.S, target);
    ASSERT_FALSE(HasFailure()) << "k = " << k << ", " << terms << " terms to " << target;
  }
  EXPECT_GT(truncated, 0u);
}

TEST_F(BrentMcMillan, ThreadsGiveTheSameWords) {
  for (const std::size_t target : {std::size_t{6000}, std::size_t{12000}}) {
    const Parameters parameters{13, 30000, target};
    const Result one = sum(parameters, 100);
    for (const unsigned threads : {2u, 3u, 7u}) {
      test::Threads pool(threads);
      Context context{pool, context_.products};
      EXPECT_TRUE(sum(context, parameters, 100) == one) << threads << " threads, target " << target;
      EXPECT_GT(pool.forks(), 0u);
    }
  }
}

TEST_F(BrentMcMillan, StatesTheScratchItUses) {
  for (const std::size_t target : {8000u, 20000u}) {
    sum({15, 60000, target});
    // Transforms this short round their needs up to whole strips.
    EXPECT_GT(static_cast<double>(touched_), 0.9 * static_cast<double>(stated_)) << target;
  }
}

TEST_F(BrentMcMillan, ChecksItsBlocks) {
  const Parameters parameters{9, 700, 5000};
  const Sizing sizing(context_, parameters);
  const Plan plan{parameters.terms, 1, 1};
  SeriesRun run{parameters, sizing, plan, steps_};
  const FencedScratch memory(sizing.result(3, 700).bytes() + sizing.scratch_bytes(3, 700));
  AlignedBufferC rest = memory.buffer();
  Range range = carve_range(rest, sizing.result(3, 700));
  PSR_BlockS block(run);
  block.run(context_, range, 3, 700, rest);
  for (ExactFloat* x : {&range.D, &range.C, &range.T, &range.U}) {
    const std::uint64_t hash = x->hash;
    for (const bool consistent : {false, true}) {
      x->T[5] ^= 64;
      if (consistent) x->hash = x->computed_hash();
      EXPECT_THROW(block.check(context_, range, 3, 700), BSRModularCheckFailedException);
      x->T[5] ^= 64;
      x->hash = hash;
    }
  }
  EXPECT_NO_THROW(block.check(context_, range, 3, 700));
}

TEST_F(BrentMcMillan, AnnouncesItsSteps) {
  sum({6, 300, 20});
  EXPECT_EQ(steps_.text,
            "Series A and B...  300 terms  (Expansion Factor = 5.46962)\nSumming: |"
            "Finishing Series|Finalizing: Q^2: |Finalizing: R + S: |Finalizing: Q * (R + S): |");
}

TEST_F(BrentMcMillan, Refusals) {
  const Parameters parameters{9, 2000, 5000};
  const Sizing sizing(context_, parameters);
  const Plan plan{1000, 1, 1};
  SeriesRun run{parameters, sizing, plan, steps_};
  const FencedScratch memory(sizing.result(0, 1000).bytes() + sizing.scratch_bytes(0, 1000));
  const auto refuse = [&](auto exception, const char* message, std::uint64_t terms, unsigned tds,
                          bool room) {
    test::expect_fault<decltype(exception)>(
        "BinarySplitting::BrentMcMillanAB::BSR_BlockS::BSR_S()", message, [&] {
          AlignedBufferC rest = memory.buffer();
          Range range = carve_range(rest, sizing.result(0, 1000));
          BSR_BlockS(run).BSR_S(context_, range, 0, terms, tds, room ? rest : AlignedBufferC());
        });
  };
  using Invalid = InvalidParametersException;
  refuse(Invalid(), "Size exceeded for plan.", 1001, 1, true);
  refuse(Invalid(), "Attempted to run with a larger tds than the plan supports.", 1000, 2, true);
  refuse(LimitExceededException(), "Unable to fit even 100 terms in memory.", 99, 1, false);
}

}  // namespace
}  // namespace nmp::BinarySplitting::BrentMcMillanAB
