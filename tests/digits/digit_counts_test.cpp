// Digit values, their characters, their counts and hashes.

#include "digits/digit_counts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "digits/digit_text.h"
#include "digits/output_record.h"
#include "support/digits.h"
#include "support/faults.h"

namespace nmp {
namespace {

using test::Digits;
using test::expect_fault;

TEST(DigitCounts, CountsAndHashesWhateverTheLengthAndTheCut) {
  test::Rng rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (unsigned radix : {2u, 10u, 16u})
    for (std::size_t n : {0ul, 1ul, 15ul, 16ul, 17ul, 4079ul, 4080ul, 4081ul, 10000ul})
      for (const bool nines : {false, true}) {
        const Digits digits =
            nines ? Digits(n, static_cast<std::uint8_t>(radix - 1)) : random_digits(rng, n, radix);
        DigitCounts whole(radix), left(radix), right(radix);
        whole.append(digits.data(), n);
        const std::size_t cut = rng.below(n + 1);
        left.append(digits.data(), cut);
        right.append(digits.data() + cut, n - cut);
        left.append(right);
        EXPECT_EQ(left, whole);
        EXPECT_EQ(whole.hash(), test::hash_of(test::text_of(digits), radix))
            << n << " digits in radix " << radix;
        for (unsigned value = 0; value < radix; ++value)
          EXPECT_EQ(whole.count(value),
                    static_cast<std::uint64_t>(std::count(digits.begin(), digits.end(), value)));
      }
}

TEST(DigitCounts, RefusesWhatItCannotCount) {
  expect_fault<InvalidParametersException>("DigitCounts::DigitCounts()", "Radix is too large.",
                                           [] { DigitCounts(17); });
  for (std::size_t at : {0u, 20u, 4999u}) {
    Digits digits(5000, 9);
    digits[at] = 10;
    DigitCounts counts(10);
    expect_fault<InvalidParametersException>("DigitCounts::append()", "Invalid Digit",
                                             [&] { counts.append(digits.data(), digits.size()); });
    EXPECT_EQ(counts, DigitCounts(10));
  }
}

TEST(DigitText, GoesThereAndBack) {
  std::string text(16, ' '), expected(16, ' ');
  Digits digits(16);
  const Word words[] = {0x89ABCDEF, 0x01234567};
  words_to_nibbles(words, 2, digits.data());
  EXPECT_TRUE(digits_to_text(digits.data(), 16, 16, text.data()));
  EXPECT_EQ(text, "0123456789abcdef");
  EXPECT_FALSE(digits_to_text(digits.data(), 11, 10, expected.data()));
  for (int c = -128; c < 128; ++c)
    for (unsigned radix : {10u, 16u}) {
      const char character = static_cast<char>(c);
      const std::size_t value = text.find(c >= 'A' && c <= 'F' ? character + 32 : character);
      std::uint8_t digit = 99;
      EXPECT_EQ(text_to_digits(&character, 1, radix, &digit), value < radix) << c;
      EXPECT_TRUE(value >= radix || digit == value) << c;
    }
}

TEST(OutputRecord, KeepsTheLastDigitsAndNamesThem) {
  LastDigits last;
  EXPECT_EQ(last.label(), "Last Digits:");
  last.set(10);
  EXPECT_EQ(last.label(), "Last Decimal Digits:");
  last.append(Digits(150, 7).data(), 150);
  last.append(Digits(99, 8).data(), 99);
  EXPECT_EQ(last.position(), 249u);
  EXPECT_EQ(last.text(), "7" + std::string(99, '8'));
  last.set(16);
  EXPECT_EQ(last.file_label(), "Last Hexadecimal Digits:\r\n");
  EXPECT_EQ(last.text(), "");
  expect_fault<InvalidParametersException>("LastDigits::set()", "Invalid Radix.",
                                           [&] { last.set(8); });
  expect_fault<InvalidParametersException>("HashedDigits()", "Invalid Radix.",
                                           [] { HashedDigits(12); });
}

}  // namespace
}  // namespace nmp
