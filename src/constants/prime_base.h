// Numbers over the first few primes.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace numforge {

/// The primes 2, 3, 5, ... 19, of which the first m are in use.
class PrimeBase {
 public:
  static constexpr unsigned kMost = 8;
  static constexpr std::array<std::uint32_t, kMost> kPrimes = {2, 3, 5, 7, 11, 13, 17, 19};
  using Exponents = std::array<std::int64_t, kMost>;

  /// 1 <= m <= kMost.
  explicit PrimeBase(unsigned m) : m_(m) {}

  unsigned size() const { return m_; }
  /// x freed of the primes of the base, x > 0.
  std::uint64_t cofactor(std::uint64_t x) const;
  bool is_smooth(std::uint64_t x) const { return cofactor(x) == 1; }
  /// sum += times * the exponents of x's primes.
  void add_exponents(Exponents& sum, std::uint64_t x, std::int64_t times) const;
  /// All numbers from 1 to `most` that are products of the base's primes, ascending.
  std::vector<std::uint64_t> smooth_numbers(std::uint64_t most) const;

 private:
  unsigned m_;
};

}  // namespace numforge
