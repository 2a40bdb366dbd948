// Digits in words: every instruction set against plain arithmetic.

#include "digits/digit_words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "digits/digit_kernels.h"
#include "platform/processor.h"
#include "support/digits.h"

namespace nmp {
namespace {

using test::Digits;

std::vector<std::uint64_t> packed_plainly(const Digits& digits, unsigned radix) {
  const unsigned in_word = radix == 10 ? 19 : 16;
  std::vector<std::uint64_t> words(digits.size() / in_word);
  for (std::size_t i = 0; i < digits.size(); ++i)
    words[i / in_word] = words[i / in_word] * radix + digits[i];
  return words;
}

/// Random, all of one value, or with runs of nines and zeros.
Digits some_digits(test::Rng& rng, std::size_t n, unsigned radix) {
  Digits digits = test::random_digits(rng, n, radix);
  for (std::size_t i = rng.below(3) * n; i < 2 * n && n != 0; i += rng.size(n))
    std::fill_n(digits.begin() + static_cast<std::ptrdiff_t>(i / 2),
                std::min(n - i / 2, rng.size(n)), i % 2 == 0 ? 0 : radix - 1);
  return digits;
}

using DigitWords = test::RandomTest;

TEST_F(DigitWords, AreTheSameNumbersAndStatisticsWithEveryInstructionSet) {
  std::vector<const DigitKernels*> tables;
  for (const KernelSet& set : kernel_sets())
    if ((platform::processor_features() & set.needs) == set.needs)
      tables.push_back(&digit_kernels(set));
  for (std::size_t rep = 0; rep < test::reps(600); ++rep) {
    const unsigned radix = rep % 2 == 0 ? 10 : 16, in_word = digits_per_word(radix);
    const std::size_t count = rep < 40 ? rep / 2 : rng_.size(200);
    const Digits digits = some_digits(rng_, count * in_word, radix);
    const auto words = packed_plainly(digits, radix);
    const std::size_t at = digits.empty() ? 0 : rng_.below(digits.size());
    DigitCounts expected(radix), appended(radix);
    expected.append(digits.data(), digits.size());
    const std::size_t cut = rng_.below(count + 1);
    ASSERT_TRUE(append_words(appended, words.data(), cut));
    ASSERT_TRUE(append_words(appended, words.data() + cut, count - cut));
    ASSERT_EQ(appended, expected) << count << " words";
    for (const DigitKernels* table : tables) {
      const auto pack = radix == 10 ? table->pack_decimal : table->pack_hex;
      std::vector<std::uint64_t> packed(count + 1, 77);
      ASSERT_TRUE(pack(digits.data(), count, packed.data()));
      ASSERT_EQ(packed.back(), 77u);
      packed.pop_back();
      ASSERT_EQ(packed, words) << count << " words";

      Digits unpacked(digits.size() + 1, 77);
      if (radix == 10)
        ASSERT_TRUE(table->unpack_decimal(words.data(), count, unpacked.data()));
      else
        table->unpack_hex(words.data(), count, unpacked.data());
      ASSERT_EQ(unpacked.back(), 77);
      unpacked.pop_back();
      ASSERT_EQ(unpacked, digits) << count << " words";

      std::array<std::uint64_t, 16> counts{};
      table->count(digits.data(), digits.size(), radix, counts.data());
      for (unsigned value = 0; value < radix; ++value)
        ASSERT_EQ(counts[value],
                  static_cast<std::uint64_t>(std::count(digits.begin(), digits.end(), value)));
      if (digits.empty()) continue;
      Digits wrong = digits;
      for (unsigned value : {radix, 127u, 128u, 255u}) {
        wrong[at] = static_cast<std::uint8_t>(value);
        ASSERT_FALSE(pack(wrong.data(), count, packed.data())) << value << " at " << at;
      }
      if (radix != 10) continue;
      for (std::uint64_t word : {kLargestDecimalWord + 1, ~std::uint64_t{0}}) {
        packed = words;
        packed[at / in_word] = word;
        ASSERT_FALSE(table->unpack_decimal(packed.data(), count, wrong.data()));
        ASSERT_FALSE(append_words(appended, packed.data(), count));
        ASSERT_EQ(appended, expected);
      }
    }
  }
}

}  // namespace
}  // namespace nmp
