// Each table against its terms multiplied out, one by one.
#include "constants/quotient_series.h"

#include <gtest/gtest.h>

#include <cmath>

#include "arith/hash61.h"
#include "series/polynomial_series.h"
#include "support/random.h"
#include "support/reference.h"

namespace numforge::Formulas {
namespace {

using nmp::Word;
using nmp::BinarySplitting::FormProduct;
using nmp::BinarySplitting::Leaf;
using nmp::BinarySplitting::PolynomialSeries;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::test::Number;

const QuotientTerms* const kAll[] = {zeta3_terms("wedeniwski"),
                                     zeta3_terms("az"),
                                     catalan_terms("pilehrood-short"),
                                     catalan_terms("guillera2019"),
                                     catalan_terms("guillera2008"),
                                     catalan_terms("pilehrood-long"),
                                     catalan_terms("lupas")};

Number small(std::int64_t x) {
  const std::uint64_t u = x < 0 ? 0 - static_cast<std::uint64_t>(x) : static_cast<std::uint64_t>(x);
  return nmp::test::number(x < 0, {static_cast<Word>(u), static_cast<Word>(u >> 32)}, 0);
}
Number value(const FormProduct& product, std::uint64_t k) {
  Number x = small(static_cast<std::int64_t>(product.constant));
  for (const auto& form : product.forms())
    for (unsigned i = 0; i < form.exponent; ++i)
      x = multiply(x, small(static_cast<std::int64_t>(form.alpha * k) - form.beta));
  return product.negative ? nmp::test::negated(x) : x;
}
struct Sum {
  Number P, Q = small(1), R = small(1);
};
Sum sum_of(const QuotientTerms& shape, std::uint64_t a, std::uint64_t b) {
  Sum sum;
  for (std::uint64_t k = a + 1; k <= b; ++k) {
    Number p;
    for (std::size_t i = shape.terms.P.size(); i-- != 0;)
      p = add(multiply(p, small(static_cast<std::int64_t>(k))), small(shape.terms.P[i]));
    const Number q = value(shape.terms.Q, k);
    sum.P = add(multiply(sum.P, q), multiply(sum.R, p));
    sum.Q = multiply(sum.Q, q);
    sum.R = multiply(sum.R, value(shape.terms.R, k));
  }
  return sum;
}
double bits(const Number& x) {
  return 32 * static_cast<double>(x.words.size() + static_cast<std::size_t>(x.exp)) -
         std::countl_zero(x.words.back());
}
std::uint64_t residue(const Number& x) {
  const std::uint64_t h = nmp::hash61::multiply(
      nmp::hash61::of_words(x.words.data(), x.words.size()), nmp::hash61::word_weight(x.exp));
  return x.negative ? nmp::hash61::negate(h) : h;
}
Number number_of(const Leaf::Number& x, bool positive) {
  nmp::test::Natural words;
  for (std::size_t i = 0; i < x.length; ++i)
    for (const std::uint64_t half : {x.limbs[i], x.limbs[i] >> 32})
      words.push_back(static_cast<Word>(half));
  return nmp::test::number(!positive, words, 0);
}
/// log2 of the product over k = 1..n, summed term by term.
double log2_of(const FormProduct& product, std::uint64_t n) {
  long double sum = static_cast<long double>(n) * std::log2((long double)product.constant);
  for (std::uint64_t k = 1; k <= n; ++k)
    for (const auto& form : product.forms())
      sum += form.exponent * std::log2(static_cast<long double>(form.alpha * k - form.beta));
  return static_cast<double>(sum);
}

class QuotientSeriesTest : public nmp::test::RandomTest {};

TEST_F(QuotientSeriesTest, LeavesResiduesAndBoundsAreThoseOfTheTerms) {
  for (const QuotientTerms* shape : kAll) {
    for (std::size_t rep = 0; rep < nmp::test::reps(30); ++rep) {
      const std::uint64_t a = rep < 10 ? rep : rng_.size(std::size_t{1} << (rep % 3 ? 16 : 36)) - 1;
      PolynomialSeries series(shape->terms, a + 300);
      ASSERT_GE(series.leaf_terms(false), 8u);
      const std::uint64_t b = a + 1 + rng_.below(rep % 2 ? 150 : series.leaf_terms(false));
      SCOPED_TRACE("P(0) = " + std::to_string(shape->terms.P[0]) + ", " + std::to_string(a) +
                   " to " + std::to_string(b));
      const Sum sum = sum_of(*shape, a, b);
      const RangeBits bound = series.range_bits(a, b);
      const double slack = 16 + 0.05 * bits(sum.Q) / static_cast<double>(a + 1);
      for (const auto& [x, most] :
           {std::pair(&sum.P, bound.P), {&sum.Q, bound.Q}, {&sum.R, bound.R}}) {
        ASSERT_LE(bits(*x), most);
        if (b - a > 64) {
          ASSERT_GE(bits(*x) + slack, most);
        }
      }
      Residues expected{0, 1, 1};
      for (std::uint64_t k = a + 1; k <= b; ++k) {
        using namespace nmp::hash61;
        const Residues term = series.residues(k);
        expected = {add(multiply(expected.P, term.Q), multiply(expected.R, term.P)),
                    multiply(expected.Q, term.Q), multiply(expected.R, term.R)};
      }
      ASSERT_EQ(residue(sum.P), expected.P);
      ASSERT_EQ(residue(sum.Q), expected.Q);
      ASSERT_EQ(residue(sum.R), expected.R);
      if (b - a > series.leaf_terms(false)) continue;
      Leaf leaf;
      series.leaf(a, b, false, leaf);
      ASSERT_EQ(number_of(leaf.P, leaf.P_positive), sum.P);
      ASSERT_EQ(number_of(leaf.Q, true), sum.Q);
      ASSERT_EQ(number_of(leaf.R, leaf.R_positive), sum.R);
    }
  }
}

TEST_F(QuotientSeriesTest, WhatIsLeftOutIsBelowTheLastPlace) {
  for (const QuotientTerms* shape : kAll) {
    for (const std::size_t p : {1u, 2u, 10u, 500u}) {
      const std::uint64_t n = quotient_series_terms(*shape, p);
      const Sum next = sum_of(*shape, n, n + 1);
      const double term =
          bits(next.P) - bits(next.Q) + 1 + log2_of(shape->terms.R, n) - log2_of(shape->terms.Q, n);
      // The value is above 1/2 and the rest of the series at most twice its first term.
      EXPECT_LT(term + 2, -32.0 * static_cast<double>(p + 1)) << n << " terms";
    }
  }
}

}  // namespace
}  // namespace numforge::Formulas
