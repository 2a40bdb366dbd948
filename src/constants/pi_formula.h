// What the two series for pi share: 1/pi as a series times an inverse square root.
#pragma once

#include <cstddef>

#include "constants/formula.h"
#include "constants/quotient_finish.h"

namespace numforge::Formulas {

/// `SeriesType(p)` is the series at a precision of p words; `Root` the word under the root.
template <typename SeriesType, nmp::Word kRoot>
class PiFormula : public Formula {
 public:
  explicit PiFormula(bool reduced) : reduced_(reduced) {}

  std::size_t result_words(nmp::Context& context, std::size_t p) const override {
    return finish(SeriesType(series_precision(p))).result_words(context, p);
  }
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override {
    return finish(SeriesType(series_precision(p))).scratch_bytes(context, p);
  }
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override {
    finish(SeriesType(series_precision(p))).compute(context, result, p, progress, scratch);
  }
  /// A quarter of what the longest product would be: a transform's planes are most of the memory.
  std::size_t longest_product(std::size_t p) const override {
    return reduced_ ? p / 2 : Formula::longest_product(p);
  }

 private:
  static QuotientFinish finish(const SeriesType& series) { return {series, true, kRoot}; }

  bool reduced_;
};

}  // namespace numforge::Formulas
