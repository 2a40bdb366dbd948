#include "series/brent_mcmillan_sizing.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "series/brent_mcmillan_leaf.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {
namespace {

/// Room that every number of a range has at least, so that end cases are never truncated.
constexpr std::size_t kLeastWords = 192;
/// Words kept beyond those needed, see the error analysis.
constexpr std::size_t kGuardWords = 4;
/// Ranges up to so many terms are sized by their last term alone.
constexpr std::uint64_t kShortRange = 256;
/// Levels of the recursion that the estimate of scratch follows node by node.
constexpr int kFollowedLevels = 7;

/// log2 of x!, by Stirling's series [AS1964, 6.1.41]; off by less than a bit up to 2^40.
double factorial_bits(double x) {
  double shift = 0;
  for (; x < 16; x += 1) shift += std::log(x + 1);
  constexpr double kHalfLn2Pi = 0.91893853320467274178;
  return ((x + 0.5) * std::log(x) - x + kHalfLn2Pi + 1 / (12 * x) - shift) / std::numbers::ln2;
}

double twos_below(const Parameters& parameters, std::uint64_t x) {
  double twos = 0;
  for (unsigned i = 1; i <= parameters.most_twos(); ++i) twos += static_cast<double>(x >> i);
  return twos;
}

std::size_t words_of(double bits) {
  return static_cast<std::size_t>(std::max(bits, 0.0) / kWordBits) + 1;
}

}  // namespace

unsigned Parameters::twos_of(std::uint64_t j) const {
  return std::min(static_cast<unsigned>(std::countr_zero(j)), most_twos());
}

std::uint64_t Parameters::shift(std::uint64_t a, std::uint64_t m) const {
  std::uint64_t twos = 0;
  for (unsigned i = 1; i <= most_twos(); ++i) twos += ((m + 1) >> i) - ((a + 1) >> i);
  return 2 * (k * (m - a) - twos);
}

Sizing::Sizing(const Context& context, const Parameters& parameters)
    : context_(context), parameters_(parameters) {
  const double n = std::ldexp(1.0, static_cast<int>(parameters.k));
  sum_bits_ = 2 * n / std::numbers::ln2 - std::log2(4 * std::numbers::pi * n) / 2;
}

/// log2 of (n^j/j!)^2.
double Sizing::term_bits(double j) const { return 2 * (parameters_.k * j - factorial_bits(j)); }

/// The largest of the terms a+1..b.
double Sizing::peak_bits(std::uint64_t a, std::uint64_t b) const {
  const std::uint64_t n = std::uint64_t{1} << parameters_.k;
  return term_bits(static_cast<double>(std::clamp(n, a + 1, b)));
}

double Sizing::needed_bits(std::uint64_t a, std::uint64_t b) const {
  const double sum = peak_bits(a, b) + std::log2(static_cast<double>(b - a)) - sum_bits_;
  return static_cast<double>(parameters_.target) * kWordBits + std::min(sum, 0.0);
}

Kept Sizing::kept(std::uint64_t a, std::uint64_t b) const {
  const auto words = [](double bits) {
    return std::max(words_of(bits) + kGuardWords, kLeastWords);
  };
  return {words(needed_bits(a, parameters_.terms)), words(needed_bits(a, b))};
}

Sizing::Bits Sizing::exact_bits(std::uint64_t a, std::uint64_t b) const {
  const auto terms = static_cast<double>(b - a);
  if (b - a <= kShortRange) {
    const auto last = static_cast<unsigned>(std::bit_width(b));
    return {terms * last, 2 * terms * std::max(parameters_.k, last) + 10};
  }
  const double twos = twos_below(parameters_, b) - twos_below(parameters_, a);
  const auto first = static_cast<double>(a + 1);
  const double D =
      factorial_bits(static_cast<double>(b)) - factorial_bits(static_cast<double>(a)) - twos + 2;
  // T = D^2 / (the odd part of a + 1)^2 times the sum of the terms over the first one.
  const double odd = std::log2(first) - parameters_.twos_of(a + 1);
  const double sum = peak_bits(a, b) - term_bits(first) + std::log2(terms);
  return {D, 2 * (D - odd) + sum + 4};
}

Words Sizing::result(std::uint64_t a, std::uint64_t b) const {
  const Bits bits = exact_bits(a, b);
  Words words{words_of(bits.D), 0, words_of(bits.T), 0};
  if (b - a > kShortRange) {
    // Ahead of truncation a sum has some words more.
    constexpr std::size_t kAhead = 8;
    const Kept most = kept(a, b);
    words.D = std::min(words.D, most.D + kAhead);
    words.T = std::min(words.T, most.T + kAhead);
  }
  // C and U have a word behind the point, and the sum of 1/j is below 2^6; T has room for a shift.
  words.D += 2;
  words.T += 3;
  words.C = words.D + 2;
  words.U = words.T + 2;
  return words;
}

bool Sizing::is_exact(std::uint64_t a, std::uint64_t b) const {
  if (is_end(a, b)) return true;
  const Bits bits = exact_bits(a, b);
  const Kept most = kept(a, b);
  return words_of(bits.D) + 2 <= most.D && words_of(bits.T) + 2 <= most.T;
}

bool Sizing::is_end(std::uint64_t a, std::uint64_t b) { return b - a <= Leaf::kMostTerms; }

double Sizing::expansion_factor() const {
  const double exact = 2 * exact_bits(0, parameters_.terms).D;
  return exact / (static_cast<double>(parameters_.target) * kWordBits);
}

std::size_t Sizing::scratch_bytes(std::uint64_t a, std::uint64_t b) const {
  return scratch_bytes(a, b, kFollowedLevels);
}

std::size_t Sizing::scratch_bytes(std::uint64_t a, std::uint64_t b, int levels) const {
  if (is_end(a, b)) return 0;
  const std::uint64_t m = split(a, b);
  const Words left = result(a, m), right = result(m, b);
  const std::size_t merging = merge_bytes(context_, left, right, kept(a, b));
  if (levels == 0) {
    // Below, the right halves of all levels together are no longer than the range itself; each
    // level rounds up four numbers. Merges are shorter than this one.
    constexpr std::size_t kLevels = 64, kRounding = 4 * carved_bytes<Word>(32);
    return result(a, b).bytes() + kLevels * kRounding + merging;
  }
  return std::max({scratch_bytes(a, m, levels - 1), right.bytes() + scratch_bytes(m, b, levels - 1),
                   right.bytes() + merging});
}

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
