#include "constants/e_taylor.h"

#include "constants/quotient_finish.h"
#include "constants/series_length.h"
#include "foundation/exceptions.h"
#include "series/hyperdescent.h"

namespace numforge::Formulas {
namespace {

/// exp(+-1) - 1.
class TaylorSeries : public nmp::BinarySplitting::Hyperdescent::TaylorSeries {
 public:
  TaylorSeries(bool alternating, std::size_t p)
      : nmp::BinarySplitting::Hyperdescent::TaylorSeries(alternating, factorial_series_terms(p)) {
    coefQ = 1;
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(p) * nmp::kWordBits);
  }
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
