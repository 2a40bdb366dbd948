// The residue of the low part of a product is the same however the product is made.

#include "digits/low_product_hash.h"

#include <gtest/gtest.h>

#include "arith/hash61.h"
#include "arith/multiply/fft/fft.h"
#include "arith/multiply/hybrid/hybrid_ntt.h"
#include "digits/word_spectra.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Words;

std::uint64_t by_schoolbook(const Words& a, const Words& b, std::uint64_t bits) {
  Words product = test::schoolbook(a, b);
  product.resize(a.size());
  if (bits % kWordBits != 0) product.back() &= (Word{1} << bits % kWordBits) - 1;
  return hash61::of_words(product.data(), product.size());
}

std::uint64_t by_wrapping(Context& context, const Words& a, const Words& b, std::uint64_t bits) {
  test::FencedScratch scratch(low_product_scratch(context, a.size(), b.size()));
  return low_product_hash(context, a.data(), a.size(), b.data(), b.size(), bits, scratch.buffer());
}

class LowProductHash : public test::RandomTest {};

TEST_F(LowProductHash, IsThatOfTheWholeProduct) {
  for (std::size_t i = 0; i < test::reps(100); ++i) {
    test::WithWordSpectra with(i % 2 == 0 ? 1 : -1, rng_.below(3) * rng_.size(100));
    if (i % 3 == 0) with.context.longest_product = 300 + rng_.below(1000);
    const Words a = rng_.words(rng_.size(700)), b = rng_.words(rng_.size(700));
    const std::uint64_t bits = (a.size() - 1) * std::uint64_t{kWordBits} + 1 + rng_.below(32);
    ASSERT_EQ(by_wrapping(with.context, a, b, bits), by_schoolbook(a, b, bits))
        << a.size() << " x " << b.size() << " words, " << bits << " bits";
  }
}

// A number with zeros at its end needs a shorter product, of which the transforms may need more.
TEST_F(LowProductHash, FitsIntoTheMemoryForMoreWords) {
  AlgorithmTable table;
  table.add(20000, &floating_point_fft());
  table.add(1 << 20, &hybrid_ntt());
  test::Threads threads(1);
  Context context{threads, table};
  for (std::size_t i = 0; i < test::reps(40); ++i) {
    const Words a = rng_.words(20000 + rng_.below(1000)), b = rng_.words(17000);
    test::FencedScratch scratch(low_product_scratch(context, a.size(), b.size()));
    const Words end(a.begin() + static_cast<std::ptrdiff_t>(1000 + rng_.below(5000)), a.end());
    const std::uint64_t bits = end.size() * std::uint64_t{kWordBits} - rng_.below(32);
    ASSERT_EQ(low_product_hash(context, end.data(), end.size(), b.data(), b.size(), bits,
                               scratch.buffer()),
              by_wrapping(context, end, b, bits));
  }
}

// A product whose low words are all ones or all zeros: what wraps around changes every word of it.
TEST_F(LowProductHash, IsNotChangedByACarry) {
  for (int sign : {1, -1})
    for (Word fill : {~0u, 0u})
      for (std::size_t filled : {300, 299, 0}) {
        test::WithWordSpectra with(sign, 0);
        Words product(300, fill), b(200);
        for (std::size_t i = filled; i < 300; ++i) product[i] = static_cast<Word>(rng_.u64());
        if (fill == 0 && filled == 300) product[299] = 1;
        for (Word& word : b) word = static_cast<Word>(rng_.u64()) | 1;
        const Words a = test::quotient_from_below(product, b);
        const std::uint64_t bits = 299 * 32 + 1 + rng_.below(32);
        ASSERT_EQ(by_wrapping(with.context, a, b, bits), by_schoolbook(a, b, bits));
        EXPECT_EQ(with.algorithm.whole_products == 0, filled == 0);
      }
}

}  // namespace
}  // namespace nmp
