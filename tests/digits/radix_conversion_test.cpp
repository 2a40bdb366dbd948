// What must hold, most general first:
//   1. the promise of convert_T against the schoolbook method at every size, whatever the operand;
//   2. digit boundaries at every split, where one half must carry into the other;
//   3. the same words for any transform, whatever it wraps around at and by which sign;
//   4. the same words for any number of threads, with just the scratch that was asked for;
//   5. spoilt words are noticed.

#include "digits/radix_conversion.h"

#include <gtest/gtest.h>

#include <string>

#include "digits/radix_basecase.h"
#include "digits/radix_oracle.h"
#include "digits/radix_product.h"
#include "digits/word_spectra.h"
#include "support/arithmetic.h"
#include "support/console_io.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp::CBRv2 {
namespace {

using test::FencedScratch;
using test::Words;

/// A tree, its powers, and the digits of fractions by them.
struct Tree {
  Tree(Context& own_context, std::uint64_t count)
      : context(own_context),
        split(count),
        storage(PowerTable::storage_bytes(split)),
        table_scratch(PowerTable::scratch_bytes(context, split)),
        rest(storage.buffer()),
        powers(context, split, rest, table_scratch.buffer()) {}

  std::size_t words() const { return split.words(split.levels); }

  Words digits(const Words& fraction, std::size_t parts_of_scratch = 1) const {
    Words node(fraction);
    node.resize(split.storage());
    FencedScratch scratch(convert_scratch(context, split) / parts_of_scratch);
    convert_T(context, split, powers, node.data(), nullptr, scratch.buffer());
    node.resize(split.wanted);
    return node;
  }

  /// The promise: the exact digits, or one less where what is left over is almost nothing.
  void check(const Words& fraction) const {
    Words left = fraction;
    Words expected = test::take_blocks(left, split.wanted);
    const Words actual = digits(fraction);
    if (actual != expected && left.back() < 3) test::subtract_one(expected);
    ASSERT_EQ(actual, expected) << split.wanted << " blocks, leaf " << split.leaf;
  }

  Context& context;
  const Split split;
  FencedScratch storage, table_scratch;
  AlignedBufferC rest;
  const PowerTable powers;
};

class RadixConversion : public test::ArithmeticTest {
 protected:
  /// Uniform words: no runs that hide a fault.
  Words noise(std::size_t n) {
    Words words(n);
    for (Word& word : words) word = static_cast<Word>(rng_.u64());
    return words;
  }
};

TEST_F(RadixConversion, KeepsItsPromiseAtAnySize) {
  for (std::size_t i = 0; i < test::reps(150); ++i) {
    const Tree tree(context_, rng_.size(20000));
    ASSERT_NO_FATAL_FAILURE(tree.check(rng_.words(tree.words())));
  }
  for (std::uint64_t digits : {1, 9, 10, 576, 585, 1152, 1153, 1161, 2304, 2305, 100000}) {
    const Tree tree(context_, digits);
    ASSERT_NO_FATAL_FAILURE(tree.check(rng_.words(tree.words())));
    tree.check(Words(tree.words(), 0));
    tree.check(Words(tree.words(), ~0u));
    Words tiny(tree.words(), 0);
    tiny[0] = 1;
    tree.check(tiny);
  }
}

TEST_F(RadixConversion, GivesTheSameForAnyThreads) {
  // The longest has products that the threads share above those that each makes for itself; of the
  // shortest there is less than one leaf for each.
  for (std::uint64_t digits : {2000u, 60000u, 1500000u}) {
    const Tree tree(context_, digits);
    const Words fraction = rng_.words(tree.words());
    const Words expected = tree.digits(fraction);
    EXPECT_THROW(tree.digits(fraction, 2), BufferTooSmallException);
    for (unsigned threads : {2, 3, 7}) {
      test::Threads framework(threads);
      Context several{framework, context_.products};
      EXPECT_EQ(Tree(several, digits).digits(fraction), expected) << digits << ", " << threads;
    }
  }
}

TEST_F(RadixConversion, GivesTheSameForAnyTransform) {
  for (std::size_t i = 0; i < test::reps(40); ++i) {
    test::WithWordSpectra with(i % 2 == 0 ? 1 : -1, rng_.below(3) * rng_.size(500));
    const std::uint64_t digits = 2000 + rng_.size(i < 2 ? 100000 : 20000);
    const Tree tree(context_, digits), other(with.context, digits);
    Words fraction = noise(tree.words());
    with.algorithm.whole_products = 0;
    ASSERT_EQ(other.digits(fraction), tree.digits(fraction)) << digits;
    EXPECT_EQ(with.algorithm.whole_products, 0u);
    with.context.longest_product = 500 + rng_.below(2000);  // longer ones are made from pieces
    ASSERT_EQ(Tree(with.context, digits).digits(fraction), tree.digits(fraction)) << digits;
    fraction = rng_.words(tree.words());  // with runs that look like a carry
    ASSERT_EQ(other.digits(fraction), tree.digits(fraction)) << digits;
  }
}

// Fractions whose product, below the words that are kept, consists of ones (so that what wraps
// around carries into them) or of zeros (so that it borrows from them).
TEST_F(RadixConversion, WrapsAroundWithoutATrace) {
  for (int sign : {1, -1})
    for (std::size_t surplus : {0, 1, 7}) {
      test::WithWordSpectra with(sign, surplus);
      const Tree tree(context_, 7000);
      const unsigned level = tree.split.levels;
      const Window window(tree.split, level);
      const Power& power = tree.powers.for_level(tree.split, level);
      FencedScratch memory(RightHalves::bytes(with.context, tree.split, level) +
                           RightHalves::node_bytes(with.context, tree.split, level));
      AlignedBufferC rest = memory.buffer();
      RightHalves right_halves(with.context, tree.split, level, power, rest);
      for (Word fill : {0u, ~0u})
        for (std::size_t ones_from : {std::size_t{0}, window.guard - 2, window.guard + 1}) {
          Words product = rng_.words(window.operand);
          for (std::size_t i = ones_from; i < window.guard + 1; ++i) product[i] = fill;
          const unsigned bits = window.first_bit % kWordBits;
          const Word below = (Word{1} << bits) - 1;
          product[window.guard + 1] = (product[window.guard + 1] & ~below) | (fill & below);
          Words fraction =
              test::quotient_from_below(product, {power.words, power.words + power.length});
          fraction.resize(tree.words(), ~0u);
          Words expected(window.words), actual(window.words);
          for (std::size_t i = 0; i < window.words; ++i)
            expected[i] = static_cast<Word>(load_limb(&product[window.guard + 1 + i]) >> bits);
          right_halves.take(actual.data(), right_halves.multiply(fraction.data(), rest));
          ASSERT_EQ(actual, expected)
              << sign << ", " << surplus << ", " << fill << ", " << ones_from;
        }
      EXPECT_GT(with.algorithm.whole_products, 0u);
    }
}

// numerator / 10^place, cut to the words of the tree, is a hair below the boundary; one unit more
// is above it. Which half finds out depends on where the boundary lies.
TEST_F(RadixConversion, CarriesAcrossDigitBoundaries) {
  const Tree tree(context_, 9 * 1000);
  ASSERT_GE(tree.split.levels, 3u);
  const std::size_t leaf = 9 * tree.split.leaf;
  for (std::size_t place = 0; place <= tree.split.wanted * 9; place += leaf)
    for (std::size_t at : {place, place + 5}) {
      if (at == 0 || at > tree.split.wanted * 9) continue;
      for (std::uint32_t numerator : {1u, 9u}) {
        Words fraction = test::boundary(tree.words(), numerator, at);
        ASSERT_NO_FATAL_FAILURE(tree.check(fraction)) << numerator << " at " << at;
        for (Word& word : fraction)
          if (++word != 0) break;
        ASSERT_NO_FATAL_FAILURE(tree.check(fraction)) << numerator << " above " << at;
      }
    }
}

TEST_F(RadixConversion, LeavesAgreeWordByWord) {
  for (std::size_t i = 0; i < test::reps(300); ++i) {
    const std::size_t blocks = rng_.size(kMaxLeafBlocks);
    const std::size_t n = Split((blocks - 1) * kBlockDigits).words(0) + rng_.below(3);
    Words a = rng_.words(n);
    a.resize(std::max(n, blocks));
    Words b = a, rest(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(n));
    const Words expected = test::take_blocks(rest, blocks);
    const Word ra = convert_L(a.data(), n, blocks), rb = convert_L_portable(b.data(), n, blocks);
    a.resize(blocks);
    b.resize(blocks);
    // Both keep the promise; where a leaf stops short of a boundary they may differ.
    for (const auto& [digits, r] : {std::pair{a, ra}, {b, rb}}) {
      EXPECT_LE(static_cast<Word>(rest.back() - r), 1u);
      if (rest.back() < r) continue;
      ASSERT_EQ(digits, expected) << blocks << " blocks of " << n;
    }
  }
  Words few(10);
  test::expect_fault<AlgorithmFailedException>("CBRv2::convert_L()", "TL < AL",
                                               [&] { convert_L(few.data(), 10, 10); });
}

TEST_F(RadixConversion, NoticesSpoiltWords) {
  const Tree tree(context_, 9000), other(context_, 9900);
  Words node = rng_.words(tree.split.storage());
  FencedScratch scratch(convert_scratch(context_, tree.split));
  test::expect_fault<AlgorithmFailedException>(
      "nmp_CBRv2_ci_btrf_build_table()", "Mismatching exponents.", [&] {
        convert_T(context_, tree.split, other.powers, node.data(), nullptr, scratch.buffer());
      });
  const Words fraction = noise(tree.words());
  for (unsigned level = 1; level <= tree.split.levels; ++level) {
    Word* word = const_cast<Word*>(tree.powers.for_level(tree.split, level).words);
    word[3] ^= 1u << 7;
    try {
      tree.digits(fraction);
      ADD_FAILURE() << "nothing noticed at level " << level;
    } catch (const AlgorithmFailedException& failure) {
      EXPECT_TRUE(failure.message().starts_with(
          "Overlap Mismatch:\n    RL = " + std::to_string(level) + "\n    Expected = "))
          << failure.message();
    }
    word[3] ^= 1u << 7;
  }
}

TEST_F(RadixConversion, NoticesASpoiltTransform) {
  const auto message_with = [&](int sign, int spoilt, int spoilt_word) -> std::string {
    test::WithWordSpectra with(sign, 0);
    const Tree tree(with.context, 9000);
    Words fraction = noise(tree.words());
    with.algorithm.spoil_in = spoilt;
    with.algorithm.spoil_word_in = spoilt_word;
    try {
      tree.digits(fraction);
    } catch (const AlgorithmFailedException& failure) {
      return failure.message().substr(0, failure.message().find('\n'));
    }
    return "nothing noticed";
  };
  // A power is transformed once for each level, before the nodes.
  const int nodes = static_cast<int>(Split(9000).levels);
  for (int spoilt : {0, nodes - 1, nodes, nodes + 1}) {
    EXPECT_EQ(message_with(1, spoilt, -1), "Multiplication Failed: Checksum Mismatch");
    EXPECT_EQ(message_with(-1, spoilt, -1), "Overlap Mismatch:");
  }
  EXPECT_EQ(message_with(1, -1, 2), "Multiplication Failed: Checksum Mismatch");
}

TEST_F(RadixConversion, PowerCheckedAgainstModularExponentiation) {
  const Word good[] = {48828125}, bad[] = {48828124};
  CheckS(context_, 5, 11, good, 1);
  const std::string shown = test::on_console("", [&] {
    test::expect_fault<AlgorithmFailedException>("CBRv2::CheckS()", "Power Hash Mismatch",
                                                 [&] { CheckS(context_, 5, 11, bad, 1); });
  });
  EXPECT_NE(shown.find("Radix Conversion: Power Hash Mismatch\nExpected = 48828125\n"
                       "Actual   = 48828124"),
            std::string::npos);
}

}  // namespace
}  // namespace nmp::CBRv2
