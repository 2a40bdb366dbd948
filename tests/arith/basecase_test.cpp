#include "arith/multiply/basecase/basecase.h"

#include <gtest/gtest.h>

#include "arith/multiply/basecase/word_multiply.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/products.h"
#include "support/random.h"

namespace nmp {
namespace {

using test::Words;

Words by(const WordMultiply& multiplier, const Words& a, const Words& b) {
  return test::fenced_product(a, b, multiplier.scratch_bytes(a.size() + b.size()),
                              [&](auto... arguments) { multiplier.multiply(arguments...); });
}

/// Both widths: always split, the listed and the measured cut-offs, never split.
std::vector<WordMultiply> multipliers() {
  std::vector<WordMultiply> all;
  const std::size_t never = ~std::size_t{0};
  for (const KaratsubaCutoffs cutoffs :
       {KaratsubaCutoffs{2, 2}, KaratsubaCutoffs{5, 4}, kC64iCutoffs, kC32iCutoffs,
        kC64iMeasuredCutoffs, KaratsubaCutoffs{never, never}}) {
    all.push_back(WordMultiply::c32i(cutoffs));
#ifdef __SIZEOF_INT128__
    all.push_back(WordMultiply::c64i(cutoffs));
#endif
  }
  return all;
}

void check(const Words& a, const Words& b) {
  const Words expected = test::schoolbook(a, b);
  for (const WordMultiply& multiplier : multipliers()) {
    ASSERT_EQ(by(multiplier, a, b), expected)
        << multiplier.name() << " from " << multiplier.cutoffs().multiply << ": " << a.size()
        << " x " << b.size();
  }
}

TEST(WordMultiply, MatchesSchoolbookAtEverySmallShape) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t al = 1; al <= 18; ++al)
    for (std::size_t bl = 1; bl <= 18; ++bl) {
      check(rng.words(al), rng.words(bl));
      check(Words(al, ~0u), Words(bl, ~0u));
      if (al == bl) test::check_square(rng.words(al), check);
    }
}

TEST(WordMultiply, MatchesSchoolbookAtRandom) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t i = test::reps(150); i-- != 0;) {
    const std::size_t al = rng.size(400), bl = rng.below(3) == 0 ? al : rng.size(400);
    check(rng.words(al), rng.words(bl));
    test::check_square(rng.words(al), check);
  }
}

TEST(WordMultiply, MatchesSchoolbookOnExtremes) {
  for (const std::size_t n : {13, 14, 27, 28, 29, 47, 48, 49, 95, 96, 100, 193}) {
    const Words ones(n, ~0u);
    Words top(n, 0), equal_halves(n, 0x80000001u), bit(n, 0);
    top.back() = 0x80000000u;
    bit[n / 2] = 1;
    for (const Words& a : {ones, top, equal_halves, bit, Words(n, 0)}) {
      for (const Words& b : {ones, top, bit}) check(a, b);
      test::check_square(a, check);
    }
  }
}

TEST(WordMultiply, AsksForEnoughScratchAndNoLess) {
  for (const WordMultiply& multiplier : multipliers()) {
    for (std::size_t n = 2; n < 300; ++n)
      ASSERT_LE(multiplier.scratch_bytes(n), multiplier.scratch_bytes(n + 1));
    const Words a(50, 3);
    test::FencedScratch scratch(multiplier.scratch_bytes(100) - kBufferAlignment);
    Words c(100);
    EXPECT_THROW(multiplier.multiply(c.data(), a.data(), 50, a.data(), 50, scratch.buffer()),
                 BufferTooSmallException);
  }
  EXPECT_STREQ(WordMultiply::c32i().name(), "WordMultiply c32i");
  EXPECT_THROW(WordMultiply::c32i({1, 14}), InvalidParametersException);
}

TEST(WordMultiply, LongProductsAgreeModuloPrimes) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (const auto& [al, bl] : {std::pair{40001, 40000}, {30000, 7777}, {50003, 13}}) {
    const Words a = rng.words(al), b = rng.words(bl);
    test::expect_product_modulo_primes(by(WordMultiply::native(), a, b), a, b);
  }
}

TEST(BasecaseKaratsuba, TakesProductsUpToItsLimit) {
  test::Arithmetic arithmetic;
  const Algorithm& algorithm = basecase_karatsuba();
  const Words a(1024, ~0u), b(1025, ~0u);
  EXPECT_EQ(test::product_by(arithmetic.context, algorithm, a, a), test::schoolbook(a, a));
  EXPECT_THROW(test::product_by(arithmetic.context, algorithm, a, b), LimitExceededException);
  EXPECT_EQ(algorithm.scratch_bytes(1u << 20, 1), algorithm.scratch_bytes(2048, 1))
      << "longer products are refused, so they need no scratch";
}

}  // namespace
}  // namespace nmp
