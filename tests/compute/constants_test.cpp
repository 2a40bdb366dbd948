// Every algorithm of every constant, from the formula to the digits, against independent programs,
// at every length from one digit on, and in exactly the memory that it asks for.
#include <gtest/gtest.h>

#include <string>

#include "compute/precision.h"
#include "constants/catalogue.h"
#include "constants/formula.h"
#include "digits/float_writer.h"
#include "support/arithmetic.h"
#include "support/known_digits.h"
#include "support/random.h"

namespace numforge {
namespace {

using nmp::test::FencedScratch;

class NoProgress : public nmp::Progress {
 public:
  void stage(std::string_view) override {}
  void note(std::string_view) override {}
  void step(std::string_view) override {}
  void trail(char, std::string_view) override {}
  void untrail(std::size_t) override {}
  void advance(double) override {}
};

class Collector : public nmp::DigitSink {
 public:
  void store_digits(const std::uint8_t* digits, std::uint64_t offset, std::size_t count) override {
    ASSERT_EQ(offset, text.size());
    for (std::size_t i = 0; i < count; ++i) text += "0123456789abcdef"[digits[i]];
  }
  std::string text;
};

struct Digits {
  std::string first, text;
  std::uint64_t hash;
};

class Constants : public ::testing::Test {
 protected:
  Digits compute(const std::string& constant, std::uint64_t argument, const std::string& algorithm,
                 unsigned radix, std::uint64_t digits) {
    const auto formula =
        Formulas::make_formula(constant, static_cast<std::int64_t>(argument), algorithm);
    const auto p = static_cast<std::size_t>(radix == 10 ? words_for_digits(digits, 0)
                                                        : words_for_digits(0, digits));
    nmp::Context context = arithmetic_.context;
    context.longest_product = formula->longest_product(p);
    nmp::test::OwnedFloat number(formula->result_words(context, p));
    FencedScratch scratch(formula->scratch_bytes(context, p));
    formula->compute(context, number, p, progress_, scratch.buffer());

    FencedScratch more(nmp::FloatWriterB::scratch_bytes(context, digits, radix));
    nmp::FloatWriterB writer(number, p, digits, radix);
    writer.convert(context, nullptr, more.buffer());
    writer.verify(context, nullptr, more.buffer());
    nmp::HashedDigits record(radix);
    nmp::LastDigits last;
    last.set(radix);
    Collector collector;
    writer.write(context, nullptr, &collector, record, last, more.buffer());
    return {writer.first_digits(), collector.text, record.hash()};
  }

  nmp::test::Arithmetic arithmetic_;
  NoProgress progress_;
};

void expect_known(const Digits& digits, const test::KnownDigits& known, const char* algorithm) {
  SCOPED_TRACE(std::string(known.constant) + " " + std::to_string(known.argument) + " by " +
               algorithm + ", radix " + std::to_string(known.radix));
  EXPECT_EQ(digits.first, known.first_digits);
  EXPECT_EQ(digits.text.size(), known.digits);
  EXPECT_EQ(digits.text.substr(0, 20), known.first20);
  EXPECT_EQ(digits.text.substr(known.digits - 50), known.last50);
  EXPECT_EQ(digits.hash, known.hash);
}

TEST_F(Constants, TenThousandDigits) {
  for (const test::KnownDigits& known : test::kKnownDigits) {
    if (known.digits != 10000) continue;
    for (const AlgorithmEntry& algorithm :
         algorithm_menu(constant_by_key(known.constant)).algorithms)
      expect_known(compute(known.constant, known.argument, algorithm.key, known.radix, 10000),
                   known, algorithm.key);
  }
}

TEST_F(Constants, LongMillionDigits) {
  for (const test::KnownDigits& known : test::kKnownDigits) {
    if (known.digits != 1000000) continue;
    for (const AlgorithmEntry& algorithm :
         algorithm_menu(constant_by_key(known.constant)).algorithms)
      expect_known(compute(known.constant, known.argument, algorithm.key, known.radix, 1000000),
                   known, algorithm.key);
  }
}

// A wrong guard word shows at lengths nobody thought of; so does a small job that rounds its sizes
// down to nothing.
TEST_F(Constants, EveryLengthIsAPrefix) {
  for (const char* constant : {"sqrt", "goldenratio", "e", "pi"}) {
    const std::uint64_t argument = constant[0] == 's' ? 2 : 0;
    for (const unsigned radix : {10u, 16u}) {
      std::string longest;
      for (const AlgorithmEntry& algorithm : algorithm_menu(constant_by_key(constant)).algorithms) {
        if (longest.empty()) longest = compute(constant, argument, algorithm.key, radix, 3000).text;
        for (std::uint64_t digits = 1; digits < 3000; digits += digits < 120 ? 1 : 97)
          ASSERT_EQ(compute(constant, argument, algorithm.key, radix, digits).text,
                    longest.substr(0, digits))
              << constant << " by " << algorithm.key << ", " << digits << " digits";
      }
    }
  }
}

// sqrt(100 n) = 10 sqrt(n): the digits, moved by one place.
TEST_F(Constants, SquareRootsOfMultiplesShiftTheDigits) {
  nmp::test::Rng rng = nmp::test::Rng::from_environment();
  for (std::size_t rep = 0; rep < nmp::test::reps(40); ++rep) {
    std::uint64_t n = 2 + rng.below(42949670);
    while (is_perfect_square(static_cast<std::uint32_t>(n))) ++n;
    const std::size_t digits = rng.size(2000);
    const Digits one = compute("sqrt", n, "newton", 10, digits + 1);
    const Digits ten = compute("sqrt", 100 * n, "newton", 10, digits);
    EXPECT_EQ(one.first.substr(0, one.first.size() - 1) + one.text,
              ten.first.substr(0, ten.first.size() - 1) + ten.text)
        << n << ", " << rng.trace();
  }
}

TEST_F(Constants, ReducedAlgorithmsNeedLessMemory) {
  for (const std::string algorithm : {"chudnovsky", "ramanujan"}) {
    const auto p = static_cast<std::size_t>(words_for_digits(1000000, 0));
    const auto bytes = [&](const std::string& key) {
      const auto formula = Formulas::make_formula("pi", 0, key);
      nmp::Context context = arithmetic_.context;
      context.longest_product = formula->longest_product(p);
      return formula->scratch_bytes(context, p);
    };
    EXPECT_LT(bytes(algorithm + "-reduced") * 4, bytes(algorithm) * 3);
  }
}

}  // namespace
}  // namespace numforge
