#include "series/leaf.h"

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
  std::array<std::uint64_t, 4> limbs_;
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

/// x = |x +- y factor|. The result is known to be positive.
template <bool kAdd>
void accumulate(Number& x, const Number& y, std::uint64_t factor) {
  while (x.length < y.length + 1) x.limbs[x.length++] = 0;
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < x.length && (i < y.length || carry != 0); ++i) {
    const wide::Pair t = wide::multiply(i < y.length ? y.limbs[i] : 0, factor);
    const std::uint64_t low = t.low + carry, before = x.limbs[i];
    carry = t.high + (low < carry);
    x.limbs[i] = kAdd ? before + low : before - low;
    carry += kAdd ? x.limbs[i] < low : before < low;
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

/// What term k drops from the terms before it: divisors of its three k.
struct Drop {
  std::array<std::uint64_t, 3> of_k{1, 1, 1};
};

using Drops = std::array<Drop, Leaf::kMostTerms>;

void find_drops(const CommonFactors& factors, std::uint64_t a, std::uint64_t b, Drops& drops) {
  const std::uint64_t n = b - a;
  for (const CommonFactors::PrimePower& power : factors.prime_powers(n)) {
    // A multiple of q closes what has opened since the last one, or since term a.
    const std::uint64_t place = (a + power.shift) % power.q;
    unsigned count = power.opened(power.q) - power.opened(place);
    for (std::uint64_t at = power.q - place; at <= n; at += power.q) {
      for (unsigned i = 0; i < count; ++i) drops[at - 1].of_k[i] *= power.powers[1];
      count = power.opened(power.q);
    }
  }
}

}  // namespace

void cubic_leaf(const CubicTerms& terms, const CommonFactors& factors, std::uint64_t a,
                std::uint64_t b, Leaf& leaf) {
  Drops drops;
  find_drops(factors, a, b, drops);
  leaf.dropped = 1;
  for (Number* x : {&leaf.P, &leaf.Q, &leaf.R}) {
    x->length = 1;
    x->limbs[0] = 1;
  }
  leaf.P.limbs[0] = 0;
  for (std::uint64_t k = a + 1; k <= b; ++k) {
    Factors q, r, dropped;
    q.append(terms.C);
    for (const std::uint64_t d : drops[k - a - 1].of_k) {
      q.append(d == 1 ? k : k / d);
      if (d != 1) dropped.append(d);
    }
    for (const LinearForm& form : terms.forms) r.append(form.alpha * k - form.beta);
    for (const std::uint64_t factor : dropped) {
      divide(leaf.R, factor);
      leaf.dropped = hash61::multiply(leaf.dropped, hash61::fold(factor));
    }
    for (const std::uint64_t factor : q) {
      multiply(leaf.Q, factor);
      if (k != a + 1) multiply(leaf.P, factor);
    }
    for (const std::uint64_t factor : r) multiply(leaf.R, factor);
    const std::uint64_t linear = terms.A + terms.B * k;
    // Magnitudes relative to the sign of the first term, which is that of the sum.
    if (terms.alternating && (k - a) % 2 == 0)
      accumulate<false>(leaf.P, leaf.R, linear);
    else
      accumulate<true>(leaf.P, leaf.R, linear);
  }
  leaf.P_positive = !terms.alternating;
  leaf.R_positive = !terms.alternating || (b - a) % 2 == 0;
}

}  // namespace nmp::BinarySplitting
