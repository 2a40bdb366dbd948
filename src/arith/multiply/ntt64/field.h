// The primes of the 64-bit transform, their roots of unity and the shared tables of twiddles.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "arith/multiply/ntt64/modulus.h"

namespace nmp::n64 {

/// Primes of a transform: products of digits are recovered from this many residues.
inline constexpr std::size_t kPrimes = 3;
/// Every p - 1 is a multiple of this: the order of the roots, and a bound on transform lengths.
inline constexpr std::uint64_t kRootOrder = std::uint64_t{15} << 48;
inline constexpr std::array<std::uint64_t, kPrimes> kPrimeValues = {
    1041 * kRootOrder + 1, 1036 * kRootOrder + 1, 1027 * kRootOrder + 1};
/// Blocks of up to this many points work from the tables alone.
inline constexpr std::size_t kLeafPoints = std::size_t{1} << 14;

class Field {
 public:
  explicit Field(std::uint64_t p);
  Field(const Field&) = delete;
  Field& operator=(const Field&) = delete;

  const Modulus& modulus() const { return modulus_; }

  /// W^e for the root W of order n, n dividing kRootOrder, any e. root(n, e)^k = root(n / k, e).
  std::uint64_t root(std::uint64_t n, std::uint64_t e) const;
  /// W^e for the root W of order 15: looked up.
  std::uint64_t root15(std::uint64_t e) const { return roots15_[e % 15]; }

  /// Twiddles of a cyclic transform of up to kLeafPoints points, in bit-reversed order: node j of
  /// a level splits x^2m - t^2 into x^m - t and x^m + t with t = twiddles()[j], so t[2 j]^2 = t[j]
  /// and t[2 j + 1] = t[1] t[2 j]. The order does not depend on the level.
  const Factor* twiddles() const { return twiddles_.data(); }
  /// Their inverses, in the same order.
  const Factor* inverse_twiddles() const { return inverse_twiddles_.data(); }

 private:
  using Table = std::array<Factor, kLeafPoints / 2>;
  std::uint64_t find_root() const;
  void fill(Table& table, bool inverse) const;

  Modulus modulus_;
  std::uint64_t root_;  ///< of order kRootOrder
  std::array<std::uint64_t, 15> roots15_;
  Table twiddles_, inverse_twiddles_;
};

/// The field of prime k < kPrimes; built on first use and never moved.
const Field& field(std::size_t k);

}  // namespace nmp::n64
