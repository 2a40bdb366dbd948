// log n by a Machin-like sum of arccoth series.
#pragma once

#include <utility>

#include "constants/formula.h"
#include "constants/machin_formula.h"

namespace numforge::Formulas {

class Log_Machin_BigFloatR : public Formula {
 public:
  explicit Log_Machin_BigFloatR(MachinFormula formula) : formula_(std::move(formula)) {}
  std::size_t result_words(nmp::Context& context, std::size_t p) const override;
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

 private:
  MachinFormula formula_;
};

}  // namespace numforge::Formulas
