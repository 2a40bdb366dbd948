// The inner loops of the hybrid NTT, as a table that each instruction set fills in.
//
// Residues are doubles that hold integers: signed, not normalised, each function keeps the bound
// that its comment states. With p < 2^50 and a prime that passed `rounding_holds`, every
// operation below is exact.
//
// Node order. A transform splits x^(4h) - z into four factors x^h - c, again and again. The nodes
// of a level are numbered so that node j has the children 4j .. 4j+3; with t[j] the square roots of
// 1 in bit-reversed order (t[0] = 1, t[1] = i, t[2] = e(1/8), ...) node j multiplies by t[j], t[2j]
// and t[2j+1]. Twiddles are constant inside a node and do not depend on the length, so a table for
// one length is the start of the table for the next.
//
// Source: D. Harvey, "Faster arithmetic for number-theoretic transforms", 2014; J. van der Hoeven,
// G. Lecerf, G. Quintin, "Modular SIMD arithmetic in Mathemagix", 2014 (products modulo p in
// doubles); D. Bernstein, "Multidigit multiplication for mathematicians", 2001 (node order).
#pragma once

#include <cstddef>
#include <cstdint>

namespace nmp::hybrid {

inline constexpr unsigned kMaxPrimes = 5;
/// Primes of the vector transform, at most.
inline constexpr unsigned kWidePrimes = 14;
/// Radix-4 levels of one tree, at most.
inline constexpr unsigned kMaxLevels = 20;
/// Shortest row: no set of instructions ends rows in longer blocks.
inline constexpr unsigned kMinLogRow = 6;

struct Modulus {
  double p;
  double inverse;  ///< 1 / p, rounded
};

/// Twiddles of one radix-4 level: node j uses w2[j], w[2j] and w[2j + 1].
struct Level {
  const double* w2;
  const double* w;
};

/// Twiddles for splitting x^(2^log) - z into linear factors (columns) or into blocks (rows).
struct Tree {
  unsigned log;
  double half;              ///< the radix-2 step at the root, when `log` is odd
  Level level[kMaxLevels];  ///< from the root down
  const double* blocks;     ///< rows only: a double for each point, in the kernel's own order
};

/// Constants of the radix-3 and radix-5 steps for one direction.
struct OddRoots {
  double half3, sine3;          ///< -1/2, (w - w^2) / 2
  double cosine5[2], sine5[2];  ///< (w^k + w^-k) / 2, (w^k - w^-k) / 2
};

/// The column transform: `odd` is 1, 3, 5 or 15, followed by one tree for each of `odd` parts.
struct Columns {
  unsigned odd;
  OddRoots roots;
  const Tree* trees;
};

/// Constants that turn K residues into one integer.
struct Garner {
  Modulus mod[kMaxPrimes];
  double inverse[kMaxPrimes][kMaxPrimes];       ///< [i][k] = 1 / p_i modulo p_k, for i < k
  std::uint64_t radix[kMaxPrimes][kMaxPrimes];  ///< [k] = p_0 ... p_(k-1), little-endian
};

/// What a stream of digits carries into the next one: 192 bits.
struct Carry {
  std::uint64_t limb[3];
};

/// The same for the digits of whole words that the vector transform takes: 384 bits go from one
/// digit to the next.
struct WideGarner {
  Modulus mod[kWidePrimes];
  double inverse[kWidePrimes][kWidePrimes];
};
struct WideCarry {
  std::uint64_t limb[6];
};

/// Like `load`, but of words[0, word_count) the digits that begin with word number `at`.
using LoadDigits = void (*)(double* out, std::size_t digits, const std::uint32_t* words,
                            std::size_t at, std::size_t word_count, Modulus m);
using StoreDigits = void (*)(std::uint32_t* out, const double* const* r, std::size_t n,
                             Carry* carry, const Garner* garner);
using StoreWide = void (*)(std::uint32_t* out, const double* const* r, std::size_t n,
                           WideCarry* carry, const WideGarner* garner);

struct Kernels {
  /// out[0, digits) = the 64-bit digits of words[0, word_count), modulo p; zeros past the end.
  /// |out| < p + 2^32. `digits` is a multiple of 16.
  void (*load)(double* out, std::size_t digits, const std::uint32_t* words, std::size_t word_count,
               Modulus m);
  /// t[0, 2^log) from root[a] of order 2^a. |t| <= p / 2. root[0, log + 1] are read.
  void (*make_roots)(double* t, unsigned log, const double* root, Modulus m);
  /// out[i] = base^i for i < n. |base|, |out| <= p / 2.
  void (*make_powers)(double* out, std::size_t n, double base, Modulus m);
  /// The `blocks` table of a tree with z = 1 for rows of n points, from t[0, n / 2).
  void (*make_blocks)(double* blocks, const double* t, std::size_t n);
  /// to = the tree `from` (which has z = 1) for z = s^(2^log). `storage` holds
  /// scaled_row_doubles(log) doubles, or scaled_column_doubles(log) where `from` has no blocks.
  void (*scale_tree)(Tree* to, double* storage, const Tree* from, double s, Modulus m);
  /// Rows of 2^tree.log points, kMinLogRow at least. Forward: |x| < 7p/2 to |x| < 7p/2. Inverse,
  /// without the division by the length: |x| < 2p to |x| < 2p.
  void (*forward_row)(double* x, const Tree* tree, Modulus m);
  void (*inverse_row)(double* x, const Tree* tree, Modulus m);
  /// Column transforms: odd * 2^log rows of `width` doubles, a multiple of 16. Bounds as for rows,
  /// but the forward transform wants |x| < 2p. Forward from a contiguous strip, which is spoiled,
  /// to rows that are `stride` doubles apart; only the first `filled` rows may be other than zero,
  /// see `reads_half`. Inverse from such rows to the strip; `filled` is not used.
  void (*forward_columns)(double* strip, std::size_t width, std::size_t filled, double* rows,
                          std::size_t stride, const Columns* columns, Modulus m);
  void (*inverse_columns)(double* strip, std::size_t width, std::size_t filled, double* rows,
                          std::size_t stride, const Columns* columns, Modulus m);
  /// Digits of sum v_i 2^(64 i), v_i the integer with the residues r[0][i] .. r[2][i], |r| < 2p:
  /// writes n digits (a multiple of 16) and continues `carry`.
  StoreDigits store;
  /// out = a * b * factor, |a|, |b| < 7p/2 to |out| < 3p/2; and out = out + a * b * factor, for
  /// |out| < 3p/2 and the same result. n is a multiple of 16; `out` may be an operand; a == b is a
  /// square.
  void (*multiply)(double* out, const double* a, const double* b, std::size_t n, double factor,
                   Modulus m);
  void (*multiply_add)(double* out, const double* a, const double* b, std::size_t n, double factor,
                       Modulus m);
  /// Digits that are signed, three primes, and digits of 11, 13 and 14 bytes, 4, 5 and 5 primes.
  LoadDigits load_balanced, load_long[3];
  StoreDigits store_long[3];
  /// Digits of 20 and 40 bytes, 7 and 14 primes.
  LoadDigits load_wide[2];
  StoreWide store_wide[2];
};

/// Whether a forward transform of columns reads no more than the first half of its rows.
constexpr bool reads_half(unsigned odd, unsigned log, std::size_t filled) {
  return odd == 1 && log >= 2 && filled <= std::size_t{1} << (log - 1);
}

/// Doubles that `scale_tree` fills.
constexpr std::size_t scaled_row_doubles(unsigned log) {
  return (std::size_t{1} << log) + ((std::size_t{1} << log) >> 4) * 2 + 256;
}
constexpr std::size_t scaled_column_doubles(unsigned log) {
  return (std::size_t{1} << log) * 2 + 256;
}

extern const Kernels kKernelsAvx2;
extern const Kernels kKernelsAvx512;

}  // namespace nmp::hybrid
