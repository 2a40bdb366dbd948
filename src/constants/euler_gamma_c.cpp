#include "constants/euler_gamma_c.h"

#include <array>
#include <cmath>

#include "arith/hash61.h"

namespace numforge::Formulas {
namespace {

using nmp::BasicInt;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::BinarySplitting::Term;

/// x *= (2j - 1)^3.
void multiply_by_cube(BasicInt& x, std::uint64_t j) {
  for (int i = 0; i < 3; ++i) x.mul_u64(2 * j - 1);
}
/// x = 32 n^2 j.
void set_denominator(BasicInt& x, unsigned k, std::uint64_t j) {
  x.set_u64(j);
  x.mul_u64(std::uint64_t{1} << (k + 5));
  x.mul_u64(std::uint64_t{1} << k);
}

void EulerGamma_BMR_seriesC_BSR_End1(Term& term, unsigned k, std::uint64_t j) {
  for (BasicInt* x : {&term.P, &term.R}) {
    x->set_u64(1);
    multiply_by_cube(*x, j);
  }
  set_denominator(term.Q, k, j);
}

/// P(j) Q(j+1) + R(j) P(j+1) = R(j) (Q(j+1) + P(j+1)).
void EulerGamma_BMR_seriesC_BSR_End2(Term& term, unsigned k, std::uint64_t j) {
  std::array<nmp::Word, 16> words;
  BasicInt denominator(words.data(), 16);
  set_denominator(denominator, k, j + 1);
  term.R.set_u64(1);
  multiply_by_cube(term.R, j + 1);
  term.P.set_BasicInt(denominator);
  term.P += term.R;
  multiply_by_cube(term.P, j);
  multiply_by_cube(term.R, j);
  set_denominator(term.Q, k, j);
  term.Q.mul_u64(j + 1);
  term.Q.mul_u64(std::uint64_t{1} << (k + 5));
  term.Q.mul_u64(std::uint64_t{1} << k);
}

}  // namespace

EulerGammaSeriesC::EulerGammaSeriesC(unsigned k, std::uint64_t count, std::size_t target) : k_(k) {
  terms = count;
  expansion_factor = range_bits(0, terms).Q / (static_cast<double>(target) * nmp::kWordBits);
}

RangeBits EulerGammaSeriesC::range_bits(std::uint64_t a, std::uint64_t b) const {
  using nmp::BinarySplitting::log2_product;
  const auto count = static_cast<double>(b - a);
  const double q = log2_product(1, 0, a, b) + count * (2 * k_ + 5);
  // The first term is below (j/2n)^2, j = a + 1, and the others no larger.
  const double first = 2 * (std::log2(static_cast<double>(a + 1)) - k_ - 1);
  return {q + first + std::log2(count) + 2, q, 3 * log2_product(2, -1, a, b)};
}

void EulerGammaSeriesC::end_case_1(std::uint64_t j, Term& term) const {
  EulerGamma_BMR_seriesC_BSR_End1(term, k_, j);
}
void EulerGammaSeriesC::end_case_2(std::uint64_t j, Term& term) const {
  EulerGamma_BMR_seriesC_BSR_End2(term, k_, j);
}

Residues EulerGammaSeriesC::residues(std::uint64_t j) const {
  using namespace nmp::hash61;
  const std::uint64_t cube = multiply(2 * j - 1, multiply(2 * j - 1, 2 * j - 1));
  return {cube, multiply(j, power(2, 2 * k_ + 5)), cube};
}

std::uint64_t EulerGammaSeriesC::count_for(unsigned k, double nats) {
  const double n = std::ldexp(1.0, static_cast<int>(k));
  // -ln of term K is at least this, by Stirling's formula; it grows up to K = 2n.
  const auto gained = [&](std::uint64_t count) {
    const auto x = static_cast<double>(count);
    return 2 * x * (1 - std::log(x / (2 * n)));
  };
  std::uint64_t low = 0, high = std::uint64_t{2} << k;
  while (high - low > 1) {
    const std::uint64_t middle = low + (high - low) / 2;
    (gained(middle) < nats ? low : high) = middle;
  }
  return high;
}

}  // namespace numforge::Formulas
