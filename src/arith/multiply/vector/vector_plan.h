// The shape of one vector transform: which digits, and how the points are split for passes that
// work on one cache full at a time.
//
// Points are numbered row by row; rows have cols() points and lie one after the other. Before rows
// are transformed on their own, `levels` passes transform columns: level 0 sees all points as
// rows(0) runs of run(0) points; level 1 sees each of these runs as rows(1) shorter ones, and so
// on, until a run is a row. A strip of a level is `width` neighbouring columns: a piece of each of
// the runs of one block. So a transform of any length takes few passes, each over strips that fit
// the cache and that consist of runs (D. Bailey, "FFTs in external or hierarchical memory", 1990).
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/multiply/hybrid/hybrid_field.h"

namespace nmp::vector {

/// How operands are cut into digits, which are whole words.
struct Format {
  unsigned primes;
  unsigned words;  ///< of a digit
};
inline constexpr Format kFormats[] = {{7, 5}, {14, 10}};
inline constexpr unsigned kFormatCount = 2;
inline constexpr unsigned kMaxWordsPerDigit = 10;

/// Digits of the shorter operand for which the primes hold every coefficient of a product.
std::uint64_t capacity(unsigned format);

/// What a pass may take: rows of 2^log_row points and strips of so many doubles, those of all
/// primes together where they are worked on together. Both are half of a second-level cache.
struct Limits {
  unsigned log_row = hybrid::kMaxLogRow;
  std::size_t strip = std::size_t{1} << 16;
};

struct Plan {
  static constexpr unsigned kMaxLevels = 20;

  unsigned format;
  unsigned odd;       ///< 1, 3, 5 or 15: a factor of rows(0)
  unsigned log_cols;  ///< of the points of a row
  unsigned levels;
  unsigned log[kMaxLevels];        ///< rows(level), without the odd factor, as a power of two
  std::size_t width[kMaxLevels];   ///< columns of a strip
  std::size_t stride[kMaxLevels];  ///< doubles between the runs of a level: no power of two,
                                   ///< which would crowd into few sets of the caches

  /// `points` must be a length that exists and that can be addressed.
  Plan(unsigned format, std::uint64_t points, const Limits& limits);

  unsigned primes() const { return kFormats[format].primes; }
  unsigned log_points() const;
  std::size_t cols() const { return std::size_t{1} << log_cols; }
  std::size_t points() const { return std::size_t{odd} << log_points(); }
  std::size_t rows(unsigned level) const {
    return (level == 0 ? odd : 1u) * (std::size_t{1} << log[level]);
  }
  /// Blocks that a level works on one by one.
  std::size_t blocks(unsigned level) const;
  /// Points of a run of a level.
  std::size_t run(unsigned level) const { return points() / (blocks(level) * rows(level)); }
  std::size_t all_rows() const { return points() >> log_cols; }
  std::size_t strips(unsigned level) const { return blocks(level) * (run(level) / width[level]); }
  std::size_t plane_doubles() const { return rows(0) * stride[0]; }
  /// Where a row begins in a plane.
  std::size_t place(std::size_t row) const;
  /// Block `block` of a level, or for level `levels` row number `block`, is the transform modulo
  /// x^n - w^(n e), w being the root of order points(): this is e.
  std::size_t exponent(unsigned level, std::size_t block) const;
  std::size_t word_of(std::size_t digit) const { return digit * kFormats[format].words; }
};

/// The format and length for a product of so many words whose shorter operand has `shorter`. Throws
/// TransformTooSmallException past the largest product.
struct Length {
  unsigned format;
  std::uint64_t points;
};
Length best_length(std::uint64_t words, std::uint64_t shorter);

/// Whether planes of so many points can be addressed.
constexpr bool addressable(std::uint64_t points) {
  return points <= static_cast<std::size_t>(-1) / 512;
}

}  // namespace nmp::vector
