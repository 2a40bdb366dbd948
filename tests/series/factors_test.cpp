// Common factors against a walk over the terms that pairs every factor of R with one of Q.
#include "series/factors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "arith/hash61.h"
#include "series/polynomial_samples.h"
#include "support/random.h"
#include "support/reference.h"

namespace nmp::BinarySplitting {
namespace {

using namespace test_samples;

constexpr const PolynomialTerms* kShapes[] = {&kSixths, &kQuarters, &kTwelfths, &kEighths,
                                              &kOddNumbers};
constexpr std::uint64_t kBlock = CommonFactors::kMostTerms;

/// Factors p of the product at k that q has a part in.
unsigned factors_of(const FormProduct& product, std::uint64_t q, std::uint64_t k) {
  unsigned count = 0;
  for (const LinearForm& form : product.forms())
    if (form.at(k) % q == 0) count += form.exponent;
  return count;
}

/// Exponents of the odd primes that pair across m in (a, b], by trial division. Across any cut
/// where m is 0.
std::map<std::uint64_t, unsigned> paired(const PolynomialTerms& terms, std::uint64_t a,
                                         std::uint64_t m, std::uint64_t b) {
  std::map<std::uint64_t, unsigned> exponents;
  const std::uint64_t most = 8 * (b - a);
  for (std::uint64_t p = 3; p <= most; p += 2) {
    bool prime = true;
    for (std::uint64_t d = 3; d * d <= p && prime; d += 2) prime = p % d != 0;
    if (!prime) continue;
    for (std::uint64_t q = p; q <= most; q *= p) {
      std::vector<std::uint64_t> open;
      for (std::uint64_t k = a + 1; k <= b; ++k) {
        for (unsigned close = factors_of(terms.Q, q, k); close != 0 && !open.empty(); --close) {
          if (m == 0 || (open.back() <= m && k > m)) ++exponents[p];
          open.pop_back();
        }
        open.insert(open.end(), factors_of(terms.R, q, k), k);
      }
    }
  }
  return exponents;
}

class FactorsTest : public test::RandomTest {};

TEST_F(FactorsTest, CommonFactorsAreThePairsAcrossTheCut) {
  for (const PolynomialTerms* shape : kShapes) {
    const PolynomialTerms& terms = *shape;
    const CommonFactors factors(terms.Q, terms.R);
    for (std::size_t rep = 0; rep < test::reps(60); ++rep) {
      const std::uint64_t a = rep % 3 == 0 ? rng_.below(40) : rng_.below(std::uint64_t{1} << 40);
      const std::uint64_t most = rep % 20 == 0 ? kBlock / 2 : 110;
      const std::uint64_t m = a + rng_.size(most), b = m + rng_.size(most);
      test::Natural expected{1};
      for (const auto& [p, e] : paired(terms, a, m, b))
        for (unsigned i = 0; i < e; ++i)
          expected = test::multiply(expected, {static_cast<std::uint32_t>(p)});
      const FactorList list = factors.common(a, m, b);
      Word words[2 * FactorList::kMost];
      const std::size_t length = list.expand(words);
      ASSERT_EQ(test::natural(words, length), expected) << a << " " << m << " " << b;
      ASSERT_EQ(list.hash(), hash61::of_words(words, length));
    }
  }
}

TEST_F(FactorsTest, TheBoundStaysCloselyBelowWhatIsDropped) {
  for (const PolynomialTerms* shape : kShapes) {
    const PolynomialTerms& terms = *shape;
    const CommonFactors factors(terms.Q, terms.R);
    EXPECT_EQ(factors.least_dropped_bits(1, 2 * kBlock - 1), 0) << "no whole block";
    double bound = 0, bits = 0;
    for (std::size_t rep = 0; rep < test::reps(4); ++rep) {
      const std::uint64_t a = rep == 0 ? 0 : rng_.below(std::uint64_t{1} << 30) * kBlock;
      double block = 0;
      for (const auto& [p, e] : paired(terms, a, 0, a + kBlock))
        block += e * std::log2(static_cast<double>(p));
      const double least = factors.least_dropped_bits(a, a + kBlock);
      EXPECT_LE(least, block + 1e-3) << a;
      bound += least;
      bits += block;
    }
    EXPECT_GT(bound, 0.85 * bits);
  }
}

TEST_F(FactorsTest, AFullListTakesNoMore) {
  FactorList list;
  for (std::size_t i = 0; i < FactorList::kMost; ++i) ASSERT_TRUE(list.append(~std::uint64_t{0}));
  const std::uint64_t hash = list.hash();
  EXPECT_FALSE(list.append(~std::uint64_t{0}));
  EXPECT_EQ(list.hash(), hash);
  Word words[2 * FactorList::kMost];
  EXPECT_EQ(list.expand(words), std::size(words));
}

TEST_F(FactorsTest, CutsLeaveWholeBlocks) {
  for (std::size_t rep = 0; rep < test::reps(2000); ++rep) {
    const std::uint64_t a = rng_.below(50) * kBlock, b = a + 1 + rng_.size(20000);
    const std::uint64_t near = a + rng_.below(b - a);
    const std::uint64_t m = CommonFactors::aligned_cut(a, near, b);
    ASSERT_TRUE(a < m && m < b) << a << " " << near << " " << b;
    if (b - a > kBlock) {
      ASSERT_EQ(m % kBlock, 0u);
    } else {
      ASSERT_TRUE(b - m <= m - a && 2 * (m - a) >= b - a);
    }
  }
}

}  // namespace
}  // namespace nmp::BinarySplitting
