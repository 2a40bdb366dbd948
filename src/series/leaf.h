// Short ranges of a series by straight code, term by term on 64-bit limbs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "series/factors.h"

namespace nmp::BinarySplitting {

/// Terms whose Q and R are products of linear forms and whose P is a polynomial, or R times a
/// polynomial, positive for k >= 1. The terms of the series at least halve from one to the next.
struct PolynomialTerms {
  static constexpr std::size_t kMostDegree = 6;
  FormProduct Q, R;
  std::array<std::int64_t, kMostDegree + 1> P{};  ///< the polynomial, from the constant term up
  bool P_has_R = false;
};

/// The products of a short range, common factors dropped.
struct Leaf {
  static constexpr std::uint64_t kMostTerms = 16;
  /// What a leaf's Q may have in polynomial_leaf; other shapes use more.
  static constexpr std::size_t kMostLimbs = 88, kLimbs = 208;

  /// A magnitude.
  struct Number {
    std::array<std::uint64_t, kLimbs> limbs;
    std::size_t length;
  };
  Number P, Q, R;
  bool P_positive, R_positive;
  std::int64_t P_exp = 0;  ///< P is the magnitude times 2^(32 P_exp)
  /// What was dropped from P, Q and R each, modulo 2^61 - 1.
  std::uint64_t dropped;
};

/// The terms a+1..b, b - a <= Leaf::kMostTerms, where Q has at most Leaf::kMostLimbs limbs. Drops
/// the pairs within, unless `factors` is null.
void polynomial_leaf(const PolynomialTerms& terms, const CommonFactors* factors, std::uint64_t a,
                     std::uint64_t b, Leaf& leaf);

/// The least number of limbs that hold P(k) with a bit to spare.
std::size_t polynomial_limbs(const PolynomialTerms& terms, std::uint64_t k);

}  // namespace nmp::BinarySplitting
