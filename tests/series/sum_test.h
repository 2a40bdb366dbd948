// What tests of sums share: a progress that listens, small numbers, fractions, a run in exactly the
// memory that it asks for.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "foundation/progress.h"
#include "series/common_p2b3.h"
#include "support/arithmetic.h"
#include "support/reference.h"

namespace nmp::BinarySplitting {

class Steps : public Progress {
 public:
  void stage(std::string_view) override {}
  void note(std::string_view line) override { text += std::string(line) + "\n"; }
  void step(std::string_view label) override { text += std::string(label) + "|"; }
  void trail(char, std::string_view) override { ++depth; }
  void untrail(std::size_t count) override { depth -= static_cast<int>(count); }
  void advance(double f) override {
    EXPECT_GE(f, fraction);
    EXPECT_LE(f, 1.0);
    fraction = f;
  }
  std::string text;
  int depth = 0;
  double fraction = 0;
};

inline test::Number small(std::uint64_t x, bool negative = false) {
  return test::number(negative, {static_cast<Word>(x), static_cast<Word>(x >> 32)}, 0);
}

struct Fraction {
  test::Number numerator, denominator;
  bool operator==(const Fraction&) const = default;
};
/// n / d = exact n / exact d but for 2^(-32 target) of it.
inline void expect_close(const Fraction& x, const Fraction& exact, std::size_t target) {
  const auto mag = [](const test::Number& number) {
    return number.exp + static_cast<std::int64_t>(number.words.size());
  };
  const test::Number left = multiply(x.numerator, exact.denominator);
  const test::Number error = add(left, test::negated(multiply(exact.numerator, x.denominator)));
  if (error.words.empty()) return;
  EXPECT_LT(mag(error) - mag(left), -static_cast<std::int64_t>(target)) << target;
}

class SumTest : public test::ArithmeticTest {
 protected:
  Fraction sum(Context& context, const Series& series, std::size_t target) {
    CommonP2B3::PSR_SeriesS run(context, series, target);
    test::OwnedFloat n(run.result_words()), d(run.result_words());
    const test::FencedScratch scratch(run.scratch_bytes());
    blocks_ = run.plan().blocks.size();
    steps_ = Steps();
    run.run(n, d, steps_, scratch.buffer());
    stated_ = run.scratch_bytes();
    touched_ = scratch.touched();
    EXPECT_EQ(steps_.depth, 0) << "the trail is not back where it began";
    EXPECT_LE(n.L, target + kExtraPrecision);
    return {test::value(n), test::value(d)};
  }
  Fraction sum(const Series& series, std::size_t target) { return sum(context_, series, target); }

  Steps steps_;
  std::size_t blocks_ = 0, stated_ = 0, touched_ = 0;
};

}  // namespace nmp::BinarySplitting
