// Digits packed into 64-bit words, each the integer that its digits form, the first digit the most
// significant: 19 decimal digits or 16 hexadecimal ones.
#pragma once

#include <cstddef>
#include <cstdint>

#include "digits/digit_counts.h"

namespace nmp {

inline constexpr unsigned kDecimalsPerWord = 19;
inline constexpr unsigned kNibblesPerWord = 16;
/// No decimal word is larger.
inline constexpr std::uint64_t kLargestDecimalWord = 9'999'999'999'999'999'999u;

/// 19 or 16; 0 for any other radix, which nothing below takes.
constexpr unsigned digits_per_word(unsigned radix) {
  return radix == 10 ? kDecimalsPerWord : radix == 16 ? kNibblesPerWord : 0;
}

/// words[0, count) from count * digits_per_word(radix) digits. False where one is not below the
/// radix; the words are then unspecified.
bool pack_digits(const std::uint8_t* digits, std::size_t count, unsigned radix,
                 std::uint64_t* words);
/// The reverse. False where a word is above kLargestDecimalWord; the digits are then unspecified.
bool unpack_words(const std::uint64_t* words, std::size_t count, unsigned radix,
                  std::uint8_t* digits);
/// The words' digits read as one integer modulo 2^61 - 1.
std::uint64_t hash_words(const std::uint64_t* words, std::size_t count, unsigned radix);
/// Appends the digits of words to their statistics. False where unpack_words says so; `counts` is
/// then unchanged.
bool append_words(DigitCounts& counts, const std::uint64_t* words, std::size_t count);

}  // namespace nmp
