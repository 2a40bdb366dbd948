// 1/pi = 4 (P + 1103 Q) / (9801 Q) / sqrt(2) with
//   R(k) = (4k-3)(2k-1)(4k-1)     Q(k) = 396^4/8 k^3        P(k) = (1103 + 26390 k) R(k)
// Source: S. Ramanujan, Modular equations and approximations to pi, 1914 [Ramanujan1914].
#include <cmath>
#include <numbers>

#include "arith/hash61.h"
#include "constants/pi_formula.h"
#include "constants/pi_series.h"
#include "constants/series_length.h"

namespace numforge::Formulas {
namespace {

using nmp::BasicInt;
using nmp::BinarySplitting::CommonFactors;
using nmp::BinarySplitting::CubicTerms;
using nmp::BinarySplitting::Leaf;
using nmp::BinarySplitting::log2_product;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::BinarySplitting::Series;
using nmp::BinarySplitting::Term;

constexpr std::uint64_t kA = 1103, kB = 26390;
constexpr std::uint64_t kC = 3073907232;  // 396^4 / 8 = 32 * 99^4
/// ln 96059301 nats per term: a little below the true rate ln 99^4, so a few terms too many.
constexpr double kRate = 18.38047627747241588639166145022043732094;

void Pi_Ramanujan_BSR_End_R1(BasicInt& R, std::uint64_t k) {
  R.set_u64(4 * k - 3);
  R.mul_u64(2 * k - 1);
  R.mul_u64(4 * k - 1);
}
void Pi_Ramanujan_BSR_End_Q1(BasicInt& Q, std::uint64_t k) {
  Q.set_u64(kC);
  for (int i = 0; i < 3; ++i) Q.mul_u64(k);
}
void Pi_Ramanujan_BSR_End_P1(BasicInt& P, std::uint64_t k) {
  Pi_Ramanujan_BSR_End_R1(P, k);
  P.mul_u64(kA + kB * k);
}
// Terms k and k + 1 together.
void Pi_Ramanujan_BSR_End_Q2(BasicInt& Q, std::uint64_t k) {
  Pi_Ramanujan_BSR_End_Q1(Q, k);
  Q.mul_u64(kC);
  for (int i = 0; i < 3; ++i) Q.mul_u64(k + 1);
}
void Pi_Ramanujan_BSR_End_R2(BasicInt& R, std::uint64_t k) {
  Pi_Ramanujan_BSR_End_R1(R, k);
  R.mul_u64(4 * k + 1);
  R.mul_u64(2 * k + 1);
  R.mul_u64(4 * k + 3);
}
/// P2 = R(k) (a(k) Q(k+1) + a(k+1) R(k+1)).
void Pi_Ramanujan_BSR_End_P2(BasicInt& P, std::uint64_t k) {
  nmp::Word words[16];
  BasicInt next(words, 16);
  Pi_Ramanujan_BSR_End_Q1(P, k + 1);
  P.mul_u64(kA + kB * k);
  Pi_Ramanujan_BSR_End_P1(next, k + 1);
  P += next;
  P.mul_u64(4 * k - 3);
  P.mul_u64(2 * k - 1);
  P.mul_u64(4 * k - 1);
}

constexpr CubicTerms kTerms = {{{{4, 3}, {2, 1}, {4, 1}}}, kC, kA, kB, false};

class SeriesPiRamanujan : public Series {
 public:
  explicit SeriesPiRamanujan(std::size_t p) {
    terms = linear_series_terms(kRate, p);
    coefP = 2;
    coefQ = 2 * kA;
    coefD = 9801;
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(p) * 32);
  }

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double n = static_cast<double>(b - a), cubes = 3 * log2_product(1, 0, a, b);
    const double q = cubes + n * std::log2(static_cast<double>(kC));
    // R(k) < 32 k^3; the sum is below twice the bound of its first term.
    const double first = 32.0 / static_cast<double>(kC) * static_cast<double>(kA + kB * (a + 1));
    return {q + std::log2(first) + 1, q, cubes + n * std::log2(32.0)};
  }
  void end_case_1(std::uint64_t k, Term& term) const override {
    Pi_Ramanujan_BSR_End_P1(term.P, k);
    Pi_Ramanujan_BSR_End_Q1(term.Q, k);
    Pi_Ramanujan_BSR_End_R1(term.R, k);
  }
  void end_case_2(std::uint64_t k, Term& term) const override {
    Pi_Ramanujan_BSR_End_P2(term.P, k);
    Pi_Ramanujan_BSR_End_Q2(term.Q, k);
    Pi_Ramanujan_BSR_End_R2(term.R, k);
  }
  double gained_bits(std::uint64_t a) const override {
    return nmp::BinarySplitting::linear_gain(kRate / std::numbers::ln2, a);
  }
  const CommonFactors* factors() const override { return &factors_; }
  std::uint64_t leaf_terms(bool drops) const override { return drops ? Leaf::kMostTerms : 0; }
  void leaf(std::uint64_t a, std::uint64_t b, bool, Leaf& leaf) const override {
    cubic_leaf(kTerms, factors_, a, b, leaf);
  }
  Residues residues(std::uint64_t k) const override {
    using namespace nmp::hash61;
    const std::uint64_t r = multiply(multiply(4 * k - 3, 2 * k - 1), 4 * k - 1);
    const std::uint64_t q = multiply(multiply(kC, k), multiply(k, k));
    return {multiply(kA + kB * k, r), q, r};
  }

 private:
  CommonFactors factors_{kTerms.forms};
};

}  // namespace

std::unique_ptr<Formula> make_pi_ramanujan(bool reduced) {
  return std::make_unique<PiFormula<SeriesPiRamanujan, 2>>(reduced);
}

}  // namespace numforge::Formulas
