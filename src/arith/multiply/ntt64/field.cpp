#include "arith/multiply/ntt64/field.h"

#include <algorithm>

namespace nmp::n64 {

Field::Field(std::uint64_t p) : modulus_(p), root_(find_root()) {
  for (std::size_t e = 0; e < roots15_.size(); ++e) roots15_[e] = root(15, e);
  fill(twiddles_, false);
  fill(inverse_twiddles_, true);
}

std::uint64_t Field::find_root() const {
  const std::uint64_t cofactor = (modulus_.p() - 1) / kRootOrder;
  for (std::uint64_t base = 2;; ++base) {
    const std::uint64_t w = modulus_.power(base, cofactor);
    // Of full order unless a power by a maximal divisor already gives 1.
    const bool full = std::ranges::all_of(std::array<std::uint64_t, 3>{2, 3, 5}, [&](auto q) {
      return modulus_.power(w, kRootOrder / q) != 1;
    });
    if (full) return w;
  }
}

std::uint64_t Field::root(std::uint64_t n, std::uint64_t e) const {
  return modulus_.power(root_, kRootOrder / n * (e % n));
}

void Field::fill(Table& table, bool inverse) const {
  table[0] = modulus_.factor(1);
  for (std::size_t half = 1; half < table.size(); half *= 2) {
    // Bit-reversal: a new top bit in the index is a new finest bit in the angle.
    const std::uint64_t order = std::uint64_t{4} * half;
    const Factor step = modulus_.factor(root(order, inverse ? order - 1 : 1));
    for (std::size_t j = 0; j < half; ++j) {
      const std::uint64_t t = modulus_.multiply_lazy(table[j].value, step);
      table[half + j] = modulus_.factor(modulus_.reduce(t));
    }
  }
}

const Field& field(std::size_t k) {
  static const Field fields[kPrimes] = {Field(kPrimeValues[0]), Field(kPrimeValues[1]),
                                        Field(kPrimeValues[2])};
  return fields[k];
}

}  // namespace nmp::n64
