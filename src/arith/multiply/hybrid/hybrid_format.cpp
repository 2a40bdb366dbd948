#include "arith/multiply/hybrid/hybrid_format.h"

#include <algorithm>

namespace nmp::hybrid {
namespace {

constexpr bool fits(const Format& format, std::uint64_t digits) {
  // Balanced coefficients take as much room below zero as above.
  return bias(format, digits).times(format.balanced ? 2 : 1) < product_of_primes(format.primes);
}

constexpr std::uint64_t largest_that_fits(const Format& format) {
  std::uint64_t n = 0;
  for (int bit = 50; bit >= 0; --bit)
    if (fits(format, n | std::uint64_t{1} << bit)) n |= std::uint64_t{1} << bit;
  return n;
}

struct Capacities {
  std::uint64_t digits[kFormatCount];
};
constexpr Capacities kCapacities = [] {
  Capacities c{};
  for (unsigned i = 0; i < kFormatCount; ++i) c.digits[i] = largest_that_fits(kFormats[i]);
  return c;
}();

}  // namespace

std::uint64_t capacity(unsigned format) { return kCapacities.digits[format]; }

unsigned first_format(std::uint64_t shorter, std::uint64_t sum) {
  unsigned i = 0;
  while (i < kFormatCount && digits_in(kFormats[i], shorter) > capacity(i) / sum) ++i;
  return i;
}

}  // namespace nmp::hybrid
