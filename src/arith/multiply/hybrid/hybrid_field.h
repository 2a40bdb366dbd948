// The primes of the hybrid NTT: their roots of unity and the tables that all products share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/multiply/hybrid/hybrid_format.h"
#include "arith/multiply/hybrid/hybrid_kernels.h"

namespace nmp::hybrid {

/// Longest row, as a power of two.
inline constexpr unsigned kMaxLogRow = 14;

enum Direction : unsigned { kForward, kInverse };

/// 0, 1, 2, 3 for the odd factors 1, 3, 5, 15.
constexpr unsigned odd_index(unsigned odd) {
  return odd == 1 ? 0 : odd == 3 ? 1 : odd == 5 ? 2 : 3;
}

/// Whether products modulo p keep the bounds that the kernels state: with e the relative error of
/// fl(1/p) and |ab| < 2p^2 the quotient's error is below 2pe + ulp(ab)/2p + 1/2 + ulp(2p)/2, which
/// must leave |result| < p; likewise |result| < 3p/2 for |ab| < 4p^2.
bool rounding_holds(std::uint64_t p);

/// One prime. Roots are signed residues, at most p / 2 in magnitude.
struct Field {
  std::uint64_t p;
  Modulus mod;
  /// [direction][odd_index][k]: a root of order odd * 2^k. All are powers of one root.
  double root[2][4][kMaxLogLength + 1];
  OddRoots odd_roots[2][4];
  std::uint64_t inverse_of_two;
  /// [odd_index][k]: 1 / (odd * 2^k).
  double inverse_of_length[4][kMaxLogLength + 1];
  /// bias(format, 1) of each format.
  std::uint64_t bias[kFormatCount];
  /// Row trees with z = 1: [direction][log], from log = kMinLogRow.
  Tree row[2][kMaxLogRow + 1];
  alignas(64) double roots_in_order[2][std::size_t{1} << (kMaxLogRow - 1)];
  alignas(64) double blocks[2][std::size_t{1} << kMaxLogRow];

  std::uint64_t multiply(std::uint64_t a, std::uint64_t b) const;
  std::uint64_t power(std::uint64_t a, std::uint64_t exponent) const;
  double centred(std::uint64_t a) const;
  std::uint64_t residue(const Limbs& x) const;
};

/// Fills `f` for the prime p. Throws AlgorithmFailedException where `rounding_holds` does not.
void build(Field& f, std::uint64_t p, const Kernels& kernels);

struct Fields {
  Field field[kMaxPrimes];
  Garner garner;
};

/// Built by the first caller with each set of kernels.
const Fields& fields(const Kernels& kernels);

}  // namespace nmp::hybrid
