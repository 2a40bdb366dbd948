#include "constants/e_taylor.h"

#include <cmath>

#include "arith/hash61.h"
#include "constants/quotient_finish.h"
#include "constants/series_length.h"
#include "foundation/exceptions.h"

namespace numforge::Formulas {
namespace {

using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::BinarySplitting::Series;
using nmp::BinarySplitting::Term;

/// exp(+-1) - 1: P(k) = R(k) = +-1, Q(k) = k. P carries the sign of its first term only through R.
class TaylorSeries : public Series {
 public:
  TaylorSeries(bool alternating, std::size_t p) : alternating_(alternating) {
    terms = factorial_series_terms(p);
    coefQ = 1;
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(p) * 32);
  }

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double q = nmp::BinarySplitting::log2_product(1, 0, a, b);
    // |P/Q| is at most its first term 1/(a+1) times e.
    return {q - std::log2(static_cast<double>(a + 1)) + 2, q, 1};
  }
  void end_case_1(std::uint64_t k, Term& term) const override {
    term.P.set_u64(1);
    term.Q.set_u64(k);
    term.R.set_u64(1);
    term.P_positive = term.R_positive = !alternating_;
  }
  void end_case_2(std::uint64_t k, Term& term) const override {
    // 1/k + 1/(k (k+1)) = (k + 2)/(k (k+1)), and with signs -1/k + 1/(k (k+1)) = -k/(k (k+1)).
    term.P.set_u64(alternating_ ? k : k + 2);
    term.Q.set_u64(k);
    term.Q.mul_u64(k + 1);
    term.R.set_u64(1);
    term.P_positive = !alternating_;
    term.R_positive = true;
  }
  Residues residues(std::uint64_t k) const override {
    const std::uint64_t unit = alternating_ ? nmp::hash61::negate(1) : 1;
    return {unit, nmp::hash61::fold(k), unit};
  }

 private:
  bool alternating_;
};

}  // namespace

e_Taylor_BigFloatR::e_Taylor_BigFloatR(bool alternating, int power)
    : alternating_(alternating), power_(power) {
  if (power != 1 && power != -1)
    throw nmp::InvalidParametersException("e_Taylor_BigFloatR", "Power must be 1 or -1.");
  if (power == -1 && !alternating)
    throw nmp::InvalidParametersException("e_Taylor_BigFloatR",
                                          "Inversion not supported for non-alternating series.");
}

std::size_t e_Taylor_BigFloatR::result_words(nmp::Context& context, std::size_t p) const {
  return QuotientFinish{TaylorSeries(alternating_, series_precision(p))}.result_words(context, p);
}

std::size_t e_Taylor_BigFloatR::scratch_bytes(nmp::Context& context, std::size_t p) const {
  return QuotientFinish{TaylorSeries(alternating_, series_precision(p))}.scratch_bytes(context, p);
}

void e_Taylor_BigFloatR::compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p,
                                 nmp::Progress& progress, nmp::AlignedBufferC scratch) const {
  const bool inverted = alternating_ && power_ == 1;
  QuotientFinish{TaylorSeries(alternating_, series_precision(p)), inverted}.compute(
      context, result, p, progress, scratch);
}

}  // namespace numforge::Formulas
