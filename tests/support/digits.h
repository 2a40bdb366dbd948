// Digits as the program passes them on, and a sink that keeps them as text.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "digits/digit_sink.h"
#include "support/random.h"

namespace nmp::test {

using Digits = std::vector<std::uint8_t>;

inline Digits random_digits(Rng& rng, std::size_t n, unsigned radix) {
  Digits digits(n);
  for (auto& digit : digits) digit = static_cast<std::uint8_t>(rng.below(radix));
  return digits;
}

inline std::string text_of(const std::uint8_t* digits, std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text += "0123456789abcdef"[digits[i]];
  return text;
}

/// Keeps what it is given, which must come without gaps.
class TextSink : public DigitSink {
 public:
  void store_digits(const std::uint8_t* digits, std::uint64_t offset, std::size_t count) override {
    EXPECT_EQ(offset, text.size());
    text += text_of(digits, count);
  }
  std::string text;
};

}  // namespace nmp::test
