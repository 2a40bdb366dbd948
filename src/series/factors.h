// Common factors of the two products that meet in a merge, from closed forms.
//
// For R(k) = +-product of (alpha_i k - beta_i) and Q(k) = C k^d, d >= the number of forms, every
// prime power q = p^j divides the forms at fixed places of each period of q terms, and k at the
// period's end. Write "(" for a factor p of R, ")" for one of Q, in the order of k (at the same k
// the ")" comes first): within a period all "(" precede the ")", and there are at least as many
// ")". So each "(" is closed by a ")" at the next multiple of q. A merge of (a, m] and (m, b] may
// drop the pairs that open in (a, m] and close in (m, b]:
//
//     g = product of p^e over the prime powers q with a multiple in (m, b],
//     e = number of "(" of q in (a, m] after the last multiple of q in it
//
// divides both R of (a, m] and Q of (m, b], whatever other merges have dropped, for the pairs of
// different merges are different factors. Dividing both by g leaves the range's P, Q and R smaller
// by g each, and their ratios as they were.
//
// Likewise where R(k) = 2k+1 and Q(k) = C (2k+1): the "(" of one multiple of q is closed by the ")"
// of the next, and the period ends where q divides 2k+1.
// Source: the idea, with factorisations from a sieve: Cheng, Hanrot, Thome, Zima, Zimmermann:
// Time- and space-efficient evaluation of some hypergeometric constants, 2007 [CHTZZ2007].
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "arith/word.h"

namespace nmp::BinarySplitting {

/// (alpha k - beta)^exponent, 0 <= beta < alpha, coprime.
struct LinearForm {
  std::uint32_t alpha, beta;
  unsigned exponent = 1;
};

/// A product of small primes as odd 64-bit factors; their product is the number.
class FactorList {
 public:
  static constexpr std::size_t kMost = 64;

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
  static constexpr std::size_t kForms = 3;

  /// One prime power and where it divides the forms.
  struct PrimePower {
    std::uint32_t q;
    std::uint32_t first[kForms];       ///< in [0, q): the first place; kNever where p divides alpha
    std::uint64_t powers[kForms + 1];  ///< 1, p, p^2, p^3
    std::uint32_t shift = 0;           ///< the place of term k is k + shift modulo q

    static constexpr std::uint32_t kNever = 0xFFFFFFFFu;
    /// Factors "(" up to place `r` of the period.
    unsigned opened(std::uint64_t r) const {
      unsigned count = 0;
      for (const std::uint32_t place : first) count += place <= r;
      return count;
    }
  };

  explicit CommonFactors(std::span<const LinearForm, kForms> forms);
  /// For R(k) = 2k+1 and Q(k) = C (2k+1).
  static CommonFactors of_odd_numbers();

  bool is_reduced(std::uint64_t a, std::uint64_t b) const { return b - a <= kMostTerms; }
  /// g of the merge of (a, m] and (m, b].
  FactorList common(std::uint64_t a, std::uint64_t m, std::uint64_t b) const;
  /// The prime powers that pair factors within n terms, ascending.
  std::span<const PrimePower> prime_powers(std::uint64_t n) const;
  /// A lower bound, in bits, for what is dropped from P, Q and R each in the terms a+1..b.
  double least_dropped_bits(std::uint64_t a, std::uint64_t b) const;
  /// A cut near m, such that all long ranges consist of whole blocks of kMostTerms terms.
  static std::uint64_t aligned_cut(std::uint64_t a, std::uint64_t m, std::uint64_t b);

 private:
  CommonFactors() = default;
  /// Sorts the powers and sums up what they drop.
  void prepare();
  /// Bits that pair within the block of kMostTerms terms after term a.
  double dropped_in_block(std::uint64_t a) const;

  static constexpr std::size_t kFirstBlocks = 16;

  std::uint64_t slope_ = 1;  ///< the largest alpha
  std::vector<PrimePower> powers_;
  /// Bits dropped in the first blocks together; there the small k open less than they do later.
  std::array<double, kFirstBlocks + 1> first_bits_{};
  double least_bits_ = 0;  ///< of each later block
};

}  // namespace nmp::BinarySplitting
