// Common factors of the two products that meet in a merge, from closed forms.
//
// R(k) and Q(k) are products of linear forms alpha k - beta. A prime power q = p^j divides each
// form once in every q terms, at a place known beforehand. Write "(" for a factor p of R, ")" for
// one of Q, in the order of k, at the same k the ")" first, and pair them as brackets pair. A merge
// of (a, m] and (m, b] may drop the pairs that open in (a, m] and close in (m, b]:
//
//     g = product of p^e over the prime powers q, e = the pairs of q across m
//
// divides both R of (a, m] and Q of (m, b], whatever other merges have dropped, for the pairs of
// different merges are different factors. Dividing both by g leaves the range's P, Q and R smaller
// by g each, and their ratios as they were. The number of unclosed "(" is periodic (or grows by as
// much in each period), so it is tabled; the pairs across m are those of the unclosed ones at m
// that opened after a and are closed up to b. Source: the idea, with factorisations from a sieve:
// Cheng, Hanrot, Thome, Zima, Zimmermann: Time- and space-efficient evaluation of some
// hypergeometric constants, 2007 [CHTZZ2007].
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "arith/word.h"
#include "series/linear_forms.h"

namespace nmp::BinarySplitting {

/// A product of small primes as odd 64-bit factors; their product is the number.
class FactorList {
 public:
  static constexpr std::size_t kMost = 160;

  /// Takes the factor on; drops it where the list is full. Tells whether it took it.
  bool append(std::uint64_t factor);
  std::span<const std::uint64_t> factors() const { return {limbs_.data(), count_}; }
  /// Expands the product: returns its length in words, at most 2 kMost.
  std::size_t expand(Word* words) const;
  /// The product modulo 2^61 - 1.
  std::uint64_t hash() const;

 private:
  std::array<std::uint64_t, kMost> limbs_;
  std::size_t count_ = 0;
};

class CommonFactors {
 public:
  /// Ranges of so many terms or fewer are reduced. Each level saves three bits per term of P, Q and
  /// R in all levels above, and its division is quadratic in the length: about here they break
  /// even.
  static constexpr std::uint64_t kMostTerms = 512;
  /// One form's factor p at one place of the period of a prime power.
  struct Bracket {
    std::uint32_t place;  ///< in [0, q)
    std::int8_t change;   ///< of the unclosed "(": positive for R; for Q it leaves out what pairs
                          ///< with nothing
    std::uint8_t factor;  ///< of Q: its first among the forms, counted with their exponents
    std::int16_t open;    ///< unclosed "(" after it
  };
  struct PrimePower {
    std::uint32_t q, p;
    std::uint32_t gap;                      ///< a pair's members lie at least so many terms apart
    std::uint32_t first, count;             ///< its brackets
    std::uint32_t first_closing, closings;  ///< the places of those of Q that pair with something
    std::int32_t growth;                    ///< of `open` from one period to the next
    double bits;                            ///< log2 of p
  };

  CommonFactors(const FormProduct& Q, const FormProduct& R);

  bool is_reduced(std::uint64_t a, std::uint64_t b) const { return b - a <= kMostTerms; }
  /// g of the merge of (a, m] and (m, b].
  FactorList common(std::uint64_t a, std::uint64_t m, std::uint64_t b) const;
  /// Calls pair(k, power, factor, count) for all pairs within (a, b]: at term k, Q's factors
  /// [factor, factor + count) each close a p.
  template <typename Function>
  void for_each_pair(std::uint64_t a, std::uint64_t b, const Function& pair) const;
  /// A lower bound, in bits, for what is dropped from P, Q and R each in the terms a+1..b.
  double least_dropped_bits(std::uint64_t a, std::uint64_t b) const;
  /// A cut near m, such that all long ranges consist of whole blocks of kMostTerms terms.
  static std::uint64_t aligned_cut(std::uint64_t a, std::uint64_t m, std::uint64_t b);

 private:
  /// The prime powers that pair factors within n terms.
  std::span<const PrimePower> prime_powers(std::uint64_t n) const;
  void append_brackets(std::uint32_t p, std::uint32_t q, const FormProduct& Q,
                       const FormProduct& R);
  /// Whether a bracket closes within the n terms after one that leaves the remainder r modulo q.
  /// Most prime powers pair nothing in a short range, and this tells it soonest.
  bool closes(const PrimePower& power, std::uint32_t r, std::uint64_t n) const {
    const std::uint32_t* const places = closings_.data() + power.first_closing;
    for (std::uint32_t i = 0; i < power.closings; ++i) {
      const std::uint32_t place = places[i];
      if (place + (place <= r ? power.q : 0) - r <= n) return true;
    }
    return false;
  }
  static std::uint32_t remainder(std::uint64_t x, std::uint32_t q) {
    if (x <= std::numeric_limits<std::uint32_t>::max()) return static_cast<std::uint32_t>(x) % q;
    return static_cast<std::uint32_t>(x % q);
  }
  /// Pairs of one prime power across m, which leaves the remainder r modulo q.
  unsigned pairs_across(const PrimePower& power, std::uint32_t r, std::uint64_t a, std::uint64_t m,
                        std::uint64_t b) const;
  /// Bits that pair within the block of kMostTerms terms after term a.
  double dropped_in_block(std::uint64_t a) const;

  static constexpr std::size_t kFirstBlocks = 16;

  std::vector<PrimePower> powers_;  ///< by ascending gap
  std::vector<Bracket> brackets_;
  std::vector<std::uint32_t> closings_;
  /// Bits dropped in the first blocks together; there the small k open less than they do later.
  std::array<double, kFirstBlocks + 1> first_bits_{};
  double least_bits_ = 0;  ///< of each later block
};

template <typename Function>
void CommonFactors::for_each_pair(std::uint64_t a, std::uint64_t b, const Function& pair) const {
  for (const PrimePower& power : prime_powers(b - a)) {
    const std::uint32_t r = remainder(a, power.q);
    if (!closes(power, r, b - a)) continue;
    const Bracket* const brackets = brackets_.data() + power.first;
    std::uint64_t period = a - r;
    std::uint32_t i = 0;
    while (i < power.count && brackets[i].place <= r) ++i;
    int open = 0;
    for (;; ++i) {
      if (i == power.count) {
        i = 0;
        period += power.q;
      }
      const Bracket& bracket = brackets[i];
      const std::uint64_t k = period + bracket.place;
      if (k > b) break;
      if (bracket.change >= 0) {
        open += bracket.change;
        continue;
      }
      const int count = open < -bracket.change ? open : -bracket.change;
      if (count == 0) continue;
      open -= count;
      pair(k, power, bracket.factor, static_cast<unsigned>(count));
    }
  }
}

}  // namespace nmp::BinarySplitting
