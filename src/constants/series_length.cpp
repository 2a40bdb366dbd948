#include "constants/series_length.h"

#include <cmath>

namespace numforge::Formulas {

std::uint64_t linear_series_terms(double rate, std::size_t p) {
  return static_cast<std::uint64_t>(std::ceil(static_cast<double>(p) * kNatsPerWord / rate)) + 3;
}

std::uint64_t factorial_series_terms(std::size_t p) {
  const double nats = static_cast<double>(p) * kNatsPerWord;
  // 1 - ln(2 pi)/2; the neglected 1/(12 N) errs on the safe side.
  constexpr double kStirling = 0.081061466795327258219670263594382360138602526362217;
  const auto ln_factorial = [](double n) { return (n + 0.5) * std::log(n) - n + 1 - kStirling; };
  std::uint64_t low = 1, high = 4;
  while (ln_factorial(static_cast<double>(high)) < nats) high *= 2;
  while (high - low > 1) {
    const std::uint64_t middle = low + (high - low) / 2;
    (ln_factorial(static_cast<double>(middle)) < nats ? low : high) = middle;
  }
  return high;
}

}  // namespace numforge::Formulas
