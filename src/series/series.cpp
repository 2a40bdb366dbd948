#include "series/series.h"

#include <algorithm>
#include <cmath>

#include "foundation/exceptions.h"

namespace nmp::BinarySplitting {
namespace {

/// ln Gamma(x), x > 0, by Stirling's series [AS1964, 6.1.41]. std::lgamma writes a global.
double log_gamma(double x) {
  double shift = 0;
  for (; x < 16; x += 1) shift += std::log(x);
  constexpr double kHalfLn2Pi = 0.91893853320467274178;
  return (x - 0.5) * std::log(x) - x + kHalfLn2Pi + 1 / (12 * x) - shift;
}

/// The multiple of `unit` nearest to m that is inside (a, b); m where there is none.
std::uint64_t whole_units(std::uint64_t a, std::uint64_t m, std::uint64_t b, std::uint64_t unit) {
  const std::uint64_t first = a / unit * unit + unit, last = (b - 1) / unit * unit;
  return first > last ? m : std::clamp((m + unit / 2) / unit * unit, first, last);
}

}  // namespace

double log2_product(double alpha, double beta, std::uint64_t a, std::uint64_t b) {
  const double n = static_cast<double>(b - a), last = static_cast<double>(b);
  if (n <= 64) return n * std::log2(alpha * last + beta);  // cheaper, and hardly larger
  const double shift = 1 + beta / alpha;
  const double ln = log_gamma(last + shift) - log_gamma(static_cast<double>(a) + shift);
  return n * std::log2(alpha) + ln / std::log(2.0) + 1;
}

double linear_gain(double bits_per_term, std::uint64_t a) {
  constexpr double kMargin = 32;
  return std::max(0.0, bits_per_term * static_cast<double>(a) - kMargin);
}

void Series::end_case_1(std::uint64_t, Term&) const {
  throw InvalidParametersException("BSR_E()", "Not implemented.");
}
void Series::end_case_2(std::uint64_t k, Term& term) const { end_case_1(k, term); }

std::uint64_t Series::split(std::uint64_t a, std::uint64_t b) const {
  const CommonFactors* const common = factors();
  const auto aligned = [&](std::uint64_t m) {
    return common ? CommonFactors::aligned_cut(a, m, b) : whole_units(a, m, b, cut_unit);
  };
  std::uint64_t m = a + (b - a) / 2;
  if (b - a <= 4096) return aligned(m);
  // Later terms are longer, so the middle by size lies right of the middle by count.
  const auto size = [&](std::uint64_t last) {
    return range_bits(a, last).Q - (common ? common->least_dropped_bits(a, last) : 0);
  };
  const double half = size(b) / 2;
  for (std::uint64_t low = m, high = b - 1; high - low > (b - a) / 256;) {
    m = low + (high - low) / 2;
    (size(m) < half ? low : high) = m;
  }
  return aligned(m);
}

}  // namespace nmp::BinarySplitting
