// How long the transforms of a product are and how many bits a digit has, from a proven bound.
//
// Bound. With u = 2^-53 a step that multiplies by twiddles, rounded to within b = u / sqrt(2), and
// adds with l roundings changes the transform of x, in the Euclidean norm, by at most the factor
// (1 + sqrt(5) u)(1 + b)(1 + u)^l; so it does for the other operand, and for the inverse the same
// factors bound each path from an input to an output. Cauchy-Schwarz then gives for the product of
// digits x and y, with F the factors of one transform,
//     error < |x| |y| ((1 + sqrt(5) u) F^3 - 1),
// which must stay below 1/2. |x|^2 is at most 4^(bits - 1) for each digit.
//
// Source: C. Percival, "Rapid multiplication modulo the sum and difference of highly composite
// numbers", 2003; R. Brent, C. Percival, P. Zimmermann, "Error bounds on complex floating-point
// multiplication", 2007 (the bound; sqrt(5) holds with and without fused multiply-add).
#pragma once

#include <cstddef>
#include <cstdint>

namespace nmp::fft {

/// One length of transforms, odd * 2^log points, odd one of 1, 3, 5, 7, 9.
struct Length {
  std::uint64_t points;
  unsigned odd, log;
  /// Largest |x| |y| for which the bound holds.
  double limit;
};

inline constexpr unsigned kMinLog = 6, kMaxLog = 31;
/// Longest transform that is one tree with a table of its own.
inline constexpr std::uint64_t kMaxDirectPoints = 9 << 10;

/// Radices of the steps, from the root down; returns how many. `top`: the first two steps are of
/// radix 4. `leaf` 1: none.
unsigned choose_radices(unsigned* radices, unsigned odd, unsigned log, unsigned leaf, unsigned high,
                        bool top);

/// How a length is laid out: a single row, or rows * 2^log_cols with `width` columns at a time.
struct Shape {
  explicit Shape(const Length& length);
  std::uint64_t points;
  unsigned odd, log_rows, log_cols;
  std::size_t stride;  ///< doubles from row to row
  std::size_t width;   ///< points
  bool single_row() const { return odd == 0; }
  std::size_t rows() const { return single_row() ? 1 : std::size_t{odd} << log_rows; }
  std::size_t cols() const { return static_cast<std::size_t>(points / rows()); }
  std::size_t strips() const { return cols() / width; }
  std::size_t plane_doubles() const { return rows() * stride; }
};

struct Plan {
  const Length* length = nullptr;  ///< null: none is long enough
  unsigned bits = 0;               ///< of a digit
  /// Words that its digits hold.
  std::size_t words() const { return static_cast<std::size_t>(length->points / 16 * bits); }
};

/// For products of al and bl words. `likely`: for digits as they come by chance, whose squares are
/// on average a third of the largest; the operands must then be measured.
Plan plan_product(std::uint64_t al, std::uint64_t bl, bool likely);
/// For sums of `sum` products modulo 2^(32 wrap) + 1, wrap >= words, one operand of each of
/// `shorter` words and the other of any length.
Plan plan_wrapped(std::uint64_t words, std::uint64_t shorter, unsigned sum);
/// No plan for products of `words` words in all, however divided, has a longer length.
const Length* longest_length(std::uint64_t words);

unsigned length_count();
const Length& length_at(unsigned number);

/// Estimated time of one transform, in units that only compare.
double cost(const Length& length);

}  // namespace nmp::fft
