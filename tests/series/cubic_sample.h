// A series of the shape that drops common factors, for tests.
#pragma once

#include <cmath>

#include "arith/hash61.h"
#include "series/series.h"

namespace nmp::BinarySplitting::test_samples {

inline constexpr PolynomialTerms kSixths = {
    {10'000'019, {{{1, 0, 3}}}}, {1, {{{6, 5}, {2, 1}, {6, 1}}}, true}, {17, 29}, true};
inline constexpr PolynomialTerms kQuarters = {
    {3'073'907'232, {{{1, 0, 3}}}}, {1, {{{4, 3}, {2, 1}, {4, 1}}}}, {1103, 26390}, true};
/// Many forms on either side; R has more factors 3 than Q.
inline constexpr PolynomialTerms kTwelfths = {{24, {{{3, 2}, {3, 1}, {4, 3, 3}, {4, 1, 3}}}},
                                              {1, {{{1, 0, 5}, {2, 1, 3}}}, true},
                                              {-432, 7128, -46039, 144666, -219252, 126392}};
/// Q has factors that no R before them has.
inline constexpr PolynomialTerms kEighths = {
    {1, {{{8, 7, 2}, {8, 5, 2}, {8, 3}, {8, 1}}}}, {32, {{{1, 0, 3}, {2, 1}}}}, {1, 0, 1}};

/// |R(k)|.
inline std::uint64_t r_of(const PolynomialTerms& t, std::uint64_t k) {
  std::uint64_t r = 1;
  for (const LinearForm& form : t.R.forms()) r *= form.alpha * k - form.beta;
  return r;
}

class CubicSample : public Series {
 public:
  CubicSample(const PolynomialTerms& t, std::uint64_t n) : shape(t), common_(t.Q, t.R) {
    terms = n;
    coefQ = 3;
  }
  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double n = static_cast<double>(b - a), cubes = 3 * log2_product(1, 0, a, b);
    const double q = cubes + n * std::log2(static_cast<double>(shape.Q.constant));
    const double first = static_cast<double>(linear(a + 1));
    return {q + std::log2(first), q, cubes + n * std::log2(72.0)};
  }
  void end_case_1(std::uint64_t k, Term& t) const override {
    t.R.set_u64(r_of(shape, k));
    t.P.set_BasicInt(t.R);
    t.P.mul_u64(linear(k));
    t.Q.set_u64(shape.Q.constant);
    for (int i = 0; i < 3; ++i) t.Q.mul_u64(k);
    t.P_positive = t.R_positive = !shape.R.negative;
  }
  /// P(k) Q(k+1) + R(k) P(k+1), R(k) taken out.
  void end_case_2(std::uint64_t k, Term& t) const override {
    Term next;
    end_case_1(k + 1, next);
    t.P.set_BasicInt(next.Q);
    t.P.mul_u64(linear(k));
    shape.R.negative ? t.P -= next.P : t.P += next.P;
    t.P.mul_u64(r_of(shape, k));
    t.R.set_BasicInt(next.R);
    t.R.mul_u64(r_of(shape, k));
    t.Q.set_BasicInt(next.Q);
    t.Q.mul_u64(shape.Q.constant);
    for (int i = 0; i < 3; ++i) t.Q.mul_u64(k);
    t.P_positive = !shape.R.negative;
    t.R_positive = true;
  }
  Residues residues(std::uint64_t k) const override {
    std::uint64_t r = hash61::fold(r_of(shape, k));
    if (shape.R.negative) r = hash61::negate(r);
    const std::uint64_t q =
        hash61::multiply(hash61::multiply(shape.Q.constant, k), hash61::multiply(k, k));
    return {hash61::multiply(linear(k), r), q, r};
  }
  const CommonFactors* factors() const override { return drops ? &common_ : nullptr; }
  std::uint64_t leaf_terms(bool drops) const override { return drops ? Leaf::kMostTerms : 0; }
  void leaf(std::uint64_t a, std::uint64_t b, bool, Leaf& leaf) const override {
    polynomial_leaf(shape, &common_, a, b, leaf);
    if (a < broken_term && broken_term <= b) leaf.Q.limbs[0] ^= 4;
  }

  PolynomialTerms shape;
  bool drops = true;
  std::uint64_t broken_term = 0;

 private:
  std::uint64_t linear(std::uint64_t k) const {
    return static_cast<std::uint64_t>(shape.P[0] + shape.P[1] * static_cast<std::int64_t>(k));
  }
  CommonFactors common_;
};

}  // namespace nmp::BinarySplitting::test_samples
