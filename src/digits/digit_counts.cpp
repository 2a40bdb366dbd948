#include "digits/digit_counts.h"

#include <algorithm>

#include "arith/hash61.h"
#include "digits/digit_kernels.h"
#include "digits/digit_words.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace nmp {
namespace {

/// Words that digits are packed into at a time for their hash.
constexpr std::size_t kWords = 256;

}  // namespace

std::uint64_t hash_digits(const std::uint8_t* digits, std::size_t count, unsigned radix) {
  std::uint64_t hash = 0;
  std::size_t done = 0;
  if (const unsigned in_word = digits_per_word(radix); in_word != 0) {
    std::uint64_t words[kWords];
    for (std::size_t left = count / in_word, taken; left > 0; left -= taken) {
      taken = std::min(left, kWords);
      pack_digits(digits + done, taken, radix, words);
      hash = hash61::add(hash61::multiply(hash, hash61::power(radix, taken * in_word)),
                         hash_words(words, taken, radix));
      done += taken * in_word;
    }
  }
  for (; done < count; ++done) hash = hash61::fold(hash61::multiply(hash, radix) + digits[done]);
  return hash;
}

DigitCounts::DigitCounts(unsigned radix) : radix_(radix) {
  constexpr const char* kFunction = "DigitCounts::DigitCounts()";
  if (radix > kMaxRadix) throw InvalidParametersException(kFunction, "Radix is too large.");
  if (radix < 2) throw InvalidParametersException(kFunction, "Invalid Radix.");
}

void DigitCounts::append(const std::uint8_t* digits, std::size_t count) {
  constexpr std::size_t kRun = DigitKernels::kMostCounted;
  std::array<std::uint64_t, kMaxRadix> counts{};
  for (std::size_t i = 0; i < count; i += kRun)
    digit_kernels().count(digits + i, std::min(kRun, count - i), radix_, counts.data());
  std::uint64_t valid = 0;
  for (std::uint64_t n : counts) valid += n;
  if (valid != count) throw InvalidParametersException("DigitCounts::append()", "Invalid Digit");
  append(counts, hash_digits(digits, count, radix_));
}

void DigitCounts::append(const std::array<std::uint64_t, kMaxRadix>& counts, std::uint64_t hash) {
  std::uint64_t total = 0;
  for (unsigned value = 0; value < radix_; ++value) {
    counts_[value] += counts[value];
    total += counts[value];
  }
  total_ += total;
  hash_ = hash61::add(hash61::multiply(hash_, hash61::power(radix_, total)), hash);
}

void DigitCounts::append(const DigitCounts& right) {
  if (right.radix_ != radix_)
    throw InvalidParametersException("DigitCounts::append()", "Invalid Radix.");
  for (unsigned value = 0; value < radix_; ++value) counts_[value] += right.counts_[value];
  total_ += right.total_;
  hash_ = hash61::add(hash61::multiply(hash_, hash61::power(radix_, right.total_)), right.hash_);
}

std::string DigitCounts::listing() const {
  std::string text;
  for (unsigned value = 0; value < radix_; ++value) {
    text += "    ";
    text += "0123456789abcdef"[value];
    text += " : " + with_commas(counts_[value]) + "\n";
  }
  return text;
}

}  // namespace nmp
