// Sums and differences of limb arrays, the linear part of Karatsuba's method.
//
// Lengths count limbs of type L. `out` may be an operand itself but not overlap one partly.
#pragma once

#include <cstddef>

#include "arith/multiply/basecase/limbs.h"

namespace nmp::basecase {

/// out[0, n) = x[0, n) + y[0, n); returns the carry.
template <class L>
typename L::Limb add_n(Word* out, const Word* x, const Word* y, std::size_t n) {
  typename L::Limb carry = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto sum = static_cast<typename L::Wide>(L::load(x, i)) + L::load(y, i) + carry;
    L::store(out, i, static_cast<typename L::Limb>(sum));
    carry = static_cast<typename L::Limb>(sum >> L::kBits);
  }
  return carry;
}

/// out[0, n) = x[0, n) - y[0, n); returns the borrow.
template <class L>
typename L::Limb subtract_n(Word* out, const Word* x, const Word* y, std::size_t n) {
  typename L::Limb borrow = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const auto p = L::load(x, i), q = L::load(y, i), d = p - q;
    L::store(out, i, d - borrow);
    borrow = static_cast<typename L::Limb>(p < q) | static_cast<typename L::Limb>(d < borrow);
  }
  return borrow;
}

/// x[0, n) += carry, returns what leaves the top. Stops where nothing is left to add.
template <class L>
typename L::Limb ripple_up(Word* x, std::size_t n, typename L::Limb carry) {
  for (std::size_t i = 0; carry != 0 && i < n; ++i) {
    const typename L::Limb sum = L::load(x, i) + carry;
    carry = sum < carry;
    L::store(x, i, sum);
  }
  return carry;
}

/// x[0, n) -= borrow, returns what leaves the top.
template <class L>
typename L::Limb ripple_down(Word* x, std::size_t n, typename L::Limb borrow) {
  for (std::size_t i = 0; borrow != 0 && i < n; ++i) {
    const typename L::Limb old = L::load(x, i);
    L::store(x, i, old - borrow);
    borrow = old < borrow;
  }
  return borrow;
}

}  // namespace nmp::basecase
