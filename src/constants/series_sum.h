// The common end of formulas that add up several series: Machin-like sums.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "arith/big_float.h"
#include "arith/context.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"
#include "series/series.h"

namespace numforge::Formulas {

/// value = the sum of v_i = (coefP*P + coefQ*Q) / (coefD*Q) over the series, added in their order.
///
/// Accuracy. At working precision w (words), each v_i is off by less than 2^(-32 (w + 1)) |v_i| by
/// its truncations (quotient_finish.h), and by as much for the terms left out. Each addition is
/// off by less than 4 units of word w + 2 of its larger operand, below 4 * 2^(-32 (w + 1)) V, where
/// V = the sum of |v_i| bounds every partial sum. With m series and a cancellation C >= V / |value|
/// the value is off by less than (2 + 4 m) C 2^(-32 (w + 1)) of itself; w is the least precision
/// that keeps this below 2^(-32 p).
///
/// Schedule. As a rule the series are summed one after the other in the same memory, by all
/// threads together. Short ones, whose parts would be too small to keep the threads busy, go at
/// once instead, each on one thread in memory of its own: up to kWordsPerThread words of precision
/// for each thread. The words are the same.
struct SeriesSum {
  /// Each made for `series_words(p, number of series, cancellation)`.
  std::vector<std::unique_ptr<const nmp::BinarySplitting::Series>> series;
  double cancellation = 1;
  /// What each series is called in the run; may be empty.
  std::vector<std::string> names;

  static constexpr std::size_t kWordsPerThread = std::size_t{1} << 14;

  /// Precision in words that the series of a result of p words must have terms for.
  static std::size_t series_words(std::size_t p, std::size_t count, double cancellation);

  std::size_t result_words(nmp::Context& context, std::size_t p) const;
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const;

 private:
  std::size_t working_precision(std::size_t p) const;
  /// Series that go at once; 1: all threads work on each.
  std::size_t at_once(const nmp::Context& context, std::size_t p) const;
  /// Bytes for the longest of the series, its result not included.
  std::size_t one_scratch(nmp::Context& context, std::size_t p) const;
  void sum_at_once(nmp::Context& context, nmp::BigFloat& sum, std::size_t p,
                   nmp::Progress& progress, nmp::AlignedBufferC scratch) const;
};

}  // namespace numforge::Formulas
