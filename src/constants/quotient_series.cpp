// How many terms  The terms of a series are t(k) = P(k)/Q(k) * product over j < k of R(j)/Q(j).
// With rho the nats that each gains, Stirling's formula gives t(k) = c k^(-1/2) e^(-rho k) (1 +
// O(1/k)); the half comes out for each of these series from the exponents' balance, and c is at
// most 32 times the value (c k^(-1/2) stays below it from the first term on). The terms alternate
// or shrink by more than a half, so that all after the N-th are less than 2 t(N + 1). With N =
// nats/rho + 3, what is left out is below 64 e^(-4 rho) of the last place, at most a quarter for
// rho = ln 4, the least of them.
#include "constants/quotient_series.h"

#include <cmath>
#include <numbers>

#include "constants/quotient_finish.h"
#include "constants/series_length.h"
#include "series/polynomial_series.h"

namespace numforge::Formulas {
namespace {

using nmp::BinarySplitting::bits_per_term;
using nmp::BinarySplitting::PolynomialSeries;

class QuotientSeries : public Formula {
 public:
  explicit QuotientSeries(const QuotientTerms& terms) : terms_(terms) {}

  std::size_t result_words(nmp::Context& context, std::size_t p) const override {
    return QuotientFinish{Sum(terms_, p)}.result_words(context, p);
  }
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override {
    return QuotientFinish{Sum(terms_, p)}.scratch_bytes(context, p);
  }
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override {
    QuotientFinish{Sum(terms_, p)}.compute(context, result, p, progress, scratch);
  }

 private:
  struct Sum : PolynomialSeries {
    Sum(const QuotientTerms& shape, std::size_t p)
        : PolynomialSeries(shape.terms, quotient_series_terms(shape, p)) {
      coefD = shape.coefD;
      expansion_factor = range_bits(0, terms).Q / (static_cast<double>(p) * 32);
    }
  };

  const QuotientTerms& terms_;
};

}  // namespace

std::unique_ptr<Formula> make_quotient_series(const QuotientTerms& terms) {
  return std::make_unique<QuotientSeries>(terms);
}

std::uint64_t quotient_series_terms(const QuotientTerms& terms, std::size_t p) {
  const double rho = bits_per_term(terms.terms) * std::numbers::ln2;
  return linear_series_terms(rho, series_precision(p));
}

}  // namespace numforge::Formulas
