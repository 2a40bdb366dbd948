#include "constants/series_sum.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numeric>
#include <span>

#include "arith/newton.h"
#include "constants/quotient_finish.h"
#include "parallel/serial.h"
#include "series/common_p2b3.h"

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

/// Room for a number of w words, and a carry.
std::size_t number_words(std::size_t w) { return nmp::newton_result_words(w); }

/// The same context for one thread of it.
struct SerialPart {
  explicit SerialPart(const nmp::Context& whole)
      : context{threads, whole.products, whole.longest_product, 1} {}
  nmp::parallel::SerialContext threads;
  nmp::Context context;
};

/// Places of the series, those with the longest numbers first.
std::vector<std::size_t> longest_first(
    std::span<const std::unique_ptr<const nmp::BinarySplitting::Series>> series) {
  std::vector<std::size_t> order(series.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return series[a]->expansion_factor > series[b]->expansion_factor;
  });
  return order;
}

/// sum += value, or = where it is the first.
void add_to(nmp::Context& context, BigFloat& sum, const BigFloat& value, bool first, std::size_t w,
            AlignedBufferC scratch) {
  if (first) return sum.set_BigFloat(value, w);
  BigFloat total = carve_float(scratch, number_words(w));
  total.set_add(context, sum, value, w);
  sum.set_BigFloat(total, w);
}

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

std::size_t SeriesSum::one_scratch(nmp::Context& context, std::size_t p) const {
  std::size_t most = 0;
  for (const auto& one : series)
    most = std::max(most, QuotientFinish{*one}.scratch_bytes(context, working_precision(p)));
  return most;
}

std::size_t SeriesSum::at_once(const nmp::Context& context, std::size_t p) const {
  const std::size_t threads = std::min(context.threads.threads(), context.most_tasks);
  return p <= threads * kWordsPerThread ? std::min(threads, series.size()) : 1;
}

std::size_t SeriesSum::scratch_bytes(nmp::Context& context, std::size_t p) const {
  const std::size_t number = carved_bytes<Word>(number_words(working_precision(p)));
  const std::size_t count = at_once(context, p);
  if (count == 1) return number + one_scratch(context, p);
  SerialPart serial(context);
  const std::size_t arena =
      carved_bytes<Word>(result_words(serial.context, p)) + one_scratch(serial.context, p);
  return (1 + series.size()) * number + count * arena;
}

void SeriesSum::sum_at_once(nmp::Context& context, BigFloat& sum, std::size_t p,
                            nmp::Progress& progress, AlignedBufferC scratch) const {
  const std::size_t w = working_precision(p), count = at_once(context, p);
  SerialPart serial(context);
  std::vector<BigFloat> values;
  for (std::size_t i = 0; i < series.size(); ++i)
    values.push_back(carve_float(scratch, number_words(w)));
  const std::size_t words = result_words(serial.context, p);
  const std::size_t arena_bytes = carved_bytes<Word>(words) + one_scratch(serial.context, p);
  std::vector<AlignedBufferC> arenas;
  for (std::size_t i = 0; i < count; ++i) arenas.push_back(scratch.spawn(arena_bytes));

  progress.stage("Series");
  progress.step("Summing " + std::to_string(series.size()) + " series: ");
  const std::vector<std::size_t> order = longest_first(series);
  std::atomic<std::size_t> next = 0;
  context.threads.parallel_for(0, count, 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t arena = first; arena < last; ++arena) {
      nmp::NoProgress silent;
      for (std::size_t turn = next++; turn < order.size(); turn = next++) {
        AlignedBufferC rest = arenas[arena];
        BigFloat value = carve_float(rest, words);
        nmp::Context part = serial.context;
        QuotientFinish{*series[order[turn]]}.compute(part, value, w, silent, rest);
        values[order[turn]].set_BigFloat(value, w);
      }
    }
  });
  for (std::size_t i = 0; i < values.size(); ++i)
    add_to(context, sum, values[i], i == 0, w, arenas[0]);
}

void SeriesSum::compute(nmp::Context& context, BigFloat& result, std::size_t p,
                        nmp::Progress& progress, AlignedBufferC scratch) const {
  const std::size_t w = working_precision(p);
  BigFloat sum = carve_float(scratch, number_words(w));
  if (at_once(context, p) > 1) {
    for (std::size_t i = 0; i < series.size(); ++i) {
      if (i < names.size()) progress.note(names[i]);
      progress.note(nmp::BinarySplitting::CommonP2B3::series_header(*series[i]));
    }
    sum_at_once(context, sum, p, progress, scratch);
  } else {
    for (std::size_t i = 0; i < series.size(); ++i) {
      if (i < names.size()) progress.note(names[i]);
      QuotientFinish{*series[i]}.compute(context, result, w, progress, scratch);
      add_to(context, sum, result, i == 0, w, scratch);
    }
  }
  result.set_BigFloat(sum, p);
}

}  // namespace numforge::Formulas
