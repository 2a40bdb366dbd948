#include "series/polynomial_series.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "arith/hash61.h"
#include "foundation/exceptions.h"

namespace nmp::BinarySplitting {
namespace {

/// Ranges up to this length are bounded by their last term: cheaper, and hardly larger.
constexpr std::uint64_t kShortRange = 64;

double value(const FormProduct& product, std::uint64_t k) {
  double x = static_cast<double>(product.constant);
  for (const LinearForm& form : product.forms())
    for (unsigned i = 0; i < form.exponent; ++i)
      x *= static_cast<double>(form.alpha) * static_cast<double>(k) - form.beta;
  return x;
}

/// P(k), which is positive, from above.
double bound(const PolynomialTerms& shape, std::uint64_t k) {
  double x = 0;
  for (std::size_t i = shape.P.size(); i-- != 0;)
    x = x * static_cast<double>(k) + static_cast<double>(shape.P[i]);
  return x;
}

/// log2 of the product over k = a+1..b.
double log2_range(const FormProduct& product, std::uint64_t a, std::uint64_t b) {
  const double n = static_cast<double>(b - a);
  if (b - a <= kShortRange) return n * std::log2(value(product, b));
  double bits = n * std::log2(static_cast<double>(product.constant));
  for (const LinearForm& form : product.forms()) {
    bits += form.exponent * log2_product(form.alpha, -static_cast<double>(form.beta), a, b);
  }
  return bits;
}

struct Leading {
  double log2_coefficient;
  unsigned degree;
};
Leading leading(const FormProduct& product) {
  Leading lead{std::log2(static_cast<double>(product.constant)), 0};
  for (const LinearForm& form : product.forms()) {
    lead.log2_coefficient += form.exponent * std::log2(static_cast<double>(form.alpha));
    lead.degree += form.exponent;
  }
  return lead;
}

std::uint64_t residue(const FormProduct& product, std::uint64_t k) {
  std::uint64_t r = hash61::fold(product.constant);
  for (const LinearForm& form : product.forms())
    for (unsigned i = 0; i < form.exponent; ++i) r = hash61::multiply(r, hash61::fold(form.at(k)));
  return product.negative ? hash61::negate(r) : r;
}

}  // namespace

double bits_per_term(const PolynomialTerms& shape) {
  const Leading q = leading(shape.Q), r = leading(shape.R);
  if (q.degree != r.degree || q.log2_coefficient <= r.log2_coefficient)
    throw InvalidParametersException("bits_per_term()", "The series does not converge linearly.");
  return q.log2_coefficient - r.log2_coefficient;
}

PolynomialSeries::PolynomialSeries(const PolynomialTerms& shape, std::uint64_t n,
                                   std::uint64_t least_reduced)
    : shape_(shape), bits_per_term_(bits_per_term(shape)) {
  terms = n;
  // P has about as many bits as Q, R fewer: the first terms, where it may have more, are short.
  const double bits = std::log2(value(shape.Q, n) + bound(shape, n)) + 1;
  constexpr double kMostBits = 64 * Leaf::kMostLimbs;
  leaf_terms_ = static_cast<std::uint64_t>(
      std::clamp(kMostBits / bits, 1.0, static_cast<double>(Leaf::kMostTerms)));
  leaf_terms_ = std::bit_floor(leaf_terms_);  // as CommonFactors::aligned_cut halves ranges
  if (terms >= least_reduced) factors_ = std::make_unique<CommonFactors>(shape.Q, shape.R);
}

RangeBits PolynomialSeries::range_bits(std::uint64_t a, std::uint64_t b) const {
  const double q = log2_range(shape_.Q, a, b), r = log2_range(shape_.R, a, b);
  // The terms at least halve, so that |P/Q| is at most twice the first one.
  double first = bound(shape_, a + 1) / value(shape_.Q, a + 1);
  if (shape_.P_has_R) first *= value(shape_.R, a + 1);
  return {q + std::log2(first) + 2, q + 1, r + 1};
}

double PolynomialSeries::gained_bits(std::uint64_t a) const {
  return linear_gain(bits_per_term_, a);
}

void PolynomialSeries::leaf(std::uint64_t a, std::uint64_t b, bool drops, Leaf& leaf) const {
  polynomial_leaf(shape_, drops ? factors_.get() : nullptr, a, b, leaf);
}

Residues PolynomialSeries::residues(std::uint64_t k) const {
  std::uint64_t p = 0;
  for (std::size_t i = shape_.P.size(); i-- != 0;) {
    const std::int64_t c = shape_.P[i];
    const std::uint64_t magnitude =
        hash61::fold(c < 0 ? 0 - static_cast<std::uint64_t>(c) : static_cast<std::uint64_t>(c));
    p = hash61::add(hash61::multiply(p, k), c < 0 ? hash61::negate(magnitude) : magnitude);
  }
  const std::uint64_t r = residue(shape_.R, k);
  return {shape_.P_has_R ? hash61::multiply(p, r) : p, residue(shape_.Q, k), r};
}

}  // namespace nmp::BinarySplitting
