#include "arith/multiply/fft/fft_roots.h"

#include <array>
#include <bit>

namespace nmp::fft {
namespace {

// Numbers are multiples of 2^-62.
using Fixed = std::int64_t;
constexpr unsigned kFraction = 62;
constexpr Fixed kOne = Fixed{1} << kFraction;
constexpr Fixed kHalfPi = 0x6487ED5110B4611A;

/// a * b, rounded.
inline Fixed times(Fixed a, Fixed b) {
#ifdef __SIZEOF_INT128__
  return static_cast<Fixed>((static_cast<__int128>(a) * b + (kOne >> 1)) >> kFraction);
#else
  const bool negative = (a < 0) != (b < 0);
  const std::uint64_t x = static_cast<std::uint64_t>(a < 0 ? -a : a);
  const std::uint64_t y = static_cast<std::uint64_t>(b < 0 ? -b : b);
  const std::uint64_t x0 = x & 0xFFFFFFFF, x1 = x >> 32, y0 = y & 0xFFFFFFFF, y1 = y >> 32;
  const std::uint64_t middle = x1 * y0 + (x0 * y0 >> 32);
  const std::uint64_t other = x0 * y1 + (middle & 0xFFFFFFFF) + (std::uint64_t{1} << 29);
  const std::uint64_t high = x1 * y1 + (middle >> 32) + (other >> 32);
  const std::uint64_t result = high << 2 | (other & 0xFFFFFFFF) >> 30;
  return negative ? -static_cast<Fixed>(result) : static_cast<Fixed>(result);
#endif
}

struct Complex {
  Fixed re, im;
};
inline Complex times(Complex a, Complex b) {
  return {times(a.re, b.re) - times(a.im, b.im), times(a.re, b.im) + times(a.im, b.re)};
}

/// exp(i x) for 0 <= x <= pi / 4, by Taylor series.
Complex small_angle(Fixed x) {
  const Fixed square = times(x, x);
  Fixed cosine = kOne, sine = kOne;
  for (Fixed n = 10; n > 0; --n) {
    cosine = kOne - times(square, cosine) / (2 * n * (2 * n - 1));
    sine = kOne - times(square, sine) / (2 * n * (2 * n + 1));
  }
  return {cosine, times(x, sine)};
}

/// e(k / 1024).
Complex coarse_root(unsigned k) {
  const unsigned octant = k >> 7, part = k & 127;
  const unsigned within = octant & 1 ? 128 - part : part;
  Complex c = small_angle(times(kHalfPi, Fixed{within} << (kFraction - 8)));
  if (octant & 1) c = {c.im, c.re};
  switch (octant >> 1) {
    case 0:
      return c;
    case 1:
      return {-c.im, c.re};
    case 2:
      return {-c.re, -c.im};
    default:
      return {c.im, -c.re};
  }
}

struct Tables {
  std::array<Complex, 1024> coarse;  ///< e(k / 2^10)
  std::array<Complex, 1024> fine;    ///< e(k / 2^20)
  Tables() {
    for (unsigned k = 0; k < 1024; ++k) {
      coarse[k] = coarse_root(k);
      fine[k] = small_angle(times(kHalfPi, Fixed{k} << (kFraction - 18)));
    }
  }
};

const Tables& tables() {
  static const Tables built;
  return built;
}

/// The fractional part of numerator / denominator, as a multiple of 2^-64.
std::uint64_t turn(std::uint64_t numerator, std::uint64_t denominator) {
  // At least four factors of two, so that the remainder below fits 64 bits.
  const unsigned log = static_cast<unsigned>(std::countr_zero(denominator)) + 4;
  const std::uint64_t odd = denominator >> (log - 4);
  numerator <<= 4;
  return (numerator / odd << (64 - log)) + (numerator % odd << (64 - log)) / odd;
}

}  // namespace

Root root(std::uint64_t numerator, std::uint64_t denominator) {
  const Tables& t = tables();
  const std::uint64_t angle = turn(numerator, denominator);
  // 2 pi times what the tables leave, below 2^-17: its fourth power does not count.
  const Fixed x = times(static_cast<Fixed>(angle & ((std::uint64_t{1} << 44) - 1)), kHalfPi);
  const Fixed square = times(x, x);
  const Complex rest = {kOne - square / 2, x - times(square, x) / 6};
  const Complex c = times(times(t.coarse[angle >> 54], t.fine[angle >> 44 & 1023]), rest);
  constexpr double kUnit = 1.0 / static_cast<double>(kOne);
  return {static_cast<double>(c.re) * kUnit, static_cast<double>(c.im) * kUnit};
}

}  // namespace nmp::fft
