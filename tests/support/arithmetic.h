// What arithmetic tests share: a context, scratch of an exact size, numbers from words.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "arith/big_float.h"
#include "arith/multiply/algorithm_table.h"
#include "parallel/context.h"
#include "support/random.h"

namespace nmp::test {

/// A serial context whose products go to the basecase up to 200 words and to transforms beyond.
class Arithmetic {
 public:
  Arithmetic() : framework_(parallel::make_context("none")), context{*framework_, table_} {
    static constexpr TuningEntry kList[] = {{"BKT", 6400}, {"HNT", std::uint64_t{1} << 38}};
    table_.load(kList);
  }

 private:
  std::unique_ptr<parallel::Context> framework_;
  AlgorithmTable table_;

 public:
  Context context;
};

/// A test with random operands and such a context.
class ArithmeticTest : public RandomTest {
 protected:
  Arithmetic arithmetic_;
  Context& context_ = arithmetic_.context;
};

/// Scratch of just the promised size, filled with garbage, with a fence behind it that is checked
/// when the block goes.
class FencedScratch {
 public:
  explicit FencedScratch(std::size_t bytes)
      : bytes_(aligned_bytes(bytes)), memory_(bytes_ + 2 * kBufferAlignment + kFence, 0xFF) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    begin_ = memory_.data() + (kBufferAlignment - address % kBufferAlignment);
    std::memset(begin_ + bytes_, kPattern, kFence);
  }
  ~FencedScratch() {
    EXPECT_TRUE(std::all_of(begin_ + bytes_, begin_ + bytes_ + kFence,
                            [](unsigned char c) { return c == kPattern; }))
        << "written beyond " << bytes_ << " bytes of scratch";
  }
  AlignedBufferC buffer() const { return AlignedBufferC(begin_, bytes_); }
  /// Bytes up to the last one that is no longer as it was lent.
  std::size_t touched() const {
    std::size_t n = bytes_;
    while (n != 0 && begin_[n - 1] == 0xFF) --n;
    return n;
  }

 private:
  static constexpr std::size_t kFence = 256;
  static constexpr unsigned char kPattern = 0xA5;
  std::size_t bytes_;
  std::vector<unsigned char> memory_;
  unsigned char* begin_;
};

/// A BigFloat or ExactFloat with words of its own, free ones `below` and `above` its value.
template <typename Float>
class Owned : public Float {
 public:
  explicit Owned(std::size_t words) : storage_(words, 0xDEADBEEF) {
    *static_cast<Float*>(this) = Float(storage_.data(), static_cast<std::uint32_t>(words));
  }
  Owned(const std::vector<Word>& words, std::int64_t exponent, bool positive = true,
        std::size_t below = 0, std::size_t above = 0)
      : Owned(below + words.size() + above) {
    this->T += below;
    std::copy(words.begin(), words.end(), this->T);
    this->L = static_cast<std::uint32_t>(words.size());
    this->exp = exponent;
    this->sign = positive;
    if constexpr (requires { this->hash; }) this->hash = this->computed_hash();
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  Owned(Owned&&) = default;  // the words stay where they are
  Owned& operator=(Owned&&) = default;

 private:
  std::vector<Word> storage_;
};
using OwnedFloat = Owned<BigFloat>;

}  // namespace nmp::test
