// The inner loops of the floating-point FFT, as a table that each instruction set fills in.
//
// Shape. A number in balanced digits d_0 .. d_(2m-1) is a polynomial over the reals, taken modulo
// x^(2m) + 1. That ring is the complex polynomials modulo x^m - i: the m points d_j + i d_(j+m).
// One transform of length m, with neither weights nor a step from complex to real.
//
// Nodes. A radix-r step splits x^(rh) - z, with z = e(t), into the r factors x^h - e((t + q) / r):
// multiply part p by c^p, c = e(t / r), then take r-point transforms across the parts. The nodes of
// a level are numbered so that node j has the children rj .. rj + r - 1. All twiddles of a node are
// constants; nothing is ever put in order, since products are taken point by point.
//
// Storage. Blocks of 8 points: 8 real parts, then 8 imaginary parts. Every size below is in blocks.
//
// Source: A. Schonhage's right-angle convolution as in R. Crandall, B. Fagin, "Discrete weighted
// transforms and large-integer arithmetic", 1994; node order: D. Bernstein, "Multidigit
// multiplication for mathematicians", 2001.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/word.h"

namespace nmp::fft {

inline constexpr std::size_t kBlock = 8;  ///< points of a block
inline constexpr std::size_t kBlockDoubles = 2 * kBlock;
/// Steps above the leaves, at most.
inline constexpr unsigned kMaxLevels = 24;
/// Bits of a digit.
inline constexpr unsigned kMinBits = 4, kMaxBits = 21;
/// From this many bits on, two coefficients side by side may pass 63 bits.
inline constexpr unsigned kWideBits = 18;

/// One step of a tree: for each node c, c^2, .. c^(radix-1), real and imaginary part in turn.
struct Level {
  unsigned radix;  ///< 2, 3, 4, 5, 7 or 8
  const double* twiddles;
};

/// The steps of one transform from the root down; then leaves of leaf * leaf points, two steps of
/// radix `leaf` in registers, the lanes of a vector being nodes in the second. For each leaf: the
/// twiddles of the second step (leaf - 1 times `leaf` real and `leaf` imaginary parts), those of
/// the first, and two doubles of padding. The last step of columns has no leaves.
struct Tree {
  unsigned levels;
  Level level[kMaxLevels];
  const double* leaves;  ///< null for columns
};

/// Twiddles of the two radix-4 steps at the top of one row, x^n - z, and the factors that turn the
/// 16 nodes below into those of x^n - i: points, n / 16 of them, in blocks.
struct RowTop {
  const double* twiddles;  ///< 3, then 4 times 3, complex
  const double* twist;
};

/// One summand of a pointwise product.
struct PointTerm {
  const double* a;
  const double* b;
  bool negative;
};

struct Kernels {
  unsigned leaf;  ///< radix of the leaves, 4 or 8
  unsigned high;  ///< radix of the steps where it divides the length: 4 or 8
  /// Digits first, first + 1, .. of words[0, count), 8 for each of `blocks` blocks, to the real (or
  /// imaginary) parts at x, x + 16, ..; zeros past the end. `first` is a multiple of 8. Digit j is
  /// bits [j b, (j + 1) b) as a signed number plus the bit below them: at most 2^(b - 1) in
  /// magnitude. Adds their squares to `squares`, which is what these kBlock numbers stand for in
  /// all.
  void (*load)(double* x, std::size_t blocks, const Word* words, std::size_t count,
               std::size_t first, unsigned bits, double* squares);
  /// Transforms of `blocks` blocks; inverse without the division by the length.
  void (*forward)(double* x, std::size_t blocks, const Tree* tree);
  void (*inverse)(double* x, std::size_t blocks, const Tree* tree);
  /// Columns of `rows` rows, `blocks` blocks side by side; rows are `stride` doubles apart.
  void (*forward_columns)(double* x, std::size_t blocks, std::size_t stride, std::size_t rows,
                          const Tree* tree);
  void (*inverse_columns)(double* x, std::size_t blocks, std::size_t stride, std::size_t rows,
                          const Tree* tree);
  /// The top of a row; the rest is `tree` from level 2 on.
  void (*forward_row)(double* x, std::size_t blocks, const RowTop* top, const Tree* tree);
  void (*inverse_row)(double* x, std::size_t blocks, const RowTop* top, const Tree* tree);
  /// twist = fine[j] * coarse[i] for point 16 i + j, from 16 fine points in two blocks and `count`
  /// coarse ones, real and imaginary part in turn.
  void (*make_twist)(double* twist, const double* fine, const double* coarse, std::size_t count);
  /// z = the sum of +- a * b, point by point, in the blocks from double number `first` on; z may be
  /// any of the operands.
  void (*multiply)(double* z, const PointTerm* terms, std::size_t count, std::size_t first,
                   std::size_t blocks);
  /// Rounds scale * x, as `load` reads them, to integers c_0, c_1, ..; writes the low 8 b bits of
  /// each block of carry + sum c_j 2^(j b), and returns what is above. worst[0, kBlock) are raised
  /// to the distances of the rounded numbers from their integers. [b] is for digits of b bits.
  std::int64_t (*store[kMaxBits + 1])(unsigned char* out, const double* x, std::size_t blocks,
                                      std::int64_t carry, double scale, double* worst);
};

extern const Kernels kKernelsGeneric, kKernelsAvx2, kKernelsAvx512;

}  // namespace nmp::fft
