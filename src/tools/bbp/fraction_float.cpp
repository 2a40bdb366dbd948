#include "tools/bbp/fraction_float.h"

#include "foundation/exceptions.h"

namespace numforge {

FractionFloat::FractionFloat(std::size_t words) {
  if (words < 2)
    throw nmp::InvalidParametersException("FractionFloat::FractionFloat()",
                                          "Length must be at least 2.");
  words_.resize(words);
}

void FractionFloat::require_length_of(const FractionFloat& other, const char* function) const {
  if (words() != other.words())
    throw nmp::InvalidParametersException(function, "Lengths do not match.");
}

void FractionFloat::add(const FractionFloat& other) {
  require_length_of(other, "FractionFloat::add()");
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < words_.size(); ++i) {
    const std::uint64_t sum = words_[i] + other.words_[i];
    const std::uint64_t overflow = sum < other.words_[i];
    words_[i] = sum + carry;
    carry = overflow + (words_[i] < carry);
  }
}

void FractionFloat::subtract(const FractionFloat& other) {
  require_length_of(other, "FractionFloat::subtract()");
  std::uint64_t borrow = 0;
  for (std::size_t i = 0; i < words_.size(); ++i) {
    const std::uint64_t difference = words_[i] - other.words_[i];
    const std::uint64_t underflow = words_[i] < other.words_[i];
    words_[i] = difference - borrow;
    borrow = underflow + (difference < borrow);
  }
}

void FractionFloat::add_at(std::uint64_t places, std::int64_t value) {
  const std::uint64_t position = 64 * std::uint64_t{words_.size()} - places;
  const unsigned shift = position % 64;
  const std::uint64_t sign = value < 0 ? ~std::uint64_t{0} : 0, bits = std::uint64_t(value);
  const std::uint64_t parts[2] = {bits << shift,
                                  shift == 0 ? sign : (bits >> (64 - shift)) | (sign << shift)};
  std::uint64_t carry = 0;
  for (std::size_t i = static_cast<std::size_t>(position / 64), n = 0; i < words_.size();
       ++i, ++n) {
    if (n >= 2 && carry == (sign & 1)) break;  // nothing is left to add, or all ones and a carry
    const std::uint64_t part = n < 2 ? parts[n] : sign, sum = words_[i] + part;
    words_[i] = sum + carry;
    carry = std::uint64_t{sum < part} + (words_[i] < carry);
  }
}

std::string FractionFloat::hex_digits(std::size_t count) const {
  std::string text;
  text.reserve(count);
  for (std::size_t i = 0; i < count; ++i)
    text += "0123456789abcdef"[(words_[words_.size() - 1 - i / 16] >> (60 - 4 * (i % 16))) & 15];
  return text;
}

}  // namespace numforge
