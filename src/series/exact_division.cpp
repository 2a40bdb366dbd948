#include "series/exact_division.h"

#include <algorithm>
#include <cstdint>

#include "arith/wide.h"
#include "arith/word_ops.h"

namespace nmp {
namespace {

/// 1/d modulo 2^64 for odd d; each step doubles the number of right bits, 5 at first.
std::uint64_t inverse_of_limb(std::uint64_t d) {
  std::uint64_t x = (3 * d) ^ 2;
  for (int step = 0; step < 4; ++step) x *= 2 - d * x;
  return x;
}

void divide_by_word(Word* x, std::size_t n, Word d) {
  const std::uint64_t inverse = inverse_of_limb(d);
  std::uint64_t borrow = 0;
  std::size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const std::uint64_t limb = load_limb(x + i), q = (limb - borrow) * inverse;
    store_limb(x + i, q);
    borrow = wide::multiply_high(q, d) + (limb < borrow);
  }
  if (i < n) x[i] = static_cast<Word>((x[i] - borrow) * inverse);
}

}  // namespace

void divide_exact(Word* x, std::size_t n, const Word* d, std::size_t dl) {
  if (dl == 1) return divide_by_word(x, n, d[0]);
  // The quotient's negative is found limb by limb: each clears the lowest limb left by adding a
  // multiple of d. With two words of d and more, the last limb does not pass the end of x.
  const std::uint64_t negative = 0 - inverse_of_limb(load_limb(d));
  const std::size_t end = (n - dl + 2) / 2 * 2;
  for (std::size_t i = 0; i < end; i += 2) {
    const std::uint64_t q = load_limb(x + i) * negative;
    const std::size_t length = std::min(dl, end - i);
    const DoubleWord carry = words::addmul_2(x + i, d, length, q);
    store_limb(x + i, q);  // the sum is zero here
    const std::size_t above = i + length;
    if (above + 2 <= end) {
      const std::uint64_t old = load_limb(x + above);
      store_limb(x + above, old + carry);
      if (old + carry < old) words::increment(x + above + 2, end - above - 2);
    } else if (above < end) {
      x[above] += static_cast<Word>(carry);
    }
  }
  words::complement(x, x, end);
  words::increment(x, end);
}

}  // namespace nmp
