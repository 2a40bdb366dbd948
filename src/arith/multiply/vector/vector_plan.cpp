#include "arith/multiply/vector/vector_plan.h"

#include <algorithm>
#include <bit>

#include "arith/multiply/hybrid/hybrid_format.h"
#include "arith/multiply/hybrid/hybrid_plan.h"
#include "foundation/exceptions.h"

namespace nmp::vector {
namespace {

using hybrid::Limbs;

/// Narrowest strip: what the loops take at once, two lines of a cache.
constexpr std::size_t kMinWidth = 16, kMaxWidth = 128;
/// Doubles by which runs lie further apart than they are long.
constexpr std::size_t kPadding = 8;

constexpr bool fits(const Format& format, std::uint64_t digits) {
  const unsigned bits = 32 * format.words;
  const Limbs x = Limbs(digits).shifted(bits) - Limbs(digits);  // digits * (2^bits - 1)
  return x.shifted(bits) - x < hybrid::product_of_primes(format.primes);
}

constexpr std::uint64_t largest_that_fits(const Format& format) {
  std::uint64_t n = 0;
  for (int bit = 60; bit >= 0; --bit)
    if (fits(format, n | std::uint64_t{1} << bit)) n |= std::uint64_t{1} << bit;
  return n;
}
constexpr std::uint64_t kCapacity[kFormatCount] = {largest_that_fits(kFormats[0]),
                                                   largest_that_fits(kFormats[1])};
static_assert(kCapacity[1] >= hybrid::kUnit, "The longest transform holds any two operands.");

std::size_t reversed(std::size_t x, unsigned bits) {
  std::size_t result = 0;
  for (; bits > 0; --bits, x >>= 1) result = result << 1 | (x & 1);
  return result;
}

unsigned log2_floor(std::size_t x) {
  return static_cast<unsigned>(std::bit_width(std::max<std::size_t>(x, 1))) - 1;
}

}  // namespace

std::uint64_t capacity(unsigned format) { return kCapacity[format]; }

Plan::Plan(unsigned digit_format, std::uint64_t points, const Limits& limits)
    : format(digit_format) {
  const unsigned log_all = static_cast<unsigned>(std::countr_zero(points));
  odd = static_cast<unsigned>(points >> log_all);
  log_cols = std::min(log_all, limits.log_row);
  const unsigned most_first = log2_floor(limits.strip / (kMinWidth * primes() * odd));
  const unsigned most = std::clamp(log2_floor(limits.strip / kMinWidth), 2u, hybrid::kMaxLogRow);
  unsigned rest = log_all - log_cols;
  levels = 1;
  while (most_first + (levels - 1) * most < rest) ++levels;
  for (unsigned i = 0; i < levels; ++i) {
    const unsigned share = (rest + levels - i - 1) / (levels - i);
    // What level 0 cannot take is left to the others, which take as much as they must.
    log[i] = i == 0 ? std::min(share, most_first) : share;
    rest -= log[i];
    const std::size_t strip_rows = rows(i) * (i == 0 ? primes() : 1);
    width[i] = std::clamp(std::bit_floor(limits.strip / strip_rows), kMinWidth, kMaxWidth);
    width[i] = std::min(width[i], cols());
  }
  std::size_t inner = cols();
  for (unsigned i = levels; i-- > 0; inner = rows(i) * stride[i])
    stride[i] = inner + (all_rows() == 1 ? 0 : kPadding);
}

unsigned Plan::log_points() const {
  unsigned sum = log_cols;
  for (unsigned i = 0; i < levels; ++i) sum += log[i];
  return sum;
}

std::size_t Plan::blocks(unsigned level) const {
  std::size_t product = 1;
  for (unsigned i = 0; i < level; ++i) product *= rows(i);
  return product;
}

std::size_t Plan::place(std::size_t row) const {
  std::size_t at = 0;
  for (unsigned i = levels - 1; i > 0; --i) {
    at += (row & (rows(i) - 1)) * stride[i];
    row >>= log[i];
  }
  return at + row * stride[0];
}

std::size_t Plan::exponent(unsigned level, std::size_t block) const {
  std::size_t e = 0;
  for (unsigned i = level; i-- > 1; block >>= log[i])
    e += blocks(i) * reversed(block & (rows(i) - 1), log[i]);
  if (level == 0) return 0;
  const std::size_t part = block >> log[0], node = block & ((std::size_t{1} << log[0]) - 1);
  return e + part + odd * reversed(node, log[0]);
}

Length best_length(std::uint64_t words, std::uint64_t shorter) {
  for (unsigned f = 0; f < kFormatCount; ++f) {
    const std::uint64_t w = kFormats[f].words, digits = (words + w - 1) / w;
    if ((shorter + w - 1) / w > capacity(f)) continue;
    for (unsigned i = 0; i < hybrid::length_count(); ++i)
      if (hybrid::length_at(i) >= digits) return {f, hybrid::length_at(i)};
  }
  throw TransformTooSmallException("vector::best_length()",
                                   "No transform is long enough for this product.");
}

}  // namespace nmp::vector
