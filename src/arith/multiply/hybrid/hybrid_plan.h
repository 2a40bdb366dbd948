// The shape of one transform: how many primes, how many points, how they are laid out.
//
// A plane holds the residues of one operand modulo one prime: `rows()` rows of `cols()` points,
// point number row * cols() + column being digit number row * cols() + column of the operand. Rows
// are `stride` doubles apart: a stride that is no power of two, because the columns of a power of
// two would fall into the same few sets of the caches. The transform works on columns first (strips
// of `width` columns, copied to a contiguous buffer), then on rows (Bailey, "FFTs in external or
// hierarchical memory", 1990).
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/multiply/hybrid/hybrid_kernels.h"

namespace nmp::hybrid {

/// Bits of a digit: one digit is two words.
inline constexpr std::size_t kWordsPerDigit = 2;

struct Plan {
  unsigned primes;     ///< 3 or 4
  unsigned odd;        ///< 1, 3, 5 or 15
  unsigned log_rows;   ///< rows() = odd * 2^log_rows
  unsigned log_cols;   ///< kMinLogRow .. kMaxLogRow
  std::size_t stride;  ///< doubles between rows
  std::size_t width;   ///< columns of a strip; divides cols()

  /// For products of `digits` digits, the shorter operand having at most `shorter`. Throws
  /// TransformTooSmallException when no number of primes holds the coefficients.
  Plan(std::uint64_t digits, std::uint64_t shorter);
  /// A given shape: 3 or 4 primes, odd * 2^log_rows rows of 2^log_cols points.
  Plan(unsigned primes, unsigned odd, unsigned log_rows, unsigned log_cols);

  std::size_t rows() const { return std::size_t{odd} << log_rows; }
  std::size_t cols() const { return std::size_t{1} << log_cols; }
  std::size_t points() const { return rows() << log_cols; }
  std::size_t plane_doubles() const { return rows() * stride; }
  bool single_row() const { return rows() == 1; }
  std::size_t strips() const { return single_row() ? 1 : cols() / width; }

  /// Estimated time of one transform for all primes and its share of the other passes, in units
  /// that only compare plans.
  double cost() const;

 private:
  void lay_out();
};

/// The lengths 2^k * {1, 3, 5, 15} in rising order, by number, and the number of the shortest one
/// that has `points` points.
std::uint64_t length_at(unsigned number);
unsigned length_number(std::uint64_t points);
/// How many there are.
unsigned length_count();

}  // namespace nmp::hybrid
