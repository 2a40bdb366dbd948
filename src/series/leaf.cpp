#include "series/leaf.h"

#include <algorithm>
#include <cmath>

#include "arith/hash61.h"
#include "arith/wide.h"

namespace nmp::BinarySplitting {
namespace {

using Number = Leaf::Number;

/// A few small factors, multiplied together as far as limbs hold them.
class Factors {
 public:
  void append(std::uint64_t factor) {
    for (std::size_t i = 0; i < count_; ++i) {
      const wide::Pair product = wide::multiply(limbs_[i], factor);
      if (product.high != 0) continue;
      limbs_[i] = product.low;
      return;
    }
    limbs_[count_++] = factor;
  }
  const std::uint64_t* begin() const { return limbs_.data(); }
  const std::uint64_t* end() const { return limbs_.data() + count_; }

 private:
  std::array<std::uint64_t, FormProduct::kMostFactors + 1> limbs_;
  std::size_t count_ = 0;
};

void push(Number& x, std::uint64_t limb) {
  if (limb != 0) x.limbs[x.length++] = limb;
}

// The loops keep lengths and carries in locals: a store to a limb might change a length in memory.

void multiply(Number& x, std::uint64_t factor) {
  const std::size_t n = x.length;
  std::uint64_t carry = 0;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    const wide::Pair t = wide::multiply_add(x.limbs[i], factor, carry);
    x.limbs[i] = t.low;
    carry = t.high;
  }
  push(x, carry);
}

void multiply(Number& x, const Factors& factors) {
  for (const std::uint64_t factor : factors) multiply(x, factor);
}

/// x = |x +- y factor 2^(64 at)|. The result is known to be positive.
template <bool kAdd>
void accumulate(Number& x, const Number& y, std::uint64_t factor, std::size_t at = 0) {
  const std::size_t n = y.length;
  while (x.length <= at + n) x.limbs[x.length++] = 0;
  std::uint64_t* const target = x.limbs.data() + at;
  std::uint64_t carry = 0;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint64_t before = target[i];
    const wide::Pair t = wide::multiply_add(y.limbs[i], factor, carry);
    target[i] = kAdd ? before + t.low : before - t.low;
    carry = t.high + (kAdd ? target[i] < before : before < t.low);
  }
  for (std::size_t i = at + n; carry != 0 && i < x.length; ++i) {
    const std::uint64_t before = x.limbs[i];
    x.limbs[i] = kAdd ? before + carry : before - carry;
    carry = kAdd ? x.limbs[i] < carry : before < carry;
  }
  if (kAdd) push(x, carry);
  while (x.length > 1 && x.limbs[x.length - 1] == 0) --x.length;
}

/// x /= d, exactly, for an odd d.
void divide(Number& x, std::uint64_t d) {
  std::uint64_t inverse = (3 * d) ^ 2;
  for (int step = 0; step < 4; ++step) inverse *= 2 - d * inverse;
  const std::size_t n = x.length;
  std::uint64_t borrow = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::uint64_t limb = x.limbs[i], quotient = (limb - borrow) * inverse;
    x.limbs[i] = quotient;
    borrow = wide::multiply_high(quotient, d) + (limb < borrow);
  }
  while (x.length > 1 && x.limbs[x.length - 1] == 0) --x.length;
}

/// The value of a polynomial at one place.
struct Value {
  static constexpr std::size_t kMostLimbs = 6;
  std::array<std::uint64_t, kMostLimbs> limbs;
  std::size_t length;
};

/// P(k) by Horner's rule modulo 2^(64 length): only the end has to be positive.
void evaluate(const PolynomialTerms& terms, std::size_t degree, std::uint64_t k, Value& value) {
  const auto sign = [](std::int64_t c) { return c < 0 ? ~std::uint64_t{0} : 0; };
  value.limbs.fill(sign(terms.P[degree]));
  value.limbs[0] = static_cast<std::uint64_t>(terms.P[degree]);
  for (std::size_t i = degree; i-- != 0;) {
    // limb * k + what came from below + this limb of the coefficient
    std::uint64_t addend = static_cast<std::uint64_t>(terms.P[i]), overflow = 0;
    for (std::size_t j = 0; j < value.length; ++j) {
      const wide::Pair t = wide::multiply_add(value.limbs[j], k, overflow);
      value.limbs[j] = t.low + addend;
      overflow = t.high + (value.limbs[j] < addend);
      addend = sign(terms.P[i]);
    }
  }
}

void append(Factors& factors, const FormProduct& product, std::uint64_t k) {
  if (product.constant != 1) factors.append(product.constant);
  for (const LinearForm& form : product.forms())
    for (unsigned i = 0; i < form.exponent; ++i) factors.append(form.at(k));
}

void set_unit(Number& x, std::uint64_t value) {
  x.length = 1;
  x.limbs[0] = value;
}

/// What term k drops from the terms before it: divisors of its Q's factors.
using Drop = std::array<std::uint64_t, FormProduct::kMostFactors>;
using Drops = std::array<Drop, Leaf::kMostTerms>;

void find_drops(const CommonFactors& factors, std::uint64_t a, std::uint64_t b, Drops& drops) {
  for (std::uint64_t k = a; k < b; ++k) drops[k - a].fill(1);
  factors.for_each_pair(a, b,
                        [&](std::uint64_t k, const CommonFactors::PrimePower& power,
                            std::uint32_t factor, unsigned count) {
                          for (unsigned i = 0; i < count; ++i)
                            drops[k - a - 1][factor + i] *= power.p;
                        });
}

/// The factors of Q(k) less what is dropped, and that.
void append_reduced(Factors& factors, Factors& dropped, const FormProduct& product,
                    const Drop& drop, std::uint64_t k) {
  if (product.constant != 1) factors.append(product.constant);
  std::size_t place = 0;
  for (const LinearForm& form : product.forms()) {
    const std::uint64_t x = form.at(k);
    for (unsigned i = 0; i < form.exponent; ++i, ++place) {
      const std::uint64_t d = drop[place];
      factors.append(d == 1 ? x : x / d);
      if (d != 1) dropped.append(d);
    }
  }
}

}  // namespace

std::size_t polynomial_limbs(const PolynomialTerms& terms, std::uint64_t k) {
  double value = 0;
  for (std::size_t i = terms.P.size(); i-- != 0;)
    value = value * static_cast<double>(k) + static_cast<double>(terms.P[i]);
  return static_cast<std::size_t>(std::log2(value) + 2) / 64 + 1;
}

void polynomial_leaf(const PolynomialTerms& terms, const CommonFactors* factors, std::uint64_t a,
                     std::uint64_t b, Leaf& leaf) {
  Drops drops;
  if (factors) find_drops(*factors, a, b, drops);
  leaf.dropped = 1;
  set_unit(leaf.P, 0);
  set_unit(leaf.Q, 1);
  set_unit(leaf.R, 1);
  Value p;
  p.length = polynomial_limbs(terms, b);
  std::size_t degree = terms.P.size() - 1;
  while (degree != 0 && terms.P[degree] == 0) --degree;
  for (std::uint64_t k = a + 1; k <= b; ++k) {
    Factors q, r, dropped;
    if (factors)
      append_reduced(q, dropped, terms.Q, drops[k - a - 1], k);
    else
      append(q, terms.Q, k);
    append(r, terms.R, k);
    for (const std::uint64_t factor : dropped) {
      divide(leaf.R, factor);
      leaf.dropped = hash61::multiply(leaf.dropped, hash61::fold(factor));
    }
    multiply(leaf.Q, q);
    if (k != a + 1) multiply(leaf.P, q);
    if (terms.P_has_R) multiply(leaf.R, r);
    evaluate(terms, degree, k, p);
    // Magnitudes relative to the sign of the first term, which is that of the sum.
    for (std::size_t i = 0; i < p.length; ++i) {
      if (terms.R.negative && (k - a) % 2 == 0)
        accumulate<false>(leaf.P, leaf.R, p.limbs[i], i);
      else
        accumulate<true>(leaf.P, leaf.R, p.limbs[i], i);
    }
    if (!terms.P_has_R) multiply(leaf.R, r);
  }
  leaf.P_positive = !(terms.P_has_R && terms.R.negative);
  leaf.R_positive = !terms.R.negative || (b - a) % 2 == 0;
}

}  // namespace nmp::BinarySplitting
