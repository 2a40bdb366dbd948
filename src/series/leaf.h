// Short ranges of a series by straight code, term by term on 64-bit limbs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "series/factors.h"

namespace nmp::BinarySplitting {

/// R(k) = +-(the product of the forms), Q(k) = C k^3, P(k) = (A + B k) R(k). The terms of the
/// series shrink so fast that the first of a range outweighs the others.
struct CubicTerms {
  std::array<LinearForm, CommonFactors::kForms> forms;
  std::uint64_t C, A, B;
  bool alternating;  ///< R(k) is negative
};

/// +-(constant times a product of powers of linear forms), of at most kMostFactors forms with their
/// multiplicities.
struct FormProduct {
  static constexpr std::size_t kMostForms = 4, kMostFactors = 8;
  std::uint64_t constant = 1;
  std::array<LinearForm, kMostForms> all_forms{};  ///< those not used have alpha = 0
  bool negative = false;

  std::span<const LinearForm> forms() const {
    std::size_t count = 0;
    while (count < kMostForms && all_forms[count].alpha != 0) ++count;
    return {all_forms.data(), count};
  }
};

/// Terms whose Q and R are products of linear forms and whose P is a polynomial with P(k) > 0 for
/// k >= 1. The terms of the series at least halve from one to the next.
struct PolynomialTerms {
  static constexpr std::size_t kMostDegree = 6;
  FormProduct Q, R;
  std::array<std::int64_t, kMostDegree + 1> P{};  ///< from the constant term up
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

/// The terms a+1..b, b - a <= Leaf::kMostTerms.
void cubic_leaf(const CubicTerms& terms, const CommonFactors& factors, std::uint64_t a,
                std::uint64_t b, Leaf& leaf);

/// The same for the other shape, where Q has at most Leaf::kMostLimbs limbs.
void polynomial_leaf(const PolynomialTerms& terms, std::uint64_t a, std::uint64_t b, Leaf& leaf);

/// The least number of limbs that hold P(k) with a bit to spare.
std::size_t polynomial_limbs(const PolynomialTerms& terms, std::uint64_t k);

}  // namespace nmp::BinarySplitting
