#include "arith/multiply/hybrid/hybrid_plan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "arith/multiply/hybrid/hybrid_field.h"
#include "foundation/exceptions.h"

namespace nmp::hybrid {
namespace {

constexpr unsigned kMinLog = 4;
constexpr unsigned kLengths = 4 * (kMaxLogLength - kMinLog + 1);
/// Doubles of one prime's strip that stay in the second-level cache next to those of the others.
constexpr std::size_t kStripDoubles = std::size_t{1} << 15;
constexpr std::size_t kMinWidth = 16, kMaxWidth = 64;
/// Doubles by which rows are longer than a power of two.
constexpr std::size_t kRowPadding = 8;

std::array<std::uint64_t, kLengths> make_lengths() {
  std::array<std::uint64_t, kLengths> lengths;
  unsigned n = 0;
  for (const unsigned odd : {1u, 3u, 5u, 15u}) {
    for (unsigned k = kMinLog; k <= kMaxLogLength; ++k) lengths[n++] = std::uint64_t{odd} << k;
  }
  std::sort(lengths.begin(), lengths.end());
  return lengths;
}

const std::array<std::uint64_t, kLengths>& lengths() {
  static const std::array<std::uint64_t, kLengths> all = make_lengths();
  return all;
}

/// Short transforms are one row (or one for each odd part); long ones are about square, with rows
/// that fit the first cache together with their twiddles.
unsigned choose_log_cols(unsigned odd, unsigned log_points) {
  const unsigned single = odd == 1 ? kMaxLogRow : kMaxLogRow - 2;
  if (log_points <= single) return log_points;
  return std::clamp(log_points / 2 + 2, 10u, kMaxLogRow);
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
    throw TransformTooSmallException("nmp::hybrid::Plan::Plan",
                                     "No transform is long enough for this product.");
  }
  const std::uint64_t length = length_at(number);
  const unsigned log_points = static_cast<unsigned>(std::countr_zero(length));
  odd = static_cast<unsigned>(length >> log_points);
  log_cols = choose_log_cols(odd, log_points);
  log_rows = log_points - log_cols;
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
