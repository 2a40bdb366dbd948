// The inner loops of the 32-bit NTT, as a table that each instruction set fills in.
//
// Residues are words in [0, p), p < 2^31. A fixed factor w travels with floor(w 2^32 / p), so that
// a product costs no division (V. Shoup's trick; D. Harvey, "Faster arithmetic for number-theoretic
// transforms", 2014). Node order as in Bernstein, "Multidigit multiplication for mathematicians",
// 2001: node j of a level splits x^(2h) - t[j]^2 into x^h - t[j] and x^h + t[j], its children
// 2j and 2j + 1, with t[j] the roots of 1 in bit-reversed order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nmp::n32 {

inline constexpr std::size_t kPrimes = 3;
/// Leaves are transformed in the first-level cache, from tables alone.
inline constexpr unsigned kLeafLog = 13;
/// The shortest leaf: what ends a leaf works on 8 nodes of 8 points.
inline constexpr unsigned kLeastLeafLog = 6;

struct Factor {
  std::uint32_t value;
  std::uint32_t quotient;  ///< floor(value * 2^32 / p)
};
inline Factor make_factor(std::uint64_t w, std::uint32_t p) {
  return {static_cast<std::uint32_t>(w), static_cast<std::uint32_t>((w << 32) / p)};
}

/// Factors as two arrays.
struct Factors {
  const std::uint32_t* value;
  const std::uint32_t* quotient;
  Factor operator[](std::size_t i) const { return {value[i], quotient[i]}; }
};

/// Twiddles of one prime and one direction.
struct Twiddles {
  Factors nodes;  ///< t[j], j < 2^kLeafLog
  /// For each 8 nodes J of 8 points, 8 values each of t[J], t[2J], t[2J+1], t[4J] .. t[4J+3].
  Factors ends;
};

/// What turns three residues, times `scale` each, into one integer.
struct Garner {
  std::uint32_t p[kPrimes];
  Factor scale[kPrimes];
  Factor inverse01, inverse02, inverse12;  ///< 1 / p_i modulo p_k
};

struct Kernels {
  /// x[0, n) = words[0, n) modulo p.
  void (*load)(std::uint32_t* x, const std::uint32_t* words, std::size_t n, std::uint32_t p);
  /// Two levels of node j: points [first, last) of each of its four quarters, a multiple of 8.
  void (*split4)(std::uint32_t* x, std::size_t quarter, std::size_t first, std::size_t last,
                 const Factors& nodes, std::size_t j, std::uint32_t p);
  void (*join4)(std::uint32_t* x, std::size_t quarter, std::size_t first, std::size_t last,
                const Factors& nodes, std::size_t j, std::uint32_t p);
  /// One level of node 0.
  void (*split2)(std::uint32_t* x, std::size_t half, std::size_t first, std::size_t last,
                 std::uint32_t p);
  void (*join2)(std::uint32_t* x, std::size_t half, std::size_t first, std::size_t last,
                std::uint32_t p);
  /// Thirds q = 0, 1, 2 become x0 + w^q x1 + w^(2q) x2, w a third root of 1.
  void (*thirds)(std::uint32_t* x, std::size_t third, std::size_t first, std::size_t last, Factor w,
                 std::uint32_t p);
  /// Node 0 of 2^log points, down to single points in an order of its own.
  void (*split_leaf)(std::uint32_t* x, unsigned log, const Twiddles& t, std::uint32_t p);
  void (*join_leaf)(std::uint32_t* x, unsigned log, const Twiddles& t, std::uint32_t p);
  /// x[j] *= start * step^j for j < n, n a multiple of 8.
  void (*twist)(std::uint32_t* x, std::size_t n, std::uint32_t start, std::uint32_t step,
                std::uint32_t p);
  /// a[j] = a[j] * b[j] / 2^32 modulo p; p * p_inverse = 1 modulo 2^32.
  void (*multiply)(std::uint32_t* a, const std::uint32_t* b, std::size_t n, std::uint32_t p,
                   std::uint32_t p_inverse);
  /// out[0, n) = the words of the sum of v_j 2^(32 j) + carry, v_j the integer with the residues
  /// r[k][j] * scale; returns the new carry. r is readable up to the next multiple of 8.
  std::uint64_t (*store)(std::uint32_t* out, const std::uint32_t* const* r, std::size_t n,
                         const Garner& garner, std::uint64_t carry);
};

extern const Kernels kKernelsGeneric;
extern const Kernels kKernelsAvx2;

}  // namespace nmp::n32
