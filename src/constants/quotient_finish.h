// The common end of most formulas: a series, one division, perhaps an inverse square root.
#pragma once

#include "arith/big_float.h"
#include "arith/context.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"
#include "series/series.h"

namespace numforge::Formulas {

/// value = series, or 1 / series when `inverted`; times 1 / sqrt(`root`) when root is not 0.
struct QuotientFinish {
  const nmp::BinarySplitting::Series& series;
  bool inverted = false;
  nmp::Word root = 0;

  /// Words of the result's buffer, in which the sum's numerator grows first.
  std::size_t result_words(nmp::Context& context, std::size_t p) const;
  /// Bytes of scratch for a precision of p words.
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const;
};

/// Precision of the series behind a result of p words. Truncations in the sum and the roundings
/// after it are each off by a few units of word p + 1 + kExtraPrecision; with a series of as many
/// words, the result is right to p words with 32 bits to spare.
constexpr std::size_t series_precision(std::size_t p) { return p + 1; }

}  // namespace numforge::Formulas
