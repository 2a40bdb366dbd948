// FloatWriterB: what it accepts, the digits it gives, and the faults it refuses to pass.

#include "digits/float_writer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "digits/digit_text.h"
#include "digits/radix_oracle.h"
#include "support/arithmetic.h"
#include "support/console_io.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::FencedScratch;
using test::OwnedFloat;
using test::Words;

/// Keeps what it is given, which must come without gaps.
class TextSink : public DigitSink {
 public:
  void store_digits(const std::uint8_t* digits, std::uint64_t offset, std::size_t count) override {
    EXPECT_EQ(offset, text.size());
    text.resize(text.size() + count);
    EXPECT_TRUE(digits_to_text(digits, count, 16, text.data() + offset));
  }
  std::string text;
};

/// One output of a number, step by step.
class Output {
 public:
  Output(Context& context, const BigFloat& number, std::uint64_t digits, unsigned radix = 10)
      : context_(context),
        writer(number, number.L, digits, radix),
        scratch_(FloatWriterB::scratch_bytes(context, digits, radix)),
        record(radix) {}

  void convert() { writer.convert(context_, nullptr, scratch_.buffer()); }
  void verify() { writer.verify(context_, nullptr, scratch_.buffer()); }
  std::string write() {
    TextSink sink;
    writer.write(context_, nullptr, &sink, record, last, scratch_.buffer());
    return sink.text;
  }
  std::string all() {
    convert();
    verify();
    return writer.first_digits() + write();
  }
  Word* blocks() { return reinterpret_cast<Word*>(scratch_.buffer().ptr()); }
  void write_nowhere() {
    writer.write(context_, nullptr, nullptr, record, last, scratch_.buffer());
  }

 private:
  Context& context_;

 public:
  FloatWriterB writer;

 private:
  FencedScratch scratch_;

 public:
  HashedDigits record;
  LastDigits last;
};

class FloatWriter : public ::testing::Test {
 protected:
  /// A number with words to spare for `digits`, its top word at position `mag` - 1.
  OwnedFloat random_number(std::uint64_t digits, int mag) {
    const std::size_t n = static_cast<std::size_t>(digits / 8 + 3 + rng_.below(5));
    return OwnedFloat(rng_.words(n), mag - static_cast<std::int64_t>(n));
  }
  /// The digits after the point by the schoolbook method.
  static std::string expected(const BigFloat& x, std::uint64_t digits) {
    Words fraction(x.T, x.T + x.L - x.mag());
    std::string text;
    for (Word block : test::take_blocks(fraction, static_cast<std::size_t>(digits / 9 + 1))) {
      const std::string nine = std::to_string(block);
      text += std::string(9 - nine.size(), '0') + nine;
    }
    return text.substr(0, static_cast<std::size_t>(digits));
  }
  void expect_refused(const std::string& text, const Words& words, std::int64_t exponent,
                      std::size_t precision = 100, std::uint64_t digits = 9) {
    const OwnedFloat x(words, exponent);
    try {
      FloatWriterB writer(x, precision, digits, 10);
      ADD_FAILURE() << "accepted";
    } catch (const InvalidParametersException& e) {
      EXPECT_EQ(e.message().substr(0, text.size()), text);
      EXPECT_EQ(e.function(), "FloatWriterB()");
    }
  }

  test::Arithmetic arithmetic_;
  Context& context_ = arithmetic_.context;
  test::Rng rng_ = test::Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

TEST_F(FloatWriter, GivesTheDigitsOfRandomNumbers) {
  for (std::size_t i = 0; i < test::reps(60); ++i) {
    const std::uint64_t digits = rng_.size(i < 3 ? 200000 : 5000);
    const OwnedFloat x = random_number(digits, static_cast<int>(rng_.below(2)));
    Output output(context_, x, digits);
    const std::string whole = x.mag() == 1 ? std::to_string(x.T[x.L - 1]) : "0";
    ASSERT_EQ(output.all(), whole + "." + expected(x, digits));
    EXPECT_EQ(output.record.counts().total(), digits);
    EXPECT_EQ(output.last.position(), digits);
  }
}

TEST_F(FloatWriter, GivesHexadecimalDigitsAsTheyStand) {
  for (std::size_t digits : {1, 7, 8, 9, 15, 16}) {
    const OwnedFloat longer({0, 0, 0x89ABCDEF, 0x01234567, 0xF}, -4);
    EXPECT_EQ(Output(context_, longer, digits, 16).all(),
              "f." + std::string("0123456789abcdef").substr(0, digits));
  }
  // Words that the number does not have are zeros; more digits than one run to the sink holds.
  const std::size_t digits = 1200003;
  const OwnedFloat half({0x80000000}, -1);
  FloatWriterB writer(half, digits, digits, 16);
  FencedScratch scratch(FloatWriterB::scratch_bytes(context_, digits, 16));
  TextSink sink;
  HashedDigits record(16);
  LastDigits last;
  writer.write(context_, nullptr, &sink, record, last, scratch.buffer());
  EXPECT_EQ(sink.text, "8" + std::string(digits - 1, '0'));
  EXPECT_EQ(record.counts().count(8), 1u);
  EXPECT_EQ(last.text(), std::string(LastDigits::kKept, '0'));
}

TEST_F(FloatWriter, TakesHalfAndTheEdgesOfItsRange) {
  const OwnedFloat half(Words{0, 0, 0, 0x80000000}, -4);
  EXPECT_EQ(Output(context_, half, 20).all(), "0.50000000000000000000");
  const OwnedFloat largest(Words{0, 0, 0, 0xFFFFFFFF}, -3);
  EXPECT_EQ(Output(context_, largest, 10).all(), "4294967295.0000000000");
  EXPECT_EQ(Output(context_, largest, 10, 16).all(), "ffffffff.0000000000");
  const OwnedFloat smallest(Words{1, 0, 0, 1}, -4);  // 2^-32 + 2^-128
  EXPECT_EQ(Output(context_, smallest, 15).all(), "0.000000000232830");

  expect_refused("Number is out of range.\n\nnumforge's radix", {0, 0, 1}, -1);  // 2^32
  expect_refused("Number is out of range.\n\nnumforge's radix", {0, 0, 1}, -3);  // 2^-32
  expect_refused("Number is out of range.\n\nnumforge's radix", {1, 2, 3}, -9);
  expect_refused("Number is zero and out of range.\n\nnumforge's radix", {}, 0);
}

TEST_F(FloatWriter, ComputesMoreThanItWrites) {
  // 9 digits are 29.9 bits: one word below the point holds them, the word above it counts extra.
  expect_refused("compute < output", Words(5, 7), -4, 1);
  const OwnedFloat x(Words(5, 7), -4);
  FloatWriterB(x, 2, 9, 10);
  expect_refused("compute < output", Words(5, 7), -4, 2, 10);
  EXPECT_THROW(FloatWriterB(x, 2, 8, 16), InvalidParametersException);  // equal is not enough
  FloatWriterB(x, 2, 7, 16);
  EXPECT_THROW(FloatWriterB(x, 2, 7, 8), InvalidParametersException);
}

TEST_F(FloatWriter, FlipsNegativeNumbersWithAWarning) {
  OwnedFloat x(Words{0, 0x80000000, 3}, -2);
  x.sign = false;
  std::unique_ptr<Output> output;
  const std::string shown =
      test::on_console("", [&] { output = std::make_unique<Output>(context_, x, 9); });
  EXPECT_EQ(output->all(), "3.500000000");
  EXPECT_NE(shown.find("Warning: numforge's digit output cannot handle negative numbers.\n"
                       "Output will be flipped positive...\n"),
            std::string::npos);
}

// The last digit that is written may be one off, in either direction; nothing else may.
TEST_F(FloatWriter, VerifiesUpToOneUnit) {
  for (std::uint64_t digits : {900u, 905u, 20000u}) {
    OwnedFloat x = random_number(digits, 1);
    for (std::uint32_t i = 0; i < x.L; ++i) x.T[i] = 0x12345678 * (i + 1);
    Output output(context_, x, digits);
    output.convert();
    Word* last = output.blocks() + (digits - 1) / 9;
    Word unit = 1;
    for (std::uint64_t i = digits; i % 9 != 0; ++i) unit *= 10;
    const Word before = *last;
    ASSERT_GE(before, 2 * unit);
    ASSERT_LT(before + 2 * unit, 1'000'000'000u);
    for (int off : {-1, 0, 1}) {
      *last = before + static_cast<Word>(off) * unit;
      EXPECT_NO_THROW(output.verify()) << off;
    }
    for (int off : {-2, 2}) {
      *last = before + static_cast<Word>(off) * unit;
      const std::string shown = test::on_console("", [&] {
        test::expect_fault<AlgorithmFailedException>("FloatWriterB::verify()",
                                                     "Base Conversion Failed: Checksum Mismatch",
                                                     [&] { output.verify(); });
      });
      EXPECT_NE(shown.find("R = "), std::string::npos);
      EXPECT_NE(shown.find("B = "), std::string::npos);
    }
  }
}

TEST_F(FloatWriter, NoticesWordsThatChange) {
  OwnedFloat x = random_number(5000, 1);
  Output output(context_, x, 5000);
  output.convert();
  output.verify();
  output.blocks()[100] ^= 1;
  test::expect_fault<AlgorithmFailedException>("FloatWriterB::convert()", "Checksum Mismatch",
                                               [&] { output.write(); });
  output.blocks()[100] ^= 1;
  output.write();
  test::on_console("", [&] { output.writer.verify_binary_words(nullptr); });
  x.T[5] ^= 0x100;
  const std::string shown = test::on_console("", [&] {
    test::expect_fault<AlgorithmFailedException>(
        "FloatWriterB::verify_binary_words()", "Checksum Mismatch",
        [&] { output.writer.verify_binary_words(nullptr); });
  });
  EXPECT_NE(shown.find("Before Hash = "), std::string::npos);
  EXPECT_NE(shown.find("After  Hash = "), std::string::npos);
}

TEST_F(FloatWriter, CountsTheSameWithoutASinkAndWithThreads) {
  const std::uint64_t digits = 100000;
  const OwnedFloat x = random_number(digits, 0);
  for (unsigned radix : {10u, 16u}) {
    Output output(context_, x, digits, radix);
    const std::string text = output.all();
    const DigitCounts counts = output.record.counts();
    output.write_nowhere();
    EXPECT_EQ(output.record.counts(), counts);
    EXPECT_EQ(output.last.text(), text.substr(text.size() - LastDigits::kKept));

    test::PlainThreads framework(3);
    Context several{framework, context_.products};
    EXPECT_EQ(Output(several, x, digits, radix).all(), text);
  }
}

TEST_F(FloatWriter, NeedsTheScratchItAsksFor) {
  const OwnedFloat x = random_number(5000, 1);
  FloatWriterB writer(x, x.L, 5000, 10);
  FencedScratch scratch(FloatWriterB::scratch_bytes(context_, 5000, 10) / 4);
  EXPECT_THROW(
      {
        writer.convert(context_, nullptr, scratch.buffer());
        writer.verify(context_, nullptr, scratch.buffer());
      },
      BufferTooSmallException);
}

}  // namespace
}  // namespace nmp
