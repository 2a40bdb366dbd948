// What the summation engine needs to know about one series.
//
//     S = sum over k = 1..N of  P(k)/Q(k) * product over j < k of R(j)/Q(j)
//
// A range (a, b] of terms is three integers: Q = product of Q(k), R = product of R(k) and P with
// P/Q = the sum over the range. Two adjacent ranges, left 0 and right 1, merge by
//
//     P = P0*Q1 + R0*P1        Q = Q0*Q1        R = R0*R1
//
// Source: Haible, Papanikolaou: Fast multiprecision evaluation of series of rational numbers
// [HP1998].
#pragma once

#include <array>
#include <cstdint>

#include "arith/basic_int.h"
#include "series/factors.h"
#include "series/leaf.h"

namespace nmp::BinarySplitting {

/// Upper bounds on the magnitudes of a range's products, in bits.
struct RangeBits {
  double P = 0, Q = 0, R = 0;
};

/// A short range's products as small integers; P and R may be negative.
class Term {
 public:
  Term() : P(words_[0].data(), kWords), Q(words_[1].data(), kWords), R(words_[2].data(), kWords) {}
  Term(const Term&) = delete;
  Term& operator=(const Term&) = delete;

  BasicIntR P, Q, R;
  bool P_positive = true, R_positive = true;

  static constexpr std::uint32_t kWords = 96;

 private:
  alignas(64) std::array<std::array<Word, kWords>, 3> words_;
};

/// P, Q and R of one term or one range modulo 2^61 - 1.
struct Residues {
  std::uint64_t P = 0, Q = 1, R = 1;
};

/// What the engine calls a series, and how its terms hang together.
enum class Family {
  kCommonP2B3,    ///< P, Q and R of about the same size
  kHyperdescent,  ///< Q outgrows R: series of Taylor's kind
  kBinaryBBP,     ///< R(k) = +-2^-bits Q(k): R of a range is Q, scaled, and not kept
};

/// R(k) / Q(k) of the last family.
struct BinaryScale {
  unsigned bits = 0;
  bool alternating = false;
};

/// One series with its length and the coefficients that finish it:
/// value = (coefP*P + coefQ*Q) / (coefD*Q).
class Series {
 public:
  virtual ~Series() = default;

  std::uint64_t terms = 0;      ///< N
  double expansion_factor = 0;  ///< size of the exact Q over the size of the result
  std::int64_t coefP = 1;
  std::int64_t coefQ = 0;  ///< zero: the series has no Q term
  std::uint64_t coefD = 1;
  Family family = Family::kCommonP2B3;
  std::uint64_t cut_unit = 1;  ///< ranges are cut at multiples of so many terms

  /// Bounds for the terms a+1..b, a < b, no factors dropped. Never below the true sizes.
  virtual RangeBits range_bits(std::uint64_t a, std::uint64_t b) const = 0;
  /// A lower bound, in bits, of how much smaller than the whole value all terms after a are; a
  /// loose one will do. Later ranges are summed at a precision lower by so much.
  virtual double gained_bits(std::uint64_t /*a*/) const { return 0; }
  /// Where to cut the range: a < m < b, so that both halves are about equally large and
  /// consist of whole units and, where factors are dropped, of whole blocks.
  virtual std::uint64_t split(std::uint64_t a, std::uint64_t b) const;
  /// Term k alone, and terms k and k + 1 together: for series without straight code for their
  /// leaves. The others may leave them out; they throw InvalidParametersException "Not
  /// implemented.".
  virtual void end_case_1(std::uint64_t k, Term& term) const;
  virtual void end_case_2(std::uint64_t k, Term& term) const;
  /// The common factors of R and Q of adjacent ranges, or null: then merges drop none.
  virtual const CommonFactors* factors() const { return nullptr; }
  /// How many terms `leaf` sums, P, Q and R in Leaf::kMostLimbs limbs each; 0 where the series has
  /// no straight code for a sum whose merges drop factors, or drop none.
  virtual std::uint64_t leaf_terms(bool /*drops*/) const { return 0; }
  /// The products of the terms a+1..b. Drops the factors that merges of these terms would have
  /// dropped.
  virtual void leaf(std::uint64_t /*a*/, std::uint64_t /*b*/, bool /*drops*/,
                    Leaf& /*leaf*/) const {}
  virtual BinaryScale scale() const { return {}; }
  /// Term k modulo 2^61 - 1, from its polynomials alone: shares no code with the big numbers.
  virtual Residues residues(std::uint64_t k) const = 0;
};

/// gained_bits of a series whose terms are k^(-c) 2^(-bits_per_term k), c >= 0, times something
/// less than 2^32 times the value.
double linear_gain(double bits_per_term, std::uint64_t a);

/// log2 of the product of (alpha k + beta) over k = a+1..b; every factor must be positive.
double log2_product(double alpha, double beta, std::uint64_t a, std::uint64_t b);

}  // namespace nmp::BinarySplitting
