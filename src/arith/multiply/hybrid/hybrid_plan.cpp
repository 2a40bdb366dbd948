#include "arith/multiply/hybrid/hybrid_plan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "arith/multiply/hybrid/hybrid_field.h"
#include "foundation/exceptions.h"
#include "memory/aligned_buffer.h"

namespace nmp::hybrid {
namespace {

constexpr unsigned kOddFactors[4] = {1, 3, 5, 15};
/// From where on an odd factor may pay, as a power of two.
constexpr unsigned kSmallestLog[4] = {kMinLogRow, 8, 8, 8};
constexpr unsigned count_lengths() {
  unsigned n = 0;
  for (const unsigned log : kSmallestLog) n += kMaxLogLength - log + 1;
  return n;
}
constexpr unsigned kLengths = count_lengths();
/// Doubles of one prime's strip that stay in the second-level cache next to those of the others.
constexpr std::size_t kStripDoubles = std::size_t{1} << 16;
constexpr std::size_t kMinWidth = 16, kMaxWidth = 64;
/// Doubles by which rows are longer than a power of two.
constexpr std::size_t kRowPadding = 8;

std::array<std::uint64_t, kLengths> make_lengths() {
  std::array<std::uint64_t, kLengths> lengths;
  unsigned n = 0;
  for (unsigned i = 0; i < 4; ++i) {
    for (unsigned k = kSmallestLog[i]; k <= kMaxLogLength; ++k) {
      lengths[n++] = std::uint64_t{kOddFactors[i]} << k;
    }
  }
  std::sort(lengths.begin(), lengths.end());
  return lengths;
}

const std::array<std::uint64_t, kLengths>& lengths() {
  static const std::array<std::uint64_t, kLengths> all = make_lengths();
  return all;
}

/// Short transforms are one row, or one for each odd part. Of longer ones the rows are as long as
/// the second-level cache holds for two operands and their twiddles: long rows make long runs in
/// the strips of columns.
unsigned choose_log_cols(unsigned odd, unsigned log_points) {
  if (odd == 1 && log_points <= kMaxLogRow) return log_points;
  return std::min(log_points, log_points < 21 ? kMaxLogRow - 1 : kMaxLogRow);
}

/// Nanoseconds of a product for each point and prime, measured on one core with three primes and
/// digits of 64 bits: transforms of one row, 2^6 points and longer, and of many, by doublings from
/// 2^8 points.
constexpr double kOneRow[] = {5.5, 4.5, 3.7, 3.8, 4.3, 4.6, 4.9, 5.3, 6.4};
constexpr double kManyRows[] = {5.3,  5.2,  5.25, 5.35, 5.6,  5.85, 6.25, 7.1,  7.4,  7.7,
                                10.2, 11.7, 12.0, 12.4, 12.8, 13.4, 15.0, 19.0, 24.0, 27.0};
/// What longer digits and odd lengths add to that; the latter less from kLongPoints points on.
constexpr double kFormatExtra[kFormatCount] = {0, 0.3, 0.9, 1.5, 1.2};
constexpr std::uint64_t kLongPoints = std::uint64_t{1} << 18;
constexpr double kOddExtra[4] = {0, 0.8, 1.0, 1.0}, kLongOddExtra[4] = {0, 0, 0.1, 0.5};

/// Nanoseconds of a short product of n by n words: a call, and for each n^2.
constexpr double kBasecaseCall = 50, kBasecaseSquare = 0.18;
/// The excess is formed on its own up to a fraction of the transform: with both operands' low words
/// and its scratch it must fit where the planes were.
constexpr std::uint64_t kFewestWordsForExcess = 256, kShortWords = 2048;
constexpr std::uint64_t kLargestShortExcess = 4, kLargestExcess = 6;

/// Nanoseconds of a product; its transforms and passes are shares of that.
double cost_of(unsigned format, std::uint64_t points) {
  const unsigned log = static_cast<unsigned>(std::countr_zero(points));
  const unsigned odd = odd_index(static_cast<unsigned>(points >> log));
  double each = kFormatExtra[format] + (points < kLongPoints ? kOddExtra : kLongOddExtra)[odd];
  if (odd == 0 && log <= kMaxLogRow) {
    each += kOneRow[log - kMinLogRow];
  } else {
    constexpr int kLast = sizeof kManyRows / sizeof kManyRows[0] - 1;
    const double at = std::min(std::log2(static_cast<double>(points)) - 8, kLast - 0.001);
    const int below = static_cast<int>(at);
    each += kManyRows[below] + (at - below) * (kManyRows[below + 1] - kManyRows[below]);
  }
  return each * static_cast<double>(points) * kFormats[format].primes;
}

/// One length in one format.
struct Candidate {
  std::uint64_t words, points;
  double cost;
  unsigned format;
};

/// All candidates from the shortest to the longest, and for each one and each format the fastest
/// candidate that is no shorter and no earlier in the list of formats.
class Candidates {
 public:
  static constexpr unsigned kCount = kLengths * kFormatCount;
  Candidates() {
    unsigned n = 0;
    for (unsigned f = 0; f < kFormatCount; ++f)
      for (const std::uint64_t points : lengths())
        all_[n++] = {words_in(kFormats[f], points), points, cost_of(f, points), f};
    std::sort(all_.begin(), all_.end(),
              [](const Candidate& a, const Candidate& b) { return a.words < b.words; });
    for (unsigned f = 0; f < kFormatCount; ++f) {
      const Candidate* best = nullptr;
      for (unsigned i = kCount; i-- > 0;) {
        if (all_[i].format >= f && (!best || all_[i].cost <= best->cost)) best = &all_[i];
        best_[f][i] = best;
      }
    }
  }
  /// The number of the first one that has `words` words; kCount for none.
  unsigned first(std::uint64_t words) const {
    return static_cast<unsigned>(
        std::lower_bound(all_.begin(), all_.end(), words,
                         [](const Candidate& c, std::uint64_t w) { return c.words < w; }) -
        all_.begin());
  }
  const Candidate* candidate(unsigned i) const { return &all_[i]; }
  const Candidate* best(unsigned format, unsigned i) const { return best_[format][i]; }

 private:
  std::array<Candidate, kCount> all_;
  const Candidate* best_[kFormatCount][kCount];
};

const Candidates& candidates() {
  static const Candidates all;
  return all;
}

}  // namespace

std::uint64_t length_at(unsigned number) { return lengths()[number]; }
unsigned length_count() { return kLengths; }

Plan::Plan(unsigned digit_format, unsigned odd_factor, unsigned rows_log, unsigned cols_log)
    : format(digit_format),
      primes(kFormats[digit_format].primes),
      odd(odd_factor),
      log_rows(rows_log),
      log_cols(cols_log) {
  stride = cols() + (single_row() ? 0 : kRowPadding);
  width = std::clamp(std::bit_floor(kStripDoubles / rows()), kMinWidth, kMaxWidth);
  width = std::min(width, cols());
}

Plan Plan::of_length(unsigned format, std::uint64_t points) {
  const unsigned log_points = static_cast<unsigned>(std::countr_zero(points));
  const unsigned odd = static_cast<unsigned>(points >> log_points);
  const unsigned log_cols = choose_log_cols(odd, log_points);
  return Plan(format, odd, log_points - log_cols, log_cols);
}

double Plan::cost() const { return cost_of(format, points()); }

Plan best_plan(std::uint64_t words, std::uint64_t shorter, std::uint64_t sum) {
  const unsigned format = first_format(shorter, sum);
  const unsigned first = candidates().first(words);
  const Candidate* const best = format < kFormatCount && first < Candidates::kCount
                                    ? candidates().best(format, first)
                                    : nullptr;
  if (!best)
    throw TransformTooSmallException("hybrid::best_plan()",
                                     "No transform is long enough for this product.");
  return Plan::of_length(best->format, best->points);
}

Fit best_fit(std::uint64_t al, std::uint64_t bl) {
  const std::uint64_t words = al + bl, shorter = std::min(al, bl);
  const auto cost_of_excess = [](std::uint64_t excess) {
    if (excess > kBasecaseExcess) return best_plan(2 * excess, excess).cost();
    const double e = static_cast<double>(excess);
    return kBasecaseCall + kBasecaseSquare * e * e;
  };
  Fit best = {best_plan(words, shorter), 0};
  double cost = best.plan.cost();
  const unsigned f = first_format(shorter, 1);
  for (unsigned i = candidates().first(words); i-- > 0;) {
    const Candidate* const c = candidates().candidate(i);
    const std::uint64_t excess = words - c->words;
    const std::uint64_t share = words < kShortWords ? kLargestShortExcess : kLargestExcess;
    if (c->words < std::max({al, bl, kFewestWordsForExcess}) || excess * share > c->words) break;
    if (c != candidates().best(f, i) || c->cost >= cost) continue;
    const double total = c->cost + cost_of_excess(excess);
    if (total >= cost) continue;
    cost = total;
    best = {Plan::of_length(c->format, c->points), static_cast<std::size_t>(excess)};
  }
  return best;
}

Bounds::Bounds(Need (*of_plan)(const Plan&)) : need_(kFormatCount * Candidates::kCount) {
  // One need for each candidate that is ever chosen, then the running maxima over both numbers.
  for (unsigned f = 0, at = 0; f < kFormatCount; ++f)
    for (unsigned i = 0; i < Candidates::kCount; ++i, ++at) {
      const Candidate* const best = candidates().best(f, i);
      Need& need = need_[at];
      if (best && best->points <= kAddressablePoints)
        need = of_plan(Plan::of_length(best->format, best->points));
      const auto cover = [&](const Need& smaller) {
        need.base = std::max(need.base, smaller.base);
        need.slot = std::max(need.slot, smaller.slot);
      };
      if (f > 0) cover(need_[at - Candidates::kCount]);
      if (i > 0) cover(need_[at - 1]);
    }
}

std::size_t Bounds::bytes(std::uint64_t words, std::uint64_t shorter, unsigned threads) const {
  const unsigned f = first_format(shorter, 1), i = candidates().first(words);
  const bool known = f < kFormatCount && i < Candidates::kCount;
  const Candidate* const best = known ? candidates().best(f, i) : nullptr;
  if (!best || best->points > kAddressablePoints)
    return std::numeric_limits<std::size_t>::max() / kBufferAlignment * kBufferAlignment;
  const Need& need = need_[f * Candidates::kCount + i];
  return need.base + need.slot * threads;
}

}  // namespace nmp::hybrid
