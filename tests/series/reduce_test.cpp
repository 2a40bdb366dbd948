// Leaves, exact division, and whole sums that drop common factors against sums that do not.
#include <gtest/gtest.h>

#include "arith/hash61.h"
#include "foundation/exceptions.h"
#include "series/exact_division.h"
#include "series/polynomial_samples.h"
#include "series/polynomial_series.h"
#include "series/reduce.h"
#include "series/sum_test.h"

namespace nmp::BinarySplitting {
namespace {

using test::Natural;
using test::Number;
using test_samples::kQuarters;
using test_samples::kSixths;

constexpr const PolynomialTerms* kShapes[] = {&kSixths, &kQuarters, &test_samples::kTwelfths,
                                              &test_samples::kEighths};

Number value(const FormProduct& product, std::uint64_t k) {
  Number x = small(product.constant);
  for (const LinearForm& form : product.forms())
    for (unsigned i = 0; i < form.exponent; ++i) x = multiply(x, small(form.alpha * k - form.beta));
  return product.negative ? test::negated(x) : x;
}
Number number_of(const Leaf::Number& x, bool positive) {
  Natural words;
  for (std::size_t i = 0; i < x.length; ++i)
    for (const std::uint64_t half : {x.limbs[i], x.limbs[i] >> 32})
      words.push_back(static_cast<Word>(half));
  return test::number(!positive, words, 0);
}
std::uint64_t residue(const Number& x) {
  std::uint64_t h = hash61::of_words(x.words.data(), x.words.size());
  h = hash61::multiply(h, hash61::word_weight(x.exp));
  return x.negative ? hash61::negate(h) : h;
}

/// Drops common factors, or does not, however few its terms are.
class Sample : public PolynomialSeries {
 public:
  Sample(const PolynomialTerms& shape, std::uint64_t n, bool drops = true)
      : PolynomialSeries(shape, n, drops ? 0 : ~std::uint64_t{0}) {
    coefQ = 3;
  }
  void leaf(std::uint64_t a, std::uint64_t b, bool drops, Leaf& leaf) const override {
    PolynomialSeries::leaf(a, b, drops, leaf);
    if (a < broken_term && broken_term <= b) leaf.Q.limbs[0] ^= 4;
  }
  std::uint64_t broken_term = 0;
};

class ReduceTest : public SumTest {};

TEST_F(ReduceTest, DivisionUndoesMultiplication) {
  for (std::size_t rep = 0; rep < test::reps(3000); ++rep) {
    Natural d = rng_.words(rng_.size(60));
    d[0] |= 1;
    const Natural q = rng_.words(rng_.size(200));
    Natural x = test::multiply(q, d);
    const std::size_t n = x.size();
    x.push_back(0xABCDEF01);
    divide_exact(x.data(), n, d.data(), d.size());
    ASSERT_EQ(x.back(), 0xABCDEF01u) << "written past the end";
    ASSERT_EQ(test::natural(x.data(), n - d.size() + 1), q) << q.size() << " by " << d.size();
  }
}

TEST_F(ReduceTest, LeavesAreTheSumsOfTheirTerms) {
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const PolynomialTerms& terms = *kShapes[rep % 4];
    const CommonFactors factors(terms.Q, terms.R);
    const std::uint64_t a = rng_.size(std::size_t{1} << (rep % 3 ? 20 : 31)) - 1;
    const std::uint64_t b = a + 1 + rng_.below(Leaf::kMostTerms);
    Number P, Q = small(1), R = Q;
    for (std::uint64_t k = a + 1; k <= b; ++k) {
      const Number q = value(terms.Q, k), r = value(terms.R, k);
      Number p;
      for (std::size_t i = terms.P.size(); i-- != 0;) {
        const std::int64_t c = terms.P[i];
        const Number term = small(static_cast<std::uint64_t>(c < 0 ? -c : c));
        p = add(multiply(p, small(k)), c < 0 ? test::negated(term) : term);
      }
      if (terms.P_has_R) p = multiply(p, r);
      P = add(multiply(P, q), multiply(R, p));
      Q = multiply(Q, q);
      R = multiply(R, r);
    }
    Leaf leaf;
    polynomial_leaf(terms, &factors, a, b, leaf);
    const Number p = number_of(leaf.P, leaf.P_positive), r = number_of(leaf.R, leaf.R_positive),
                 q = number_of(leaf.Q, true);
    ASSERT_EQ(multiply(p, Q), multiply(P, q)) << a << " to " << b;
    ASSERT_EQ(multiply(r, Q), multiply(R, q)) << a << " to " << b;
    ASSERT_EQ(hash61::multiply(residue(q), leaf.dropped), residue(Q)) << a << " to " << b;
    if (b - a == Leaf::kMostTerms && a >= 100) {
      ASSERT_LT(q.words.size(), Q.words.size()) << "nothing was dropped";
    }
  }
}

TEST_F(ReduceTest, SumsKeepTheirRatioInFewerWords) {
  for (const PolynomialTerms& terms : {kSixths, kQuarters}) {
    for (const std::uint64_t n : {1u, 16u, 17u, 300u, 512u, 513u, 1100u, 2500u}) {
      const Fraction reduced = sum(Sample(terms, n), 9000),
                     plain = sum(Sample(terms, n, false), 9000);
      ASSERT_EQ(multiply(reduced.numerator, plain.denominator),
                multiply(plain.numerator, reduced.denominator))
          << n;
      if (n < 2500) continue;
      EXPECT_LT(reduced.denominator.words.size() * 6, plain.denominator.words.size() * 5);
    }
  }
}

TEST_F(ReduceTest, TruncatedSumsKeepTheirPrecision) {
  Sample series(kSixths, 5000);
  const Fraction exact = sum(series, 20000);
  // The shortest of these are too short for whole blocks and drop nothing.
  for (const std::size_t target : {300u, 1000u, 1700u, 2500u, 6000u}) {
    expect_close(sum(series, target), exact, target);
  }
}

TEST_F(ReduceTest, ModularCheckCatchesFaults) {
  for (const std::uint64_t broken : {1u, 700u, 1500u}) {
    Sample series(kSixths, 1500);
    series.broken_term = broken;
    EXPECT_THROW(sum(series, 9000), BSRModularCheckFailedException) << "term " << broken;
  }
  // Factors of another series: they do not divide these products.
  class Wrong : public Sample {
   public:
    Wrong() : Sample(kSixths, 600), others_(kQuarters.Q, kQuarters.R) {}
    const CommonFactors* factors() const override { return &others_; }

   private:
    CommonFactors others_;
  };
  EXPECT_THROW(sum(Wrong(), 9000), BSRModularCheckFailedException);
  // A number that was damaged between two merges.
  Sample series(kSixths, 64);
  Leaf leaf;
  CommonP2B3::Range ranges[2];
  std::vector<Word> words(6 * 200);
  for (std::size_t i = 0; i < 2; ++i) {
    Word* at = words.data() + i * 600;
    for (ExactFloat* x : {&ranges[i].P, &ranges[i].Q, &ranges[i].R}) {
      *x = ExactFloat(at, 200);
      at += 200;
    }
    series.leaf(1000 + 16 * i, 1016 + 16 * i, true, leaf);
    CommonP2B3::set_leaf(ranges[i], leaf);
  }
  ranges[1].Q.T[5] ^= 0x100;
  EXPECT_THROW(CommonP2B3::drop_common(*series.factors(), ranges[0], ranges[1], 1000, 1016, 1032),
               BSRModularCheckFailedException);
}

}  // namespace
}  // namespace nmp::BinarySplitting
