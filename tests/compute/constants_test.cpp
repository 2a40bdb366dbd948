// Every algorithm of every constant, from the formula to the digits, against independent programs,
// at every length from one digit on, and in exactly the memory that it asks for.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "compute/precision.h"
#include "constants/catalogue.h"
#include "constants/formula.h"
#include "digits/float_writer.h"
#include "foundation/progress.h"
#include "support/arithmetic.h"
#include "support/digits.h"
#include "support/faults.h"
#include "support/known_digits.h"

namespace numforge {
namespace {

using namespace std::literals;
using nmp::test::FencedScratch;

struct Digits {
  std::string first, text;
  std::uint64_t hash;
};

class Constants : public nmp::test::ArithmeticTest {
 protected:
  Digits compute(const std::string& constant, std::uint64_t argument, const std::string& algorithm,
                 unsigned radix, std::uint64_t digits) {
    const auto formula = Formulas::make_formula(constant, argument, algorithm);
    const auto p = static_cast<std::size_t>(radix == 10 ? words_for_digits(digits, 0)
                                                        : words_for_digits(0, digits));
    nmp::Context context = arithmetic_.context;
    context.longest_product = formula->longest_product(p);
    nmp::test::OwnedFloat number(formula->result_words(context, p));
    FencedScratch scratch(formula->scratch_bytes(context, p));
    formula->compute(context, number, p, progress_, scratch.buffer());

    FencedScratch more(nmp::FloatWriterB::scratch_bytes(context, digits, radix));
    nmp::FloatWriterB writer(context, number, p, digits, radix);
    writer.convert(context, nullptr, more.buffer());
    writer.verify(context, nullptr, more.buffer());
    nmp::HashedDigits record(radix);
    nmp::LastDigits last;
    last.set(radix);
    nmp::test::TextSink sink;
    writer.write(context, nullptr, &sink, record, last, more.buffer());
    return {writer.first_digits(), sink.text, record.hash()};
  }
  static auto algorithms(const char* constant) {
    return algorithm_menu(constant_by_key(constant)).algorithms;
  }
  void expect_known_digits(std::uint64_t digits) {
    for (const test::KnownDigits& known : test::kKnownDigits) {
      if (known.digits != digits) continue;
      for (const AlgorithmEntry& algorithm : algorithms(known.constant)) {
        SCOPED_TRACE(std::string(known.constant) + " " + std::to_string(known.argument) + " by " +
                     algorithm.key + ", radix " + std::to_string(known.radix));
        const Digits actual =
            compute(known.constant, known.argument, algorithm.key, known.radix, digits);
        EXPECT_EQ(actual.first, known.first_digits);
        EXPECT_EQ(actual.text.size(), digits);
        EXPECT_EQ(actual.text.substr(0, 20), known.first20);
        EXPECT_EQ(actual.hash, known.hash);
      }
    }
  }

  nmp::NoProgress progress_;
};

TEST_F(Constants, TenThousandDigits) { expect_known_digits(10000); }
TEST_F(Constants, LongMillionDigits) { expect_known_digits(1000000); }

// A wrong guard word shows at lengths nobody thought of; so does a small job that rounds its sizes
// down to nothing.
TEST_F(Constants, EveryLengthIsAPrefix) {
  for (const char* constant :
       {"sqrt", "goldenratio", "e", "pi", "log", "lemniscate", "zeta3", "catalan", "gamma"}) {
    const std::uint64_t argument = takes_number(constant_by_key(constant)) ? 2 : 0;
    for (const unsigned radix : {10u, 16u}) {
      std::string longest;
      for (const AlgorithmEntry& algorithm : algorithms(constant)) {
        if (longest.empty()) longest = compute(constant, argument, algorithm.key, radix, 3000).text;
        for (std::uint64_t digits = 1; digits < 3000; digits += digits < 120 ? 1 : 97)
          ASSERT_EQ(compute(constant, argument, algorithm.key, radix, digits).text,
                    longest.substr(0, digits))
              << constant << " by " << algorithm.key << ", " << digits << " digits";
      }
    }
  }
}

// The n of Brent and McMillan's method decides whether the last digits are right.
TEST_F(Constants, BrentRefusesAnNThatDoesNotSuffice) {
  for (const AlgorithmEntry& algorithm : algorithms("brent")) {
    const std::string key = algorithm.key, least = key == "brent-refined" ? "10" : "11";
    const std::string expected = compute("gamma", 0, key, 10, 2500).text;
    const auto digits = [&](unsigned k) {
      return compute("brent", std::uint64_t{1} << k, key, 10, 2500).text;
    };
    const auto refuse = [&](unsigned k, const std::string& why) {
      nmp::test::expect_fault<nmp::InvalidParametersException>(
          "EulerGamma_BrentMcMillan_BigFloatR",
          "n = 2^" + std::to_string(k) + why + " The least k that suffices is " + least + ".",
          [&] { digits(k); });
    };
    const auto k = static_cast<unsigned>(std::stoul(least));
    for (const unsigned small : {1u, k - 1}) refuse(small, " is too small for this many digits.");
    // The last n is far larger than the digits need.
    for (const unsigned enough : {k, k + 1, 17u}) EXPECT_EQ(digits(enough), expected) << enough;
    for (const unsigned large : {36u, 63u})
      refuse(large, " takes more than 68,719,476,736 terms, which this program cannot sum.");
  }
}

// sqrt(100 n) = 10 sqrt(n): the digits, moved by one place.
TEST_F(Constants, SquareRootsOfMultiplesShiftTheDigits) {
  for (std::size_t rep = 0; rep < nmp::test::reps(40); ++rep) {
    std::uint64_t n = 2 + rng_.below(42949670);
    while (is_perfect_square(static_cast<std::uint32_t>(n))) ++n;
    const std::size_t digits = rng_.size(2000);
    const Digits one = compute("sqrt", n, "newton", 10, digits + 1);
    const Digits ten = compute("sqrt", 100 * n, "newton", 10, digits);
    std::string shifted = one.first + one.text;
    std::swap(shifted[one.first.size() - 1], shifted[one.first.size()]);
    EXPECT_EQ(shifted, ten.first + ten.text) << n;
  }
}

// The two formulas of one n share no series.
TEST_F(Constants, LogarithmsAgreeWithEachOther) {
  const auto log = [&](std::uint64_t n, std::uint64_t digits) {
    const Digits primary = compute("log", n, "machin-primary", 10, digits);
    const Digits secondary = compute("log", n, "machin-secondary", 10, digits);
    EXPECT_EQ(primary.first + primary.text, secondary.first + secondary.text) << n;
    return std::stod(primary.first + primary.text.substr(0, 15));
  };
  for (std::uint64_t n = 2; n <= 500; ++n) EXPECT_DOUBLE_EQ(log(n, 100), std::log(n));
  for (std::size_t rep = 0; rep < nmp::test::reps(30); ++rep) {
    const std::uint64_t n = 2 + rng_.below(4294967294);
    EXPECT_DOUBLE_EQ(log(n, 15 + rng_.size(3000)), std::log(n));
  }
}

}  // namespace
}  // namespace numforge
