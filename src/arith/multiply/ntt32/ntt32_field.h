// The primes of the 32-bit NTT, their roots of unity and the tables that all products share.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "arith/multiply/ntt32/ntt32_kernels.h"

namespace nmp::n32 {

/// Every p - 1 is a multiple of this; lengths are 2^k and 3 * 2^k with k <= kMaxLog.
inline constexpr unsigned kMaxLog = 25;
inline constexpr std::uint32_t kRootOrder = 3u << kMaxLog;
/// Falling, each less than twice the next.
inline constexpr std::array<std::uint32_t, kPrimes> kPrimeValues = {
    21 * kRootOrder + 1, 20 * kRootOrder + 1, 18 * kRootOrder + 1};

enum Direction : unsigned { kForward, kInverse };

class Field {
 public:
  explicit Field(std::uint32_t p);
  Field(const Field&) = delete;
  Field& operator=(const Field&) = delete;

  std::uint32_t p() const { return p_; }
  std::uint32_t p_inverse() const { return p_inverse_; }  ///< modulo 2^32
  std::uint32_t power(std::uint32_t x, std::uint64_t exponent) const;
  std::uint32_t inverse(std::uint32_t x) const { return power(x, p_ - 2); }
  /// W^e for the root W of order n, n dividing kRootOrder; its inverse for kInverse.
  std::uint32_t root(Direction direction, std::uint32_t n, std::uint64_t e) const;
  Twiddles twiddles(Direction direction) const;

 private:
  static constexpr std::size_t kNodes = std::size_t{1} << kLeafLog;
  static constexpr std::size_t kEnds = kNodes / 64 * 56;
  struct Table {
    std::array<std::uint32_t, kNodes> value, quotient;
    std::array<std::uint32_t, kEnds> end_value, end_quotient;
  };
  void fill(Table& table, Direction direction) const;

  std::uint32_t p_, p_inverse_, root_[2];
  Table table_[2];
};

/// The field of prime k < kPrimes; built on first use and never moved.
const Field& field(std::size_t k);

}  // namespace nmp::n32
