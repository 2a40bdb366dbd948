// 1/pi = (P + 13591409 Q) / (426880 Q) / sqrt(10005) with
//   R(k) = -(6k-5)(2k-1)(6k-1)    Q(k) = 640320^3/24 k^3    P(k) = (13591409 + 545140134 k) R(k)
// Source: D. V. and G. V. Chudnovsky, Approximations and complex multiplication according to
// Ramanujan, 1988 [Chudnovsky1988].
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

constexpr std::uint64_t kA = 13591409, kB = 545140134;
constexpr std::uint64_t kC = 10939058860032000;  // 640320^3 / 24
constexpr double kRate = 32.65445004177154;      // ln(640320^3 / 1728) nats per term

// One term. P and R are negative; these are their magnitudes.
void Pi_Chudnovsky_BSR_End_R1(BasicInt& R, std::uint64_t k) {
  R.set_u64(6 * k - 5);
  R.mul_u64(2 * k - 1);
  R.mul_u64(6 * k - 1);
}
void Pi_Chudnovsky_BSR_End_Q1(BasicInt& Q, std::uint64_t k) {
  Q.set_u64(kC);
  for (int i = 0; i < 3; ++i) Q.mul_u64(k);
}
void Pi_Chudnovsky_BSR_End_P1(BasicInt& P, std::uint64_t k) {
  Pi_Chudnovsky_BSR_End_R1(P, k);
  P.mul_u64(kA + kB * k);
}

// Terms k and k + 1 together.
void Pi_Chudnovsky_BSR_End_Q2(BasicInt& Q, std::uint64_t k) {
  Pi_Chudnovsky_BSR_End_Q1(Q, k);
  Q.mul_u64(kC);
  for (int i = 0; i < 3; ++i) Q.mul_u64(k + 1);
}
/// R2 = R(k) R(k+1), positive, and |P2| = |R(k)| (a(k) Q(k+1) - a(k+1) |R(k+1)|), P2 negative.
void Pi_Chudnovsky_BSR_End_PR2(BasicInt& P, BasicInt& R, std::uint64_t k) {
  nmp::Word words[16];
  BasicInt next(words, 16);
  Pi_Chudnovsky_BSR_End_Q1(P, k + 1);
  P.mul_u64(kA + kB * k);
  Pi_Chudnovsky_BSR_End_P1(next, k + 1);
  P -= next;
  for (BasicInt* x : {&P, &next}) {
    if (x == &next) Pi_Chudnovsky_BSR_End_R1(next, k + 1);
    x->mul_u64(6 * k - 5);
    x->mul_u64(2 * k - 1);
    x->mul_u64(6 * k - 1);
  }
  R.set_BasicInt(next);
}

constexpr CubicTerms kTerms = {{{{6, 5}, {2, 1}, {6, 1}}}, kC, kA, kB, true};

class SeriesPiChudnovsky : public Series {
 public:
  explicit SeriesPiChudnovsky(std::size_t p) {
    terms = linear_series_terms(kRate, p);
    coefQ = kA;
    coefD = 4270934400;  // 426880 * 10005
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(p) * 32);
  }

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double n = static_cast<double>(b - a), cubes = 3 * log2_product(1, 0, a, b);
    const double q = cubes + n * std::log2(static_cast<double>(kC));
    // |R(k)| < 72 k^3. |P/Q| is at most its first term, 72/kC (kA + kB k) with k = a + 1.
    const double first = 72.0 / static_cast<double>(kC) * static_cast<double>(kA + kB * (a + 1));
    return {q + std::log2(first) + 1, q, cubes + n * std::log2(72.0)};
  }
  void end_case_1(std::uint64_t k, Term& term) const override {
    Pi_Chudnovsky_BSR_End_P1(term.P, k);
    Pi_Chudnovsky_BSR_End_Q1(term.Q, k);
    Pi_Chudnovsky_BSR_End_R1(term.R, k);
    term.P_positive = term.R_positive = false;
  }
  void end_case_2(std::uint64_t k, Term& term) const override {
    Pi_Chudnovsky_BSR_End_PR2(term.P, term.R, k);
    Pi_Chudnovsky_BSR_End_Q2(term.Q, k);
    term.P_positive = false;
    term.R_positive = true;
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
    const std::uint64_t r = negate(multiply(multiply(6 * k - 5, 2 * k - 1), 6 * k - 1));
    const std::uint64_t q = multiply(multiply(kC, k), multiply(k, k));
    return {multiply(kA + kB * k, r), q, r};
  }

 private:
  CommonFactors factors_{kTerms.forms};
};

}  // namespace

std::unique_ptr<Formula> make_pi_chudnovsky(bool reduced) {
  return std::make_unique<PiFormula<SeriesPiChudnovsky, 10005>>(reduced);
}

}  // namespace numforge::Formulas
