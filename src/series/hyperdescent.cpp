#include "series/hyperdescent.h"

#include <cmath>

#include "arith/hash61.h"
#include "arith/wide.h"

namespace nmp::BinarySplitting::Hyperdescent {
namespace {

/// Terms of a leaf: so many that straight code, quadratic in them, costs as much as merges do.
constexpr std::uint64_t kLeafTerms = 128;

/// x = x factor + carry, limb by limb.
void multiply_add(Leaf::Number& x, std::uint64_t factor, std::uint64_t carry) {
  for (std::size_t i = 0; i < x.length; ++i) {
    const wide::Pair t = wide::multiply(x.limbs[i], factor);
    x.limbs[i] = t.low + carry;
    carry = t.high + (x.limbs[i] < carry);
  }
  if (carry != 0) x.limbs[x.length++] = carry;
}

/// x -= y <= x.
void subtract(Leaf::Number& x, std::uint64_t y) {
  for (std::size_t i = 0; y != 0; ++i) {
    const std::uint64_t before = x.limbs[i];
    x.limbs[i] -= y;
    y = before < y;
  }
  while (x.length > 1 && x.limbs[x.length - 1] == 0) --x.length;
}

/// The terms k..last as far as their Q is one limb; the first of them counts as positive.
struct Group {
  std::uint64_t P = 0, Q = 1, next;
  bool R_positive = true;

  Group(std::uint64_t k, std::uint64_t last, bool alternating) : next(k) {
    for (; next <= last; ++next) {
      const wide::Pair q = wide::multiply(Q, next);
      if (q.high != 0) return;
      Q = q.low;
      P = R_positive ? P * next + 1 : P * next - 1;  // below 2 Q; 1/1! + 1/2! + ... to 20! too
      if (alternating) R_positive = !R_positive;
    }
  }
};

}  // namespace

TaylorSeries::TaylorSeries(bool alternating, std::uint64_t n) : alternating_(alternating) {
  terms = n;
  cut_unit = kLeafTerms;
}

RangeBits TaylorSeries::range_bits(std::uint64_t a, std::uint64_t b) const {
  const double q = log2_product(1, 0, a, b);
  // |P/Q| is at most its first term 1/(a+1) times e.
  return {q - std::log2(static_cast<double>(a + 1)) + 2, q, 1};
}

void TaylorSeries::leaf(std::uint64_t a, std::uint64_t b, bool, Leaf& leaf) const {
  leaf.dropped = 1;
  for (Leaf::Number* x : {&leaf.P, &leaf.Q, &leaf.R}) {
    x->length = 1;
    x->limbs[0] = 1;
  }
  leaf.P.limbs[0] = 0;
  bool positive = true;  // of R so far, relative to the first term
  for (std::uint64_t k = a + 1; k <= b;) {
    const Group group(k, b, alternating_);
    multiply_add(leaf.Q, group.Q, 0);
    multiply_add(leaf.P, group.Q, positive ? group.P : 0);
    if (!positive) subtract(leaf.P, group.P);
    if (!group.R_positive) positive = !positive;
    k = group.next;
  }
  leaf.P_positive = !alternating_;
  leaf.R_positive = !alternating_ || (b - a) % 2 == 0;
}

Residues TaylorSeries::residues(std::uint64_t k) const {
  const std::uint64_t unit = alternating_ ? hash61::negate(1) : 1;
  return {unit, hash61::fold(k), unit};
}

}  // namespace nmp::BinarySplitting::Hyperdescent
