#include "digits/digit_words.h"

#include <algorithm>
#include <array>

#include "arith/hash61.h"
#include "arith/wide.h"
#include "digits/digit_kernels.h"

namespace nmp {
namespace {

/// Words whose digits are expanded at a time for counting; they stay in the nearest cache.
constexpr std::size_t kCountedWords = DigitKernels::kMostCounted / kDecimalsPerWord;

/// x + carry with x congruent to a * b, in [0, 2^61 + 8), for a < 2^62, b < 2^61 and any carry.
std::uint64_t multiply_add(std::uint64_t a, std::uint64_t b, std::uint64_t carry) {
  const wide::Pair product = wide::multiply(a, b);
  const std::uint64_t sum = (product.low & hash61::kPrime) +           // < 2^61
                            (product.low >> 61 | product.high << 3) +  // < 2^62
                            (carry & hash61::kPrime) + (carry >> 61);
  return (sum & hash61::kPrime) + (sum >> 61);
}

/// Horner's rule, every fourth word in a sum of its own: the sums do not wait for each other.
std::uint64_t hash_decimal(const std::uint64_t* words, std::size_t count) {
  constexpr std::uint64_t kTen19 = hash61::power(10, kDecimalsPerWord);
  constexpr std::uint64_t kFourWords = hash61::power(kTen19, 4);
  std::uint64_t sums[4] = {};
  std::size_t i = 0;
  for (; i + 4 <= count; i += 4)
    for (std::size_t j = 0; j < 4; ++j) sums[j] = multiply_add(sums[j], kFourWords, words[i + j]);
  std::uint64_t hash = 0;
  for (std::uint64_t sum : sums) hash = multiply_add(hash, kTen19, sum);
  for (; i < count; ++i) hash = multiply_add(hash, kTen19, words[i]);
  return hash61::fold(hash);
}

/// The same with the radix 2^64, which is 8.
std::uint64_t hash_hex(const std::uint64_t* words, std::size_t count) {
  std::uint64_t hash = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t sum = ((hash << 3) & hash61::kPrime) + (hash >> 58) +
                              (words[i] & hash61::kPrime) + (words[i] >> 61);
    hash = (sum & hash61::kPrime) + (sum >> 61);
  }
  return hash61::fold(hash);
}

}  // namespace

bool pack_digits(const std::uint8_t* digits, std::size_t count, unsigned radix,
                 std::uint64_t* words) {
  const DigitKernels& kernels = digit_kernels();
  return (radix == 10 ? kernels.pack_decimal : kernels.pack_hex)(digits, count, words);
}

bool unpack_words(const std::uint64_t* words, std::size_t count, unsigned radix,
                  std::uint8_t* digits) {
  if (radix == 10) return digit_kernels().unpack_decimal(words, count, digits);
  digit_kernels().unpack_hex(words, count, digits);
  return true;
}

std::uint64_t hash_words(const std::uint64_t* words, std::size_t count, unsigned radix) {
  return radix == 10 ? hash_decimal(words, count) : hash_hex(words, count);
}

bool append_words(DigitCounts& counts, const std::uint64_t* words, std::size_t count) {
  const unsigned radix = counts.radix(), in_word = digits_per_word(radix);
  const DigitKernels& kernels = digit_kernels();
  std::array<std::uint64_t, DigitCounts::kMaxRadix> found{};
  std::uint8_t digits[DigitKernels::kMostCounted];
  for (std::size_t i = 0; i < count; i += kCountedWords) {
    const std::size_t taken = std::min(kCountedWords, count - i);
    if (!unpack_words(words + i, taken, radix, digits)) return false;
    kernels.count(digits, taken * in_word, radix, found.data());
  }
  counts.append(found, hash_words(words, count, radix));
  return true;
}

}  // namespace nmp
