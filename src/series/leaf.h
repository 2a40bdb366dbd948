// Short ranges of a series by straight code, term by term on 64-bit limbs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "series/factors.h"

namespace nmp::BinarySplitting {

/// R(k) = +-(the product of the forms), Q(k) = C k^3, P(k) = (A + B k) R(k). The terms of the
/// series shrink so fast that the first of a range outweighs the others.
struct CubicTerms {
  std::array<LinearForm, CommonFactors::kForms> forms;
  std::uint64_t C, A, B;
  bool alternating;  ///< R(k) is negative
};

/// The products of a short range, common factors dropped.
struct Leaf {
  static constexpr std::uint64_t kMostTerms = 16;
  /// What a leaf's Q may have, and a limb or two that are not yet carried into.
  static constexpr std::size_t kMostLimbs = 88, kLimbs = kMostLimbs + 8;

  /// A magnitude.
  struct Number {
    std::array<std::uint64_t, kLimbs> limbs;
    std::size_t length;
  };
  Number P, Q, R;
  bool P_positive, R_positive;
  /// What was dropped from P, Q and R each, modulo 2^61 - 1.
  std::uint64_t dropped;
};

/// The terms a+1..b, b - a <= Leaf::kMostTerms.
void cubic_leaf(const CubicTerms& terms, const CommonFactors& factors, std::uint64_t a,
                std::uint64_t b, Leaf& leaf);

}  // namespace nmp::BinarySplitting
