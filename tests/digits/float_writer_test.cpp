// FloatWriterB: what it accepts, the digits it gives, and the faults it refuses to pass.

#include "digits/float_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "digits/radix_oracle.h"
#include "support/arithmetic.h"
#include "support/console_io.h"
#include "support/digits.h"
#include "support/faults.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::FencedScratch;
using test::OwnedFloat;
using test::Words;

/// One output of a number, step by step.
struct Output {
  Output(Context& own_context, const BigFloat& number, std::uint64_t digits, unsigned radix = 10,
         std::size_t precision = 0)
      : context(own_context),
        writer(context, number, precision == 0 ? number.L : precision, digits, radix),
        scratch(FloatWriterB::scratch_bytes(context, digits, radix)),
        record(radix) {}

  void convert() { writer.convert(context, nullptr, scratch.buffer()); }
  void verify() { writer.verify(context, nullptr, scratch.buffer()); }
  void write(DigitSink* sink) {
    writer.write(context, nullptr, sink, record, last, scratch.buffer());
  }
  std::string all() {
    test::TextSink sink;
    convert();
    verify();
    write(&sink);
    return writer.first_digits() + sink.text;
  }
  Word* blocks() { return reinterpret_cast<Word*>(scratch.buffer().ptr()); }

  Context& context;
  FloatWriterB writer;
  FencedScratch scratch;
  HashedDigits record;
  LastDigits last;
};

class FloatWriter : public test::ArithmeticTest {
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
                      std::size_t precision = 100, std::uint64_t digits = 9, unsigned radix = 10) {
    const OwnedFloat x(words, exponent);
    try {
      FloatWriterB writer(context_, x, precision, digits, radix);
      ADD_FAILURE() << "accepted";
    } catch (const InvalidParametersException& e) {
      EXPECT_TRUE(e.message().starts_with(text)) << e.message();
      EXPECT_EQ(e.function(), "FloatWriterB()");
    }
  }
  /// What is shown while `body` fails as it must.
  template <typename Body>
  static std::string shown_by_fault(const std::string& function, const std::string& text,
                                    Body body) {
    return test::on_console(
        "", [&] { test::expect_fault<AlgorithmFailedException>(function, text, body); });
  }
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
  EXPECT_EQ(Output(context_, half, digits, 16, digits).all(), "0.8" + std::string(digits - 1, '0'));
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
  const OwnedFloat x(Words(5, 7), -4);
  FloatWriterB(context_, x, 2, 9, 10);
  FloatWriterB(context_, x, 2, 7, 16);
  expect_refused("compute < output", Words(5, 7), -4, 1);
  expect_refused("compute < output", Words(5, 7), -4, 2, 10);
  expect_refused("compute < output", Words(5, 7), -4, 2, 8, 16);  // equal is not enough
  expect_refused("Invalid radix.", Words(5, 7), -4, 2, 7, 8);
}

TEST_F(FloatWriter, FlipsNegativeNumbersWithAWarning) {
  OwnedFloat x(Words{0, 0x80000000, 3}, -2);
  x.sign = false;
  const std::string shown =
      test::on_console("", [&] { EXPECT_EQ(Output(context_, x, 9).all(), "3.500000000"); });
  EXPECT_EQ(shown,
            "Warning: numforge's digit output cannot handle negative numbers.\n"
            "Output will be flipped positive...\n");
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
      const std::string shown =
          shown_by_fault("FloatWriterB::verify()", "Base Conversion Failed: Checksum Mismatch",
                         [&] { output.verify(); });
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
  shown_by_fault("FloatWriterB::convert()", "Checksum Mismatch", [&] { output.write(nullptr); });
  output.blocks()[100] ^= 1;
  output.write(nullptr);
  test::on_console("", [&] { output.writer.verify_binary_words(context_, nullptr); });
  x.T[5] ^= 0x100;
  const std::string shown =
      shown_by_fault("FloatWriterB::verify_binary_words()", "Checksum Mismatch",
                     [&] { output.writer.verify_binary_words(context_, nullptr); });
  EXPECT_NE(shown.find("Before Hash = "), std::string::npos);
  EXPECT_NE(shown.find("After  Hash = "), std::string::npos);
}

TEST_F(FloatWriter, GivesTheSameWithThreadsAndNeedsItsScratch) {
  const std::uint64_t digits = 100000;
  const OwnedFloat x = random_number(digits, 0);
  test::Threads framework(3);
  Context several{framework, context_.products};
  for (unsigned radix : {10u, 16u}) {
    Output output(context_, x, digits, radix);
    const std::string text = output.all();
    EXPECT_EQ(output.last.text(), text.substr(text.size() - LastDigits::kKept));
    EXPECT_EQ(Output(several, x, digits, radix).all(), text);
  }
  FloatWriterB writer(context_, x, x.L, digits, 10);
  FencedScratch scratch(FloatWriterB::scratch_bytes(context_, digits, 10) / 4);
  EXPECT_THROW(
      {
        writer.convert(context_, nullptr, scratch.buffer());
        writer.verify(context_, nullptr, scratch.buffer());
      },
      BufferTooSmallException);
}

}  // namespace
}  // namespace nmp
