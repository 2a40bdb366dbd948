#include "arith/multiply/hybrid/hybrid_plan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "arith/multiply/hybrid/hybrid_field.h"
#include "foundation/exceptions.h"

namespace nmp::hybrid {
namespace {

constexpr unsigned kOddFactors[4] = {1, 3, 5, 15};
/// From where on an odd factor pays, as a power of two. 15 is no faster than the next power of two,
/// but shorter, which counts where memory is dear.
constexpr unsigned kSmallestLog[4] = {kMinLogRow, 8, 8, 20};
constexpr unsigned count_lengths() {
  unsigned n = 0;
  for (const unsigned log : kSmallestLog) n += kMaxLogLength - log + 1;
  return n;
}
constexpr unsigned kLengths = count_lengths();
/// Doubles of one prime's strip that stay in the second-level cache next to those of the others.
constexpr std::size_t kStripDoubles = std::size_t{1} << 15;
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

}  // namespace

std::uint64_t length_at(unsigned number) { return lengths()[number]; }
unsigned length_count() { return kLengths; }
unsigned length_number(std::uint64_t points) {
  const auto& all = lengths();
  return static_cast<unsigned>(std::lower_bound(all.begin(), all.end(), points) - all.begin());
}

Plan::Plan(std::uint64_t digits, std::uint64_t shorter) {
  const unsigned number = length_number(digits);
  primes = shorter <= capacity(3) ? 3 : 4;
  if (number == kLengths || shorter > capacity(4)) {
    throw TransformTooSmallException("hybrid::Plan::Plan()",
                                     "No transform is long enough for this product.");
  }
  const std::uint64_t length = length_at(number);
  const unsigned log_points = static_cast<unsigned>(std::countr_zero(length));
  odd = static_cast<unsigned>(length >> log_points);
  log_cols = choose_log_cols(odd, log_points);
  log_rows = log_points - log_cols;
  lay_out();
}

Plan::Plan(unsigned prime_count, unsigned odd_factor, unsigned rows_log, unsigned cols_log)
    : primes(prime_count), odd(odd_factor), log_rows(rows_log), log_cols(cols_log) {
  lay_out();
}

void Plan::lay_out() {
  stride = cols() + (single_row() ? 0 : kRowPadding);
  width = std::clamp(std::bit_floor(kStripDoubles / rows()), kMinWidth, kMaxWidth);
  width = std::min(width, cols());
}

double Plan::cost() const {
  const double n = static_cast<double>(points()) * primes;
  const double per_level = points() > std::size_t{1} << 15 ? 0.6 : 0.5;
  return n * (std::log2(static_cast<double>(points())) * per_level + 3.0);
}

}  // namespace nmp::hybrid
