// Schoolbook products, column by column.
//
// Column k of a product is the sum of a[i] * b[k - i]. Summing whole columns in three limbs keeps
// the running carry in registers and writes every limb of the result once; with GCC on x86-64 it
// beats what the compiler makes of row-wise forms from four limbs on (limbs_adx.h writes its own).
// A square sums each pair of a column once and doubles. All lengths count limbs of type L; results
// overlap no operand.
#pragma once

#include <cstddef>

#include "arith/multiply/basecase/limbs.h"

namespace nmp::basecase {

/// A sum of products: three limbs.
template <class L>
struct ColumnSum {
  typename L::Wide low = 0;
  typename L::Limb high = 0;

  void add(typename L::Wide product) {
    low += product;
    high += low < product;
  }
  void double_it() {
    high = 2 * high + static_cast<typename L::Limb>(low >> (2 * L::kBits - 1));
    low += low;
  }
  /// Takes the lowest limb off.
  typename L::Limb shift_out() {
    const auto limb = static_cast<typename L::Limb>(low);
    low = (low >> L::kBits) | (static_cast<typename L::Wide>(high) << L::kBits);
    high = 0;
    return limb;
  }
};

/// c[0, al + bl) = a[0, al) * b[0, bl), al, bl >= 1.
template <class L>
void schoolbook_multiply(Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl) {
  using Wide = typename L::Wide;
  ColumnSum<L> sum;
  for (std::size_t k = 0; k < al + bl - 1; ++k) {
    const std::size_t first = k < bl ? 0 : k - bl + 1;
    const std::size_t last = k < al ? k : al - 1;
    const Word* x = a + L::kWords * first;
    const Word* y = b + L::kWords * (k - first);
    for (const Word* end = a + L::kWords * last;; x += L::kWords, y -= L::kWords) {
      sum.add(static_cast<Wide>(L::load(x, 0)) * L::load(y, 0));
      if (x == end) break;
    }
    L::store(c, k, sum.shift_out());
  }
  L::store(c, al + bl - 1, sum.shift_out());
}

/// c[0, 2 n) = a[0, n)^2, n >= 1.
template <class L>
void schoolbook_square(Word* c, const Word* a, std::size_t n) {
  using Wide = typename L::Wide;
  ColumnSum<L> carried;
  for (std::size_t k = 0; k < 2 * n - 1; ++k) {
    std::size_t i = k < n ? 0 : k - n + 1;
    std::size_t j = k - i;
    ColumnSum<L> sum;
    for (; i < j; ++i, --j) sum.add(static_cast<Wide>(L::load(a, i)) * L::load(a, j));
    sum.double_it();
    if (i == j) sum.add(static_cast<Wide>(L::load(a, i)) * L::load(a, i));
    sum.add(carried.low);
    L::store(c, k, sum.shift_out());
    carried = sum;
  }
  L::store(c, 2 * n - 1, carried.shift_out());
}

}  // namespace nmp::basecase
