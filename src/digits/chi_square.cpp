#include "digits/chi_square.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "foundation/format.h"

namespace nmp {
namespace {

constexpr int kMostTerms = 10'000;
constexpr double kSmallest = 1e-300;  ///< stands in for 0 in a denominator
constexpr int kColumns = 79;
constexpr int kMostBar = 20;
/// A full bar is at least this many standard deviations, so that noise looks small.
constexpr double kLeastFullBar = 4;
/// Expected counts below this make the test say little.
constexpr double kLeastExpected = 5;
constexpr double kSuspicious = 1e-4;

/// P(a, x) / (x^a e^-x / Gamma(a)): converges fast for x < a + 1.
double series(double a, double x) {
  double term = 1 / a, sum = term;
  for (int n = 1; n < kMostTerms && term > sum * 1e-17; ++n) sum += term *= x / (a + n);
  return sum;
}

/// Q(a, x) / (x^a e^-x / Gamma(a)): converges fast for x > a + 1.
double continued_fraction(double a, double x) {
  double b = x + 1 - a, c = 1 / kSmallest, d = 1 / b, value = d;
  for (int n = 1; n < kMostTerms; ++n) {
    const double numerator = n * (a - n);
    b += 2;
    d = numerator * d + b;
    c = b + numerator / c;
    if (std::fabs(d) < kSmallest) d = kSmallest;
    if (std::fabs(c) < kSmallest) c = kSmallest;
    d = 1 / d;
    value *= c * d;
    if (std::fabs(c * d - 1) < 1e-16) break;
  }
  return value;
}

double expected(const DigitCounts& counts) {
  return static_cast<double>(counts.total()) / counts.radix();
}

/// count - expected without losing what two large numbers have in common.
double deviation(const DigitCounts& counts, unsigned value) {
  const std::uint64_t whole = counts.total() / counts.radix();
  const double rest = static_cast<double>(counts.total() % counts.radix()) / counts.radix();
  return static_cast<double>(static_cast<std::int64_t>(counts.count(value) - whole)) - rest;
}

std::string with_sign(double x) {
  const double size = std::fabs(std::round(x));
  const std::string digits = with_commas(static_cast<std::uint64_t>(size));
  return size == 0 ? digits : (x < 0 ? "-" : "+") + digits;
}

std::string right_aligned(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string formatted(const char* format, double x) {
  char text[48];
  std::snprintf(text, sizeof text, format, x);
  return text;
}

std::string verdict(const DigitCounts& counts, double probability) {
  if (expected(counts) < kLeastExpected) return "These digits are too few for a judgement.";
  if (probability < kSuspicious) return "These digits are less even than random ones would be.";
  if (probability > 1 - kSuspicious) return "These digits are more even than random ones would be.";
  return "These digits are as even as random ones would be.";
}

}  // namespace

double upper_gamma_share(double a, double x) {
  if (x <= 0) return 1;
  const double factor = std::exp(a * std::log(x) - x - std::lgamma(a));
  const double share = x < a + 1 ? 1 - factor * series(a, x) : factor * continued_fraction(a, x);
  return std::clamp(share, 0.0, 1.0);
}

double chi_square(const DigitCounts& counts) {
  if (counts.total() == 0) return 0;
  double sum = 0;
  for (unsigned value = 0; value < counts.radix(); ++value)
    sum += deviation(counts, value) * deviation(counts, value);
  return sum / expected(counts);
}

double chi_square_probability(const DigitCounts& counts) {
  return upper_gamma_share((counts.radix() - 1) / 2.0, chi_square(counts) / 2);
}

std::vector<std::string> deviation_picture(const DigitCounts& counts) {
  const unsigned radix = counts.radix();
  const double sigma = std::sqrt(expected(counts) * (1 - 1.0 / radix));
  double full = kLeastFullBar;
  std::size_t width = 6;
  for (unsigned value = 0; value < radix && sigma > 0; ++value) {
    full = std::max(full, std::fabs(deviation(counts, value)) / sigma);
    width = std::max(width, with_sign(deviation(counts, value)).size());
  }
  const int used = 8 + static_cast<int>(width) + 12 + 1;  // all of a line but its two bars
  const int half = std::clamp((kColumns - used) / 2, 5, kMostBar);

  std::vector<std::string> lines = {"Deviation from the expected count of " +
                                    with_commas(counts.total() / radix) +
                                    ", also in standard deviations (s):"};
  for (unsigned value = 0; value < radix; ++value) {
    const double away = sigma > 0 ? deviation(counts, value) / sigma : 0;
    const auto bar = static_cast<std::size_t>(std::lround(std::fabs(away) / full * half));
    const std::string blank(static_cast<std::size_t>(half), ' '), marks(bar, '#');
    const std::string picture =
        away < 0 ? right_aligned(marks, static_cast<std::size_t>(half)) + "|" : blank + "|" + marks;
    lines.push_back(std::string("    ") + "0123456789abcdef"[value] + " : " +
                    right_aligned(with_sign(deviation(counts, value)), width) +
                    right_aligned(formatted(std::fabs(away) < 9999 ? "%+.2f" : "%+.1e", away), 9) +
                    " s " + picture);
  }
  const double probability = chi_square_probability(counts);
  lines.push_back("Chi-square:   " + formatted("%.6g", chi_square(counts)) + "  (" +
                  std::to_string(radix - 1) + " degrees of freedom)");
  lines.push_back("Probability:  " + formatted("%.4g", probability) +
                  "  of a larger one for random digits");
  lines.push_back(verdict(counts, probability));
  return lines;
}

}  // namespace nmp
