// Digits as the program passes them on, and a sink that keeps them as text.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <thread>
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

inline std::string text_of(const Digits& digits) { return text_of(digits.data(), digits.size()); }

/// Digits as one integer modulo 2^61 - 1, by Horner's rule with additions only.
inline std::uint64_t hash_of(const std::string& text, unsigned radix) {
  std::uint64_t hash = 0;
  for (const char c : text) {
    std::uint64_t next = static_cast<std::uint64_t>(c <= '9' ? c - '0' : c - 'a' + 10);
    for (unsigned i = 0; i < radix; ++i) next = (next + hash) % 2305843009213693951;
    hash = next;
  }
  return hash;
}

/// Stores all digits in runs cut at random places, which two threads take in a random order.
template <typename Writer>
void store_in_pieces(Rng& rng, Writer& writer, const Digits& digits, std::size_t most_cuts) {
  std::vector<std::size_t> cuts = {0, digits.size()};
  for (std::size_t i = rng.below(most_cuts); i > 0; --i)
    cuts.push_back(rng.below(digits.size() + 1));
  std::sort(cuts.begin(), cuts.end());
  std::vector<std::size_t> runs(cuts.size() - 1);
  std::iota(runs.begin(), runs.end(), 0);
  std::shuffle(runs.begin(), runs.end(), std::mt19937(static_cast<unsigned>(rng.u64())));
  const auto store = [&](std::size_t first) {
    for (std::size_t i = first; i < runs.size(); i += 2)
      writer.store_digits(digits.data() + cuts[runs[i]], cuts[runs[i]],
                          cuts[runs[i] + 1] - cuts[runs[i]]);
  };
  std::thread other(store, 1);
  store(0);
  other.join();
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
