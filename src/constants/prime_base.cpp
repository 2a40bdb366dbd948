#include "constants/prime_base.h"

#include <algorithm>
#include <bit>

namespace numforge {
namespace {

/// An odd prime divides x if x / p modulo 2^64 is no larger than (2^64 - 1) / p; then it is x / p.
struct OddDivisor {
  std::uint64_t inverse, most;
};

constexpr OddDivisor odd_divisor(std::uint64_t p) {
  std::uint64_t inverse = (3 * p) ^ 2;
  for (int step = 0; step < 4; ++step) inverse *= 2 - p * inverse;
  return {inverse, ~std::uint64_t{0} / p};
}

constexpr auto kDivisors = [] {
  std::array<OddDivisor, PrimeBase::kMost> divisors{};
  for (unsigned i = 1; i < PrimeBase::kMost; ++i) divisors[i] = odd_divisor(PrimeBase::kPrimes[i]);
  return divisors;
}();

}  // namespace

std::uint64_t PrimeBase::cofactor(std::uint64_t x) const {
  x >>= std::countr_zero(x);
  for (unsigned i = 1; i < m_; ++i) {
    for (;;) {
      const std::uint64_t quotient = x * kDivisors[i].inverse;
      if (quotient > kDivisors[i].most) break;
      x = quotient;
    }
  }
  return x;
}

void PrimeBase::add_exponents(Exponents& sum, std::uint64_t x, std::int64_t times) const {
  for (unsigned i = 0; i < m_; ++i) {
    for (; x % kPrimes[i] == 0; x /= kPrimes[i]) sum[i] += times;
  }
}

std::vector<std::uint64_t> PrimeBase::smooth_numbers(std::uint64_t most) const {
  std::vector<std::uint64_t> numbers = {1};
  for (unsigned i = 0; i < m_; ++i) {
    // What is appended is multiplied again, until every power of the prime is there.
    for (std::size_t j = 0; j < numbers.size(); ++j)
      if (numbers[j] <= most / kPrimes[i]) numbers.push_back(numbers[j] * kPrimes[i]);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace numforge
