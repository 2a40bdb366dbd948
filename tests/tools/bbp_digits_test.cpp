// Digits at offsets: known ones, both formulas, every setup, runs of 0 and f, and the refusals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/exceptions.h"
#include "parallel/serial.h"
#include "support/console_io.h"
#include "support/digits.h"
#include "support/known_digits.h"
#include "support/random.h"
#include "support/threads.h"
#include "tools/bbp/bbp_session.h"
#include "tools/bbp/bbp_v2.h"

namespace numforge {
namespace {

using BBPv2::extract;
using nmp::test::Rng;
using nmp::test::Threads;

BBPv2::Digits digits_at(unsigned formula, std::uint64_t offset, std::uint64_t digits) {
  nmp::parallel::SerialContext context;
  return extract(formula, offset, digits, {}, context, nullptr);
}

TEST(BbpDigits, AreThoseOfPi) {
  const std::string pi = digits_at(0, 0, 10000).text;
  EXPECT_EQ(nmp::test::hash_of(pi, 16), test::known_digits("pi", 10000, 16).hash);
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (unsigned formula = 0; formula < kBBPFormulas; ++formula) {
    EXPECT_EQ(digits_at(formula, 0, 5000).text, pi.substr(0, 5000));
    EXPECT_EQ(digits_at(formula, 999, 4001).text, pi.substr(999, 4001));
    // Where exponents change their sign, the words end and the blocks begin.
    for (std::uint64_t offset = 0; offset < 70; ++offset)
      EXPECT_EQ(digits_at(formula, offset, 1 + offset).text, pi.substr(offset, 1 + offset));
    for (std::size_t i = 0; i < nmp::test::reps(60); ++i) {
      const std::uint64_t offset = rng.below(5000), digits = rng.size(1000);
      const BBPv2::Digits found = digits_at(formula, offset, digits);
      EXPECT_EQ(found.text, pi.substr(offset, digits)) << offset;
      EXPECT_GE(found.proven, digits);
    }
  }
}

TEST(BbpDigits, AreKnownFurtherOut) {
  for (unsigned formula = 0; formula < kBBPFormulas; ++formula) {
    EXPECT_EQ(digits_at(formula, 20'000, 16).text, "e937c2354a69ff66");
    EXPECT_EQ(digits_at(formula, 99'999, 16).text, "535ea16c406363a3");
    EXPECT_EQ(digits_at(formula, 999'999, 16).text, "26c65e52cb459350");
  }
}

TEST(BbpDigits, AreKnownFarOutLong) {
  for (unsigned formula = 0; formula < kBBPFormulas; ++formula)
    EXPECT_EQ(digits_at(formula, 9'999'999, 24).text, "17af5863efed8de97033cd0f");
  EXPECT_EQ(digits_at(0, 40'000'000, 40).text, digits_at(1, 40'000'000, 40).text);
}

TEST(BbpDigits, AreRightBeforeRunsOfZerosAndOnes) {
  const std::pair<std::uint64_t, const char*> runs[] = {
      {501'438, "478f440e09f3e8"},  // 00000b2967 follows
      {490'725, "0242c386e8134c"},  // fffff31843
  };
  for (const auto& [run, before] : runs) {
    for (unsigned formula = 0; formula < kBBPFormulas; ++formula) {
      const BBPv2::Digits found = digits_at(formula, run - 14, 14);
      EXPECT_EQ(found.text, before);
      // The usual bits end within the run; the smaller bound of formula 1 can still pass.
      EXPECT_GE(found.attempts, formula == 0 ? 2u : 1u);
    }
  }
}

TEST(BbpDigits, AreProvenByTheErrorBoundAlone) {
  const auto proven = [](std::uint64_t top, std::uint64_t bound) {
    FractionFloat sum(2);
    sum.add_at(48, static_cast<std::int64_t>(top));
    return BBPv2::proven_digits(sum, 96, bound);
  };
  EXPECT_EQ(proven(0x123456789abc, 0), 24u);
  EXPECT_EQ(proven(0x123456789abc, 1), 11u);  // the sum less one unit ends in bbffffffffffff
  EXPECT_EQ(proven(0x123456780000, 1), 7u);
  EXPECT_EQ(proven(0, 1), 0u);
  FractionFloat sum(2);
  sum.add_at(96, 0x1000);
  EXPECT_EQ(BBPv2::proven_digits(sum, 96, 0xfff), 20u);
  EXPECT_EQ(BBPv2::proven_digits(sum, 96, 0x1001), 0u);
}

TEST(BbpDigits, DoNotDependOnTheSetup) {
  const BBPPlan plan = plan_bbp(1, 200'000, 50);
  std::optional<FractionFloat> expected;
  for (const unsigned threads : {1u, 2u, 5u}) {
    Threads context(threads);
    for (const BBPKernelSet& set : bbp_kernel_sets()) {
      if (!can_run(set)) continue;
      for (const BBPModeSet modes : {1u, 2u, 4u, 7u}) {
        if ((modes & set.modes()) == 0) continue;
        const FractionFloat sum =
            BBPv2::sum_all(plan, {modes, threads == 2, &set}, context, nullptr);
        if (!expected) expected = sum;
        EXPECT_EQ(sum, *expected) << threads << " threads, " << set.name << ", modes " << modes;
      }
    }
  }
}

TEST(BbpDigits, ReportTheFailureOfAWorker) {
  Threads context(3);
  const std::string output = nmp::test::on_console("", [&] {
    try {
      BBPv2::sum_all(plan_bbp(0, 1000, 8), {0, false, nullptr}, context, nullptr);
      ADD_FAILURE();
    } catch (const nmp::StringException& e) {
      EXPECT_EQ(e.message(), "An exception was thrown from a worker thread.");
    }
  });
  EXPECT_THAT(output, testing::HasSubstr("No modes enabled."));
}

TEST(BbpSession, SaysWhyItCannotStart) {
  BBPSession session({.formula = 0, .offset = 1'000'000, .digits = 16});
  const BBPPlan& plan = session.plan();
  EXPECT_EQ(session.cannot_start(), "");

  const auto reason = [&](std::int64_t formula, std::int64_t offset, BBPModeSet modes) {
    session.update_settings({.formula = formula, .offset = offset, .modes = modes});
    return session.cannot_start();
  };
  const bool doubles = bbp_kernels().kernels != nullptr;
  const std::string of = "Divisor exceeds limit of ", none = "No modes enabled.";
  EXPECT_EQ(reason(0, INT64_MAX, 7), of + "2^61 - 1");
  EXPECT_EQ(reason(1, INT64_MAX, 7), of + "2^61 - 1");
  EXPECT_EQ(plan.largest_divisor, UINT64_MAX);
  EXPECT_EQ(reason(1, std::int64_t{1} << 59, 7), of + "2^61 - 1");
  EXPECT_EQ(reason(1, (std::int64_t{1} << 59) - 1000, 7), "");
  EXPECT_EQ(reason(1, std::int64_t{1} << 49, 3), doubles ? of + "2^51 - 1" : none);
  EXPECT_EQ(reason(1, std::int64_t{1} << 48, 1), doubles ? of + "2^49 - 1" : none);
  EXPECT_EQ(reason(1, 0, 1), doubles ? "" : none);
  EXPECT_EQ(reason(1, 0, 0), none);
  EXPECT_THROW(session.run(nullptr), nmp::InvalidParametersException);
}

}  // namespace
}  // namespace numforge
