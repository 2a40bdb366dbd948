#include "constants/series_sum.h"

#include <algorithm>
#include <cmath>

#include "arith/newton.h"
#include "constants/quotient_finish.h"

namespace numforge::Formulas {
namespace {

using nmp::AlignedBufferC;
using nmp::BigFloat;
using nmp::carve_float;
using nmp::carved_bytes;
using nmp::Word;

/// Words beyond p with which `count` series of this cancellation are summed and divided.
std::size_t extra_words(std::size_t count, double cancellation) {
  const double units = (2 + 4 * static_cast<double>(count)) * std::max(cancellation, 1.0);
  return static_cast<std::size_t>(std::max(std::ceil(std::log2(units) / nmp::kWordBits) - 1, 0.0));
}

/// Room for a sum of two numbers of w words.
std::size_t number_words(std::size_t w) { return nmp::newton_result_words(w); }

}  // namespace

std::size_t SeriesSum::series_words(std::size_t p, std::size_t count, double cancellation) {
  return series_precision(p + extra_words(count, cancellation));
}

std::size_t SeriesSum::working_precision(std::size_t p) const {
  return p + extra_words(series.size(), cancellation);
}

std::size_t SeriesSum::result_words(nmp::Context& context, std::size_t p) const {
  const std::size_t w = working_precision(p);
  std::size_t most = number_words(w);
  for (const auto& one : series)
    most = std::max(most, QuotientFinish{*one}.result_words(context, w));
  return most;
}

std::size_t SeriesSum::scratch_bytes(nmp::Context& context, std::size_t p) const {
  const std::size_t w = working_precision(p);
  std::size_t most = 0;
  for (const auto& one : series)
    most = std::max(most, QuotientFinish{*one}.scratch_bytes(context, w));
  return carved_bytes<Word>(number_words(w)) + most;
}

void SeriesSum::compute(nmp::Context& context, BigFloat& result, std::size_t p,
                        nmp::Progress& progress, AlignedBufferC scratch) const {
  const std::size_t w = working_precision(p);
  BigFloat sum = carve_float(scratch, number_words(w));
  for (std::size_t i = 0; i < series.size(); ++i) {
    if (i < names.size()) progress.note(names[i]);
    QuotientFinish{*series[i]}.compute(context, result, w, progress, scratch);
    if (i != 0) {
      AlignedBufferC rest = scratch;
      BigFloat value = carve_float(rest, number_words(w));
      value.set_BigFloat(result, w);
      result.set_add(context, sum, value, w);
    }
    sum.set_BigFloat(result, w);
  }
  result.truncate(p + nmp::kExtraPrecision);
}

}  // namespace numforge::Formulas
