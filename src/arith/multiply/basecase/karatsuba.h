// Karatsuba's method (A. Karatsuba and Yu. Ofman, 1962) over a choice of limb type.
//
//   a = a1 B + a0, b = b1 B + b0 with B = 2^(limb bits * m), m = ceil(n / 2):
//   a b = z2 B^2 + (z0 + z2 - (a0 - a1)(b0 - b1)) B + z0,   z0 = a0 b0,   z2 = a1 b1.
//
// Three products of half the length instead of four. Lengths count limbs; results overlap neither
// operands nor `work`, which holds karatsuba_work(...) limbs.
#pragma once

#include <algorithm>
#include <cstddef>

#include "arith/multiply/basecase/limb_ops.h"
#include "arith/multiply/basecase/limbs.h"
#include "arith/multiply/basecase/schoolbook.h"

namespace nmp::basecase {

/// Limbs of `work` for any product or square of n limbs in all.
///
/// A balanced product of h limbs needs K(h) = 2 ceil(h/2) + K(ceil(h/2)) <= 2 h + 2 log2(h) + 4.
/// One of a > b limbs needs U(a, b) <= 2 b + max(K(b), U(b, r)) with b + r <= a, so by induction
/// U(a, b) <= 2 (a + b) + 2 log2(a + b) + 4; and log2 stays below 62.
constexpr std::size_t karatsuba_work(std::size_t n) { return 2 * n + 128; }

template <class L>
class Karatsuba {
 public:
  using Limb = typename L::Limb;

  /// Operands of at least `multiply_cutoff` limbs (squares: `square_cutoff`) are split. Both >= 2.
  Karatsuba(std::size_t multiply_cutoff, std::size_t square_cutoff)
      : multiply_cutoff_(multiply_cutoff), square_cutoff_(square_cutoff) {}

  /// c[0, al + bl) = a * b, al >= bl >= 1.
  void multiply(Word* c, const Word* a, std::size_t al, const Word* b, std::size_t bl,
                Word* work) const {
    if (bl < multiply_cutoff_) return schoolbook_multiply<L>(c, a, al, b, bl);
    balanced(c, a, b, bl, work);
    for (std::size_t done = bl; done < al;) {
      const std::size_t part = std::min(bl, al - done);
      multiply(work, b, bl, at(a, done), part, at(work, bl + part));
      add_onto(at(c, done), work, bl, part);
      done += part;
    }
  }

  /// c[0, 2 n) = a^2.
  void square(Word* c, const Word* a, std::size_t n, Word* work) const {
    if (n < square_cutoff_) return schoolbook_square<L>(c, a, n);
    const std::size_t m = (n + 1) / 2;
    Word* inner = at(work, 2 * m);
    subtract_halves(c, a, n, m);
    square(work, c, m, inner);
    square(c, a, m, inner);
    square(at(c, 2 * m), at(a, m), n - m, inner);
    add_middle<false>(c, work, n, m);
  }

 private:
  static Word* at(Word* p, std::size_t limb) { return p + L::kWords * limb; }
  static const Word* at(const Word* p, std::size_t limb) { return p + L::kWords * limb; }

  void balanced(Word* c, const Word* a, const Word* b, std::size_t n, Word* work) const {
    if (n < multiply_cutoff_) return schoolbook_multiply<L>(c, a, n, b, n);
    const std::size_t m = (n + 1) / 2;
    Word* inner = at(work, 2 * m);
    // The result's lower half is free until z0 is due.
    const bool a_negative = subtract_halves(c, a, n, m);
    const bool b_negative = subtract_halves(at(c, m), b, n, m);
    balanced(work, c, at(c, m), m, inner);
    balanced(c, a, b, m, inner);
    balanced(at(c, 2 * m), at(a, m), at(b, m), n - m, inner);
    if (a_negative == b_negative)
      add_middle<false>(c, work, n, m);
    else
      add_middle<true>(c, work, n, m);
  }

  /// out[0, m) = |low half - high half| of a[0, n); true when the high half is the larger.
  static bool subtract_halves(Word* out, const Word* a, std::size_t n, std::size_t m) {
    const Word* high = at(a, m);
    const std::size_t h = n - m;  // m or m - 1
    std::size_t i = m;
    while (i > 0 && L::load(a, i - 1) == (i - 1 < h ? L::load(high, i - 1) : 0)) --i;
    const bool negative = i > 0 && i <= h && L::load(a, i - 1) < L::load(high, i - 1);
    const Limb borrow = negative ? subtract_n<L>(out, high, a, h) : subtract_n<L>(out, a, high, h);
    if (h < m) L::store(out, h, negative ? 0 : L::load(a, h) - borrow);
    return negative;
  }

  /// c = z0 | z2 becomes z0 + (z0 + z2 -+ t) B + z2 B^2, t[0, 2 m). With quarters x0 | x1 | y0 | y1
  /// of c, the sum x1 + y0 occurs twice and is formed once.
  template <bool kAdd>
  static void add_middle(Word* c, const Word* t, std::size_t n, std::size_t m) {
    const std::size_t top = 2 * n - 3 * m;  // limbs in the upper quarter, m or m - 2
    Word* const x1 = at(c, m);
    Word* const y0 = at(c, 2 * m);
    Word* const y1 = at(c, 3 * m);
    Limb above = add_n<L>(y0, x1, y0, m);
    const Limb below = above + add_n<L>(x1, y0, c, m);
    above += ripple_up<L>(at(y0, top), m - top, add_n<L>(y0, y0, y1, top));
    // All modulo the size of c, which holds the result.
    ripple_up<L>(y0, m + top, below);
    if constexpr (kAdd) {
      above += add_n<L>(x1, x1, t, 2 * m);
      ripple_up<L>(y1, top, above);
    } else {
      const Limb borrow = subtract_n<L>(x1, x1, t, 2 * m);
      if (above >= borrow)
        ripple_up<L>(y1, top, above - borrow);
      else
        ripple_down<L>(y1, top, borrow - above);
    }
  }

  /// c[0, overlap) += x[0, overlap); c[overlap, overlap + fresh) = the rest of x and the carry.
  static void add_onto(Word* c, const Word* x, std::size_t overlap, std::size_t fresh) {
    const Limb carry = add_n<L>(c, c, x, overlap);
    std::copy_n(at(x, overlap), fresh * L::kWords, at(c, overlap));
    ripple_up<L>(at(c, overlap), fresh, carry);
  }

  std::size_t multiply_cutoff_, square_cutoff_;
};

}  // namespace nmp::basecase
