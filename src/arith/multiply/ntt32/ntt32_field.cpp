#include "arith/multiply/ntt32/ntt32_field.h"

namespace nmp::n32 {
namespace {

/// An element of order exactly kRootOrder.
std::uint32_t find_root(const Field& f) {
  for (std::uint32_t x = 2;; ++x) {
    const std::uint32_t root = f.power(x, (f.p() - 1) / kRootOrder);
    if (f.power(root, kRootOrder / 2) != 1 && f.power(root, kRootOrder / 3) != 1) return root;
  }
}

}  // namespace

Field::Field(std::uint32_t p) : p_(p), p_inverse_(1) {
  for (int i = 0; i < 5; ++i) p_inverse_ *= 2 - p * p_inverse_;  // twice as many bits each time
  root_[kForward] = find_root(*this);
  root_[kInverse] = inverse(root_[kForward]);
  for (const Direction direction : {kForward, kInverse}) fill(table_[direction], direction);
}

std::uint32_t Field::power(std::uint32_t x, std::uint64_t exponent) const {
  std::uint64_t result = 1, square = x;
  for (; exponent != 0; exponent >>= 1, square = square * square % p_)
    if (exponent & 1) result = result * square % p_;
  return static_cast<std::uint32_t>(result);
}

std::uint32_t Field::root(Direction direction, std::uint32_t n, std::uint64_t e) const {
  return power(root_[direction], kRootOrder / n * (e % n));
}

void Field::fill(Table& table, Direction direction) const {
  // t[2^k .. 2^(k+1)) is t[0 .. 2^k) times the root of order 2^(k+2).
  std::uint64_t t = 1;
  for (std::size_t j = 0, block = 1; j < kNodes; ++j) {
    if (j == 2 * block) block = j;
    if (j > 0) {
      const auto order = static_cast<std::uint32_t>(4 * block);
      t = std::uint64_t{table.value[j - block]} * root(direction, order, 1) % p_;
    }
    const Factor f = make_factor(t, p_);
    table.value[j] = f.value, table.quotient[j] = f.quotient;
  }
  for (std::size_t node = 0; node < kNodes / 8; ++node) {
    const std::size_t from[7] = {node,         2 * node,     2 * node + 1, 4 * node,
                                 4 * node + 1, 4 * node + 2, 4 * node + 3};
    for (std::size_t k = 0; k < 7; ++k) {
      const std::size_t to = node / 8 * 56 + 8 * k + node % 8;
      table.end_value[to] = table.value[from[k]];
      table.end_quotient[to] = table.quotient[from[k]];
    }
  }
}

Twiddles Field::twiddles(Direction direction) const {
  const Table& t = table_[direction];
  return {{t.value.data(), t.quotient.data()}, {t.end_value.data(), t.end_quotient.data()}};
}

const Field& field(std::size_t k) {
  static const Field fields[kPrimes] = {Field(kPrimeValues[0]), Field(kPrimeValues[1]),
                                        Field(kPrimeValues[2])};
  return fields[k];
}

}  // namespace nmp::n32
