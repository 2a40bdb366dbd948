#include "arith/multiply/fft/fft_plan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "arith/multiply/fft/fft_kernels.h"
#include "arith/word.h"

namespace nmp::fft {
namespace {

constexpr unsigned kOddFactors[] = {1, 3, 5, 7, 9};
/// From where on an odd factor pays, as a power of two.
constexpr unsigned kSmallestLog[] = {6, 6, 6, 6, 6};
constexpr unsigned count_lengths() {
  unsigned n = 0;
  for (const unsigned log : kSmallestLog) n += kMaxLog - log + 1;
  return n;
}
constexpr unsigned kLengths = count_lengths();

/// Shorter planes need no strips: the second-level cache holds them and everything else.
constexpr std::uint64_t kWholePoints = std::uint64_t{1} << 14;
/// Points of a strip, for the first-level cache where rows are few.
constexpr std::size_t kStripPoints = std::size_t{1} << 11;
/// Strips are wider in planes that the second-level cache holds.
constexpr std::uint64_t kCachedPoints = std::uint64_t{1} << 16;
constexpr std::size_t kMinWidth = 32, kMaxWidth = 64, kMaxCachedWidth = 128;
constexpr std::size_t kRowPadding = kBlockDoubles;

constexpr double kUnit = 1.0 / 9007199254740992.0;  // 2^-53

/// Factors 1 + x as their logarithms: a sum of these is a product of factors.
double factor(double x) { return std::log1p(x); }

/// The product of complex numbers, one of them a twiddle within 2^-54 + 2^-59 in each part.
double twiddle_factor() {
  return factor(std::sqrt(5.0) * kUnit) + factor(kUnit * std::sqrt(0.5) * (1 + 1.0 / 32));
}

/// Roundings of an r-point transform. Radix 8 multiplies half its parts by sqrt(1/2): an addition,
/// a product, a rounded constant. An odd radix takes sums t_k and differences d_k of parts, with
/// |t|^2 + |d|^2 = 2 |a|^2, then a_0 + sum c t and sum s d, each product and constant rounded and
/// each sum as often as it has terms, and one addition. First and last additions are u each. With
/// the norms of the matrices |c| and |s| (1/2 and 0.87, 1.12 and 1.54, 1.75 and 2.19) the rest is
/// at most 2.4 u, 4.9 u and 7.8 u.
double dft_factor(unsigned radix) {
  switch (radix) {
    case 2:
      return factor(kUnit);
    case 3:
      return factor(4.5 * kUnit);
    case 4:
      return 2 * factor(kUnit);
    case 5:
      return factor(7 * kUnit);
    case 7:
      return factor(10 * kUnit);
    default:
      return 3 * factor(kUnit) + factor(3 * kUnit);
  }
}

double transform_factor(const Shape& shape, unsigned leaf, unsigned high) {
  unsigned radices[2 * kMaxLevels];
  unsigned n = 0;
  double sum = 0;
  if (shape.single_row()) {
    const unsigned log = static_cast<unsigned>(std::countr_zero(shape.points));
    n = choose_radices(radices, static_cast<unsigned>(shape.points >> log), log, leaf, high, false);
  } else {
    n = choose_radices(radices, shape.odd, shape.log_rows, 1, high, false);
    n += choose_radices(radices + n, 1, shape.log_cols, leaf, high, true);
    sum += 2 * twiddle_factor();  // the twist, itself a product
  }
  for (unsigned i = 0; i < n; ++i) sum += twiddle_factor() + dft_factor(radices[i]);
  return sum + 2 * (twiddle_factor() + dft_factor(leaf));
}

double limit_of(const Length& length) {
  const Shape shape(length);
  // The same for every instruction set, so that all choose the same digits.
  const double f = std::max(transform_factor(shape, 4, 4), transform_factor(shape, 8, 8));
  // Two more for the scaling and one for Transform::subtract_one; a thousandth for how this sum is
  // rounded.
  const double error = std::expm1(3 * f + factor(std::sqrt(5.0) * kUnit) + 3 * factor(kUnit));
  return 0.5 / error * 0.999;
}

std::uint64_t digits_of(std::uint64_t words, unsigned bits) { return words * kWordBits / bits + 1; }

/// The fewest bits with which `words` words fit the length; past kMaxBits for none.
unsigned fewest_bits(const Length& length, std::uint64_t words) {
  const std::uint64_t bits = (words * 16 + length.points - 1) / length.points;
  return static_cast<unsigned>(std::clamp<std::uint64_t>(bits, kMinBits, kMaxBits + 1));
}

/// sum * |x| |y| for x of `nx` digits and y of `ny`, squared, as a share of the largest digits'.
bool holds(const Length& length, unsigned bits, double nx, double ny, double sum, double share) {
  if (bits > kMaxBits) return false;
  const double square = std::ldexp(1.0, 2 * (static_cast<int>(bits) - 1));
  const double norm = sum * square;
  return norm * norm * nx * ny * share <= length.limit * length.limit;
}

/// The average square of n digits by chance, as a share of the largest: a third and four times the
/// deviation.
double likely_share(double n) { return std::min(1.0, 1.0 / 3 + 1.2 / std::sqrt(n)); }

struct Lengths {
  std::array<Length, kLengths> all;
  std::array<std::uint64_t, kLengths> words;  ///< capacity, however a product is divided

  Lengths() {
    unsigned n = 0;
    for (unsigned i = 0; i < std::size(kOddFactors); ++i) {
      for (unsigned log = kSmallestLog[i]; log <= kMaxLog; ++log) {
        all[n++] = {std::uint64_t{kOddFactors[i]} << log, kOddFactors[i], log, 0};
      }
    }
    std::sort(all.begin(), all.end(),
              [](const Length& a, const Length& b) { return a.points < b.points; });
    std::uint64_t most = 0;
    for (unsigned i = 0; i < kLengths; ++i) {
      all[i].limit = limit_of(all[i]);
      most = std::max(most, capacity(all[i]));
      words[i] = most;
    }
  }
  static std::uint64_t capacity(const Length& length) {
    std::uint64_t n = 0;
    for (std::uint64_t bit = std::uint64_t{1} << 36; bit > 0; bit >>= 1) {
      const unsigned bits = fewest_bits(length, n | bit);
      const double half = static_cast<double>(digits_of(n | bit, bits) + 1) / 2;
      if (holds(length, bits, half, half, 1, 1)) n |= bit;
    }
    return n;
  }
};

const Lengths& lengths() {
  static const Lengths built;
  return built;
}

unsigned number_of(std::uint64_t words) {
  const auto& capacity = lengths().words;
  return static_cast<unsigned>(std::lower_bound(capacity.begin(), capacity.end(), words) -
                               capacity.begin());
}

}  // namespace

unsigned choose_radices(unsigned* radices, unsigned odd, unsigned log, unsigned leaf, unsigned high,
                        bool top) {
  unsigned n = 0;
  for (; odd % 3 == 0; odd /= 3) radices[n++] = 3;
  if (odd > 1) radices[n++] = odd;
  unsigned rest = log - 2 * static_cast<unsigned>(std::countr_zero(leaf));
  if (top) {
    radices[n++] = 4;
    radices[n++] = 4;
    rest -= 4;
  }
  if (high == 4 ? rest % 2 != 0 : rest == 1) {
    radices[n++] = 2;
    rest -= 1;
  }
  for (; rest != 0 && (high == 4 || rest % 3 != 0); rest -= 2) radices[n++] = 4;
  for (; rest != 0; rest -= 3) radices[n++] = 8;
  return n;
}

Shape::Shape(const Length& length)
    : points(length.points), odd(length.odd), log_rows(length.log), log_cols(0) {
  if (points <= kMaxDirectPoints) {
    odd = 0;
    stride = static_cast<std::size_t>(2 * points);
    width = static_cast<std::size_t>(points);
    return;
  }
  const unsigned log_points = static_cast<unsigned>(std::bit_width(points)) - 1;
  log_cols = std::min(length.log, log_points < 21 ? 12u : 14u);
  log_rows = length.log - log_cols;
  stride = (std::size_t{2} << log_cols) + kRowPadding;
  width = points <= kWholePoints
              ? cols()
              : std::clamp(std::bit_floor(kStripPoints / rows()), kMinWidth,
                           points <= kCachedPoints ? kMaxCachedWidth : kMaxWidth);
}

unsigned length_count() { return kLengths; }
const Length& length_at(unsigned number) { return lengths().all[number]; }

const Length* longest_length(std::uint64_t words) {
  const unsigned i = number_of(words);
  return i < kLengths ? &lengths().all[i] : nullptr;
}

Plan plan_product(std::uint64_t al, std::uint64_t bl, bool likely) {
  const auto& all = lengths().all;
  Plan plan;
  for (unsigned i = number_of(al + bl) + 1; i-- > 0;) {
    if (i >= kLengths) continue;
    const unsigned bits = fewest_bits(all[i], al + bl);
    const double nx = static_cast<double>(digits_of(al, bits));
    const double ny = static_cast<double>(digits_of(bl, bits));
    if (!holds(all[i], bits, nx, ny, 1, likely ? likely_share(nx) * likely_share(ny) : 1)) break;
    plan = {&all[i], bits};
  }
  return plan;
}

Plan plan_wrapped(std::uint64_t words, std::uint64_t shorter, unsigned sum) {
  const auto& all = lengths().all;
  for (unsigned i = number_of(words / 2); i < kLengths; ++i) {
    const unsigned bits = fewest_bits(all[i], words);
    // A number as long as the length leaves one from beyond its end to the first digit.
    const double nx = static_cast<double>(digits_of(shorter, bits)) + 2;
    const double ny = static_cast<double>(2 * all[i].points) + 2;
    if (holds(all[i], bits, nx, ny, static_cast<double>(sum) * (1 + sum * kUnit), 1))
      return {&all[i], bits};
  }
  return {};
}

double cost(const Length& length) {
  const double n = static_cast<double>(length.points);
  return n * (std::log2(n) + (length.points > kMaxDirectPoints ? 9 : 6)) + 600;
}

}  // namespace nmp::fft
