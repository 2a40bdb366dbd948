#include "constants/log_machin.h"

#include <cmath>

#include "constants/arccoth_taylor.h"
#include "constants/series_sum.h"

namespace numforge::Formulas {
namespace {

SeriesSum sum_of(const MachinFormula& formula, std::size_t p) {
  std::vector<ArcCothAdd_Taylor_BigFloatR> summands;
  double magnitudes = 0;
  for (const MachinTerm& term : formula.terms) {
    summands.emplace_back(term.coefficient, term.x);
    magnitudes += summands.back().magnitude();
  }
  SeriesSum sum;
  // The margin covers the roundings of the doubles.
  sum.cancellation = 1.001 * magnitudes / std::log(formula.n);
  const std::size_t words = SeriesSum::series_words(p, summands.size(), sum.cancellation);
  for (std::size_t i = 0; i < summands.size(); ++i) {
    sum.series.push_back(summands[i].series(words));
    sum.names.push_back("ArcCoth(" + std::to_string(formula.terms[i].x) + ")");
  }
  return sum;
}

}  // namespace

std::size_t Log_Machin_BigFloatR::result_words(nmp::Context& context, std::size_t p) const {
  return sum_of(formula_, p).result_words(context, p);
}

std::size_t Log_Machin_BigFloatR::scratch_bytes(nmp::Context& context, std::size_t p) const {
  return sum_of(formula_, p).scratch_bytes(context, p);
}

void Log_Machin_BigFloatR::compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p,
                                   nmp::Progress& progress, nmp::AlignedBufferC scratch) const {
  progress.note(formula_.text() + "\n");
  sum_of(formula_, p).compute(context, result, p, progress, scratch);
}

}  // namespace numforge::Formulas
