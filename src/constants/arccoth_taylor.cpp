// c arccoth(x) = c (P + Q) / (x Q) with
//   P(k) = R(k) = 2k-1    Q(k) = (2k+1) x^2
//
// The product of R/Q up to term k is 1 / ((2k+1) x^(2k)). The terms after N add up to less than
// x^(-2 (N + 1)) / ((2N + 3) (1 - x^-2)) < x^(-2 (N + 1)), while P/Q + 1 > 1: so N + 1 >= nats /
// (2 ln x) terms are enough.
#include "constants/arccoth_taylor.h"

#include <cmath>

#include "arith/hash61.h"
#include "constants/series_length.h"

namespace numforge::Formulas {
namespace {

using nmp::BasicInt;
using nmp::BinarySplitting::log2_product;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::BinarySplitting::Series;
using nmp::BinarySplitting::Term;

/// Below, (2k+1) x^2 fits a limb for every k below 2^31.
constexpr std::uint64_t kSmallX = std::uint64_t{1} << 16;
constexpr std::uint64_t kSmallK = std::uint64_t{1} << 30;

// One term. P and R are 2k-1.
void ArcCoth_BSR_End_small(BasicInt& Q, std::uint64_t x, std::uint64_t k) {
  Q.set_u64((2 * k + 1) * x * x);
}
void ArcCoth_BSR_End_large(BasicInt& Q, std::uint64_t x, std::uint64_t k) {
  Q.set_u64(2 * k + 1);
  Q.mul_u64(x);
  Q.mul_u64(x);
}

/// Terms k and k + 1 together: P = (2k-1) ((2k+3) x^2 + 2k+1), Q and R the products.
void ArcCoth_BSR_End_PQR2(Term& term, std::uint64_t x, std::uint64_t k) {
  nmp::Word words[4];
  BasicInt next(words, 4);
  next.set_u64(2 * k + 1);
  ArcCoth_BSR_End_large(term.P, x, k + 1);
  term.Q.set_BasicInt(term.P);
  term.Q.mul_u64(2 * k + 1);
  term.Q.mul_u64(x);
  term.Q.mul_u64(x);
  term.P += next;
  term.P.mul_u64(2 * k - 1);
  next.mul_u64(2 * k - 1);
  term.R.set_BasicInt(next);
}

class SeriesArcCoth : public Series {
 public:
  SeriesArcCoth(std::int64_t c, std::uint64_t x, std::size_t words)
      : x_(x), log2_x_(std::log2(static_cast<double>(x))) {
    terms = linear_series_terms(2 * std::log(static_cast<double>(x)), words);
    coefP = coefQ = c;
    coefD = x;
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(words) * nmp::kWordBits);
  }

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double q = log2_product(2, 1, a, b) + 2 * static_cast<double>(b - a) * log2_x_;
    // P/Q is at most its first term, below x^-2, over 1 - x^-2 >= 3/4.
    return {q - 2 * log2_x_ + 1, q, log2_product(2, -1, a, b)};
  }
  void end_case_1(std::uint64_t k, Term& term) const override {
    term.P.set_u64(2 * k - 1);
    x_ < kSmallX&& k < kSmallK ? ArcCoth_BSR_End_small(term.Q, x_, k)
                               : ArcCoth_BSR_End_large(term.Q, x_, k);
    term.R.set_u64(2 * k - 1);
  }
  void end_case_2(std::uint64_t k, Term& term) const override { ArcCoth_BSR_End_PQR2(term, x_, k); }
  Residues residues(std::uint64_t k) const override {
    using namespace nmp::hash61;
    const std::uint64_t r = fold(2 * k - 1), x = fold(x_);
    return {r, multiply(fold(2 * k + 1), multiply(x, x)), r};
  }

 private:
  std::uint64_t x_;
  double log2_x_;
};

}  // namespace

double ArcCothAdd_Taylor_BigFloatR::magnitude() const {
  return std::abs(static_cast<double>(c_)) * std::atanh(1 / static_cast<double>(x_));
}

std::unique_ptr<const Series> ArcCothAdd_Taylor_BigFloatR::series(std::size_t words) const {
  return std::make_unique<SeriesArcCoth>(c_, x_, words);
}

}  // namespace numforge::Formulas
