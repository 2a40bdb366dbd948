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

void multiply(Number& x, std::uint64_t factor) {
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < x.length; ++i) {
    const wide::Pair t = wide::multiply(x.limbs[i], factor);
    x.limbs[i] = t.low + carry;
    carry = t.high + (x.limbs[i] < carry);
  }
  push(x, carry);
}

/// x = |x +- y factor 2^(64 at)|. The result is known to be positive.
template <bool kAdd>
void accumulate(Number& x, const Number& y, std::uint64_t factor, std::size_t at = 0) {
  while (x.length < at + y.length + 1) x.limbs[x.length++] = 0;
  std::uint64_t carry = 0;
  for (std::size_t i = 0; at + i < x.length && (i < y.length || carry != 0); ++i) {
    const wide::Pair t = wide::multiply(i < y.length ? y.limbs[i] : 0, factor);
    const std::uint64_t low = t.low + carry, before = x.limbs[at + i];
    carry = t.high + (low < carry);
    x.limbs[at + i] = kAdd ? before + low : before - low;
    carry += kAdd ? x.limbs[at + i] < low : before < low;
  }
  if (kAdd) push(x, carry);
  while (x.length > 1 && x.limbs[x.length - 1] == 0) --x.length;
}

/// x /= d, exactly, for an odd d.
void divide(Number& x, std::uint64_t d) {
  std::uint64_t inverse = (3 * d) ^ 2;
  for (int step = 0; step < 4; ++step) inverse *= 2 - d * inverse;
  std::uint64_t borrow = 0;
  for (std::size_t i = 0; i < x.length; ++i) {
    const std::uint64_t limb = x.limbs[i];
    x.limbs[i] = (limb - borrow) * inverse;
    borrow = wide::multiply_high(x.limbs[i], d) + (limb < borrow);
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
void evaluate(const PolynomialTerms& terms, std::uint64_t k, Value& value) {
  std::fill_n(value.limbs.begin(), value.length, 0);
  bool begun = false;
  for (std::size_t i = terms.P.size(); i-- != 0;) {
    const std::int64_t c = terms.P[i];
    if (!begun && c == 0) continue;
    std::uint64_t carry = static_cast<std::uint64_t>(c);
    const std::uint64_t sign = c < 0 ? ~std::uint64_t{0} : 0;
    std::uint64_t overflow = 0;
    for (std::size_t j = 0; j < value.length; ++j) {
      // limb * k + what came from below + this limb of the coefficient
      const wide::Pair t = begun ? wide::multiply(value.limbs[j], k) : wide::Pair{0, 0};
      const std::uint64_t addend = j == 0 ? carry : sign;
      std::uint64_t sum = t.low + overflow;
      overflow = t.high + (sum < overflow);
      sum += addend;
      overflow += sum < addend;
      value.limbs[j] = sum;
    }
    begun = true;
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
    for (const std::uint64_t factor : q) {
      multiply(leaf.Q, factor);
      if (k != a + 1) multiply(leaf.P, factor);
    }
    const auto multiply_R = [&] {
      for (const std::uint64_t factor : r) multiply(leaf.R, factor);
    };
    if (terms.P_has_R) multiply_R();
    evaluate(terms, k, p);
    // Magnitudes relative to the sign of the first term, which is that of the sum.
    for (std::size_t i = 0; i < p.length; ++i) {
      if (terms.R.negative && (k - a) % 2 == 0)
        accumulate<false>(leaf.P, leaf.R, p.limbs[i], i);
      else
        accumulate<true>(leaf.P, leaf.R, p.limbs[i], i);
    }
    if (!terms.P_has_R) multiply_R();
  }
  leaf.P_positive = !(terms.P_has_R && terms.R.negative);
  leaf.R_positive = !terms.R.negative || (b - a) % 2 == 0;
}

}  // namespace nmp::BinarySplitting
