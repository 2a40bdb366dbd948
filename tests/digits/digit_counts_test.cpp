// Digit values, their characters, their counts and hashes.

#include "digits/digit_counts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include <string>
#include <vector>

#include "digits/digit_text.h"
#include "digits/file_names.h"
#include "digits/output_record.h"
#include "support/faults.h"
#include "support/random.h"

namespace nmp {
namespace {

using Digits = std::vector<std::uint8_t>;

Digits random_digits(test::Rng& rng, std::size_t n, unsigned radix) {
  Digits digits(n);
  for (auto& d : digits) d = static_cast<std::uint8_t>(rng.below(radix));
  return digits;
}

/// Horner's rule by additions only.
std::uint64_t slow_hash(const Digits& digits, unsigned radix) {
  constexpr std::uint64_t kPrime = 2305843009213693951;
  std::uint64_t hash = 0;
  for (std::uint8_t digit : digits) {
    std::uint64_t next = digit;
    for (unsigned i = 0; i < radix; ++i) next = (next + hash) % kPrime;
    hash = next;
  }
  return hash;
}

TEST(DigitCounts, CountsAndHashesWhateverTheLengthAndTheCut) {
  test::Rng rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (unsigned radix : {2u, 10u, 16u})
    for (std::size_t n : {0ul, 1ul, 15ul, 16ul, 17ul, 4079ul, 4080ul, 4081ul, 10000ul}) {
      const Digits digits = random_digits(rng, n, radix);
      DigitCounts whole(radix), left(radix), right(radix);
      whole.append(digits.data(), n);
      const std::size_t cut = n == 0 ? 0 : rng.below(n + 1);
      left.append(digits.data(), cut);
      right.append(digits.data() + cut, n - cut);
      left.append(right);
      EXPECT_EQ(left, whole);
      EXPECT_EQ(whole.hash(), slow_hash(digits, radix)) << n << " digits in radix " << radix;
      for (unsigned value = 0; value < radix; ++value)
        EXPECT_EQ(whole.count(value),
                  static_cast<std::uint64_t>(std::count(digits.begin(), digits.end(), value)));
    }
  DigitCounts nines(10);
  const Digits digits(5000, 9);
  nines.append(digits.data(), digits.size());
  EXPECT_EQ(nines.count(9), 5000u);
  EXPECT_EQ(nines.hash(), slow_hash(digits, 10));
}

TEST(DigitCounts, RefusesWhatItCannotCount) {
  test::expect_fault<InvalidParametersException>("DigitCounts::DigitCounts()",
                                                 "Radix is too large.", [] { DigitCounts(17); });
  for (std::size_t at : {0u, 20u, 4999u}) {
    Digits digits(5000, 9);
    digits[at] = 10;
    DigitCounts counts(10);
    test::expect_fault<InvalidParametersException>("DigitCounts::append()", "Invalid Digit", [&] {
      counts.append(digits.data(), digits.size());
    });
    EXPECT_EQ(counts, DigitCounts(10));
  }
}

TEST(DigitText, GoesThereAndBack) {
  const std::string expected = "0123456789abcdef";
  Digits digits(16), back(16);
  std::string text(16, ' ');
  for (unsigned i = 0; i < 16; ++i) digits[i] = static_cast<std::uint8_t>(i);
  EXPECT_TRUE(digits_to_text(digits.data(), 16, 16, text.data()));
  EXPECT_EQ(text, expected);
  EXPECT_FALSE(digits_to_text(digits.data(), 11, 10, text.data()));
  for (int c = -128; c < 128; ++c) {
    const char character = static_cast<char>(c);
    for (unsigned radix : {10u, 16u}) {
      const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : character;
      const std::size_t value = expected.find(lower);
      const bool valid = value < radix;
      EXPECT_EQ(text_to_digits(&character, 1, radix, back.data()), valid) << c;
      if (valid) {
        EXPECT_EQ(back[0], value);
      }
    }
  }
}

TEST(DigitText, ExpandsBlocksAndWords) {
  test::Rng rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  Digits digits(18);
  for (std::size_t i = 0; i < test::reps(100000); ++i) {
    const Word pair[] = {static_cast<Word>(rng.below(1'000'000'000)),
                         static_cast<Word>(i < 2 ? 999'999'999 * i : rng.below(10'000'000))};
    blocks_to_digits(pair, 2, digits.data());
    std::string text(18, ' '), expected(19, '\0');
    ASSERT_TRUE(digits_to_text(digits.data(), 18, 10, text.data()));
    std::snprintf(expected.data(), 19, "%09u%09u", pair[0], pair[1]);
    ASSERT_EQ(text, expected.substr(0, 18));
  }
  const Word two[] = {0x89ABCDEF, 0x01234567};
  words_to_nibbles(two, 2, digits.data());
  for (unsigned i = 0; i < 16; ++i) EXPECT_EQ(digits[i], i);
}

TEST(OutputRecord, KeepsTheLastDigitsAndNamesThem) {
  LastDigits last;
  EXPECT_EQ(last.label(), "Last Digits:");
  last.set(10);
  EXPECT_EQ(last.label(), "Last Decimal Digits:");
  Digits digits(250);
  for (unsigned i = 0; i < 250; ++i) digits[i] = static_cast<std::uint8_t>(i % 7);
  last.append(digits.data(), 240);
  last.append(digits.data() + 240, 10);
  EXPECT_EQ(last.position(), 250u);
  std::string expected(100, ' ');
  digits_to_text(digits.data() + 150, 100, 10, expected.data());
  EXPECT_EQ(last.text(), expected);
  last.set(16);
  EXPECT_EQ(last.file_label(), "Last Hexadecimal Digits:\r\n");
  EXPECT_EQ(last.text(), "");
  test::expect_fault<InvalidParametersException>("LastDigits::set()", "Invalid Radix.",
                                                 [&] { last.set(8); });
  test::expect_fault<InvalidParametersException>("HashedDigits()", "Invalid Radix.",
                                                 [] { HashedDigits(12); });
}

TEST(FileNames, AddASeparatorOnlyWhereOneIsMissing) {
  const std::string name = "Pi - Dec - Chudnovsky";
  EXPECT_EQ(digit_file_stem("", "Pi", 10, "Chudnovsky"), name);
  EXPECT_EQ(digit_file_stem("out\\", "Pi", 10, "Chudnovsky"), "out\\" + name);
  EXPECT_EQ(digit_file_stem("out/", "Pi", 10, "Chudnovsky"), "out/" + name);
  EXPECT_EQ(digit_file_stem("out", "Pi", 16, "Chudnovsky"),
            with_separator("out") + "Pi - Hex - Chudnovsky");
  EXPECT_EQ(with_separator("out").size(), 4u);
  EXPECT_THROW(digit_file_stem("", "Pi", 8, "Chudnovsky"), InvalidParametersException);
}

}  // namespace
}  // namespace nmp
