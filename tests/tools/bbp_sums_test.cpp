// Sums of terms: every mode and instruction set against a long division bit by bit, at the limits.
#include "tools/bbp/bbp_v2.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/exceptions.h"
#include "support/random.h"
#include "tools/bbp/montgomery61.h"

namespace numforge {
namespace {

using nmp::test::Rng;

/// a b modulo d by doubling, d < 2^63.
std::uint64_t product(std::uint64_t a, std::uint64_t b, std::uint64_t d) {
  std::uint64_t sum = 0;
  for (; b != 0; b >>= 1, a = 2 * a % d)
    if (b & 1) sum = (sum + a) % d;
  return sum;
}

/// The terms of a region as their definition has them, places below the precision cut off.
FractionFloat plain_sum(const BBPPlan& plan, const Region& region) {
  const BBPFormula& f = plan.terms_of();
  FractionFloat sum(plan.fraction_words());
  for (std::uint64_t k = region.s(); k < region.e(); ++k) {
    for (unsigned i = 0; i < f.pieces; ++i) {
      const std::uint64_t d = f.piece[i].a * k + f.piece[i].b;
      const auto e = static_cast<std::uint64_t>(
          static_cast<std::int64_t>(4 * plan.offset - f.step * k) + f.piece[i].c);
      std::uint64_t x = 1 % d;
      for (std::uint64_t bits = e, base = 2 % d; bits != 0;
           bits >>= 1, base = product(base, base, d))
        if (bits & 1) x = product(x, base, d);
      const bool negative = (f.piece[i].sign < 0) != (f.alternating && k % 2 == 1);
      if (negative) x = (d - x) % d;
      FractionFloat piece(sum.words());
      for (std::uint64_t place = 1; place <= plan.precision_bits(); ++place) {
        x *= 2;
        if (x >= d) piece.add_at(place, 1);
        x %= d;
      }
      sum.add(piece);
    }
  }
  return sum;
}

/// The first term beyond a mode.
std::uint64_t end_of(const BBPFormula& f, BBPMode mode) {
  const std::uint64_t limit = kBBPModeInfo[static_cast<unsigned>(mode)].limit;
  std::uint64_t k = limit / f.largest_a + 1;
  while (f.largest_a * k + f.largest_b > limit) --k;
  return k + 1;
}

/// A plan whose modular terms reach beyond term k, with an exponent that no test has seen.
BBPPlan plan_beyond(Rng& rng, unsigned formula, std::uint64_t k, std::uint64_t digits) {
  return plan_bbp(formula, 3 * k + 100 + rng.below(k + 100), digits);
}

std::string message_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const nmp::StringException& e) {
    return e.message();
  }
  return "";
}

class Sums : public nmp::test::RandomTest,
             public ::testing::WithParamInterface<const BBPKernelSet*> {
 protected:
  void SetUp() override {
    if (!can_run(*GetParam())) GTEST_SKIP() << "not on this processor";
  }
  /// All modes of this set that can take the region, against the plain sum.
  void compare(const BBPPlan& plan, const Region& region) const {
    const FractionFloat expected = plain_sum(plan, region);
    for (const BBPMode mode : {BBPMode::A, BBPMode::B, BBPMode::C}) {
      if ((GetParam()->modes() & mode_bit(mode)) == 0) continue;
      if (region.e() > end_of(plan.terms_of(), mode)) continue;
      FractionFloat sum(plan.fraction_words());
      BBPv2::add_terms_in_mode(mode, plan, region, *GetParam(), sum);
      EXPECT_EQ(sum, expected) << kBBPModeInfo[static_cast<unsigned>(mode)].name << ", formula "
                               << plan.formula << ", offset " << plan.offset << ", terms "
                               << region.s() << " to " << region.e();
    }
  }
};

TEST_P(Sums, AreExactUpToTheLimitsOfEachMode) {
  for (unsigned formula = 0; formula < kBBPFormulas; ++formula) {
    for (const BBPMode mode : {BBPMode::A, BBPMode::B, BBPMode::C}) {
      const std::uint64_t end = end_of(kBBPFormula[formula], mode);
      // Offsets beyond this one have exponents that no number of 64 bits holds.
      const BBPPlan plan = mode == BBPMode::C ? plan_bbp(formula, 7 * (end / 2), 20)
                                              : plan_beyond(rng_, formula, end, 20);
      compare(plan, Region(end - 1 - rng_.size(40), end));
      FractionFloat sum(plan.fraction_words());
      if (mode == BBPMode::C || (GetParam()->modes() & mode_bit(mode)) == 0) continue;
      EXPECT_EQ(message_of([&] {
                  BBPv2::add_terms_in_mode(mode, plan, Region(end - 1, end + 1), *GetParam(), sum);
                }),
                std::string("Maximum coefficient size of ") +
                    (mode == BBPMode::A ? "2^49" : "2^51") + " has been exceeded.");
      // The automatic choice changes the mode in the middle.
      const Region across(end - 1 - rng_.size(20), end + rng_.size(20));
      BBPv2::add_terms(plan, across, kAllBBPModes, *GetParam(), sum);
      EXPECT_EQ(sum, plain_sum(plan, across));
    }
  }
}

/// Rounding alone seldom goes wrong: many terms, and exponents whose ones double residue upon
/// residue.
TEST_P(Sums, AreExactForManyTermsBelowTheLimits) {
  for (unsigned formula = 0; formula < kBBPFormulas; ++formula) {
    for (const BBPMode mode : {BBPMode::A, BBPMode::B}) {
      if ((GetParam()->modes() & mode_bit(mode)) == 0) continue;
      const BBPFormula& f = kBBPFormula[formula];
      const std::uint64_t end = end_of(f, mode), terms = nmp::test::reps(6000);
      const std::uint64_t ones = (std::uint64_t{1} << 56) - 1;
      const BBPPlan plan = plan_bbp(formula, (f.step * end + ones) / 4, 8);
      FractionFloat sum(plan.fraction_words()), expected = sum;
      const Region region(end - terms, end);
      BBPv2::add_terms_in_mode(mode, plan, region, *GetParam(), sum);
      BBPv2::add_terms_in_mode(BBPMode::C, plan, region, *GetParam(), expected);
      EXPECT_EQ(sum, expected) << kBBPModeInfo[static_cast<unsigned>(mode)].name;
    }
  }
}

TEST_P(Sums, AreExactForAnyRange) {
  for (std::size_t i = 0; i < nmp::test::reps(40); ++i) {
    const auto formula = static_cast<unsigned>(rng_.below(kBBPFormulas));
    const std::uint64_t s = rng_.below(3) == 0 ? 0 : rng_.u64() >> (16 + rng_.below(48));
    const std::uint64_t e = s + rng_.size(60);
    compare(plan_beyond(rng_, formula, e, rng_.size(100)), Region(s, e));
  }
  // More batches than one call takes: the sums of the lanes are as large as they get.
  const BBPPlan plan = plan_bbp(1, 1'000'000, 1);
  const Region region(0, 40'000);
  FractionFloat sum(plan.fraction_words()), parts(plan.fraction_words());
  BBPv2::add_terms(plan, region, kAllBBPModes, *GetParam(), sum);
  for (std::uint64_t s = 0; s < region.e(); s += 100)
    BBPv2::add_terms(plan, Region(s, s + 100), mode_bit(BBPMode::C), *GetParam(), parts);
  EXPECT_EQ(sum, parts);
}

std::vector<const BBPKernelSet*> sets() {
  std::vector<const BBPKernelSet*> all;
  for (const BBPKernelSet& set : bbp_kernel_sets()) all.push_back(&set);
  return all;
}
INSTANTIATE_TEST_SUITE_P(Bbp, Sums, ::testing::ValuesIn(sets()),
                         [](const auto& set) { return set.param->name; });

TEST(BbpKernelSets, RefuseWhatCannotRun) {
  EXPECT_STREQ(find_bbp_kernels("generic").name, "generic");
  EXPECT_TRUE(can_run(find_bbp_kernels("")));
  EXPECT_EQ(message_of([] { find_bbp_kernels("mmx"); }),
            "Unknown instruction set \"mmx\" in NUMFORGE_ISA. Known sets: \"avx512\", \"avx2\", "
            "\"generic\".");
  if (std::getenv("NUMFORGE_ISA") != nullptr) {
    EXPECT_STREQ(bbp_kernels().name, std::getenv("NUMFORGE_ISA"));
  }
}

TEST(Montgomery61, MultipliesWithoutA128BitType) {
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t i = 0; i < nmp::test::reps(1000); ++i) {
    const std::uint64_t a = rng.u64() >> rng.below(64), b = ~(rng.u64() >> rng.below(64));
    const bbp::Product x = bbp::multiply(a, b), y = bbp::portable::multiply(a, b);
    EXPECT_EQ(x.low, y.low);
    EXPECT_EQ(x.high, y.high);
    // From the halves of a: a b = (a_1 2^32 + a_0) b.
    const std::uint64_t m = 0xFFFFFFFFu, low = (a & m) * (b & m), mid = (a >> 32) * (b & m);
    EXPECT_EQ(y.low, low + (mid << 32) + (((a & m) * (b >> 32)) << 32));
  }
}

TEST(Region, AndFractionsRefuseWhatMakesNoSense) {
  EXPECT_EQ(message_of([] { Region(5, 5); }), "Invalid Range - Failed: s < e");
  EXPECT_EQ(message_of([] { Region(6, 5); }), "Invalid Range - Failed: s < e");
  EXPECT_EQ(message_of([] { FractionFloat(1); }), "Length must be at least 2.");
  FractionFloat two(2);
  EXPECT_EQ(message_of([&] { two.add(FractionFloat(3)); }), "Lengths do not match.");
  EXPECT_EQ(message_of([&] { two.subtract(FractionFloat(3)); }), "Lengths do not match.");
  const BBPFormula& f = kBBPFormula[0];
  const Region beyond(0, end_of(f, BBPMode::C) + 1);
  EXPECT_EQ(message_of([&] { BBPv2::SummableRange(f, beyond, kAllBBPModes); }),
            "No mode is able to handle this range.");
  EXPECT_EQ(message_of([&] { BBPv2::SummableRange(f, Region(0, 1), 0); }), "No modes enabled.");
}

TEST(FractionFloat, AddsWhatItTakesAway) {
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t i = 0; i < nmp::test::reps(300); ++i) {
    FractionFloat x(2 + rng.size(6));
    const std::vector<std::uint32_t> random = rng.words(2 * x.words());
    for (std::size_t w = 0; w < x.words(); ++w)
      x.data()[w] = std::uint64_t{random[2 * w]} << 32 | random[2 * w + 1];
    const std::uint64_t places = 1 + rng.below(64 * x.words());
    const auto value = static_cast<std::int64_t>(rng.u64()) >> (1 + rng.below(63));
    FractionFloat y = x;
    y.add_at(places, value);
    y.add_at(places, -value);
    EXPECT_EQ(y, x);
  }
}

}  // namespace
}  // namespace numforge
