// What the terms of a hypergeometric series are made of.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace nmp::BinarySplitting {

/// (alpha k - beta)^exponent, |beta| < alpha, coprime.
struct LinearForm {
  std::uint32_t alpha;
  std::int32_t beta;
  unsigned exponent = 1;

  constexpr std::uint64_t at(std::uint64_t k) const {
    return alpha * k - static_cast<std::uint64_t>(std::int64_t{beta});
  }
};

/// +-(constant times powers of linear forms); with their multiplicities at most kMostFactors forms.
struct FormProduct {
  static constexpr std::size_t kMostForms = 4, kMostFactors = 8;
  std::uint64_t constant = 1;
  std::array<LinearForm, kMostForms> all_forms{};  ///< those not used have alpha = 0
  bool negative = false;

  constexpr std::span<const LinearForm> forms() const {
    std::size_t count = 0;
    while (count < kMostForms && all_forms[count].alpha != 0) ++count;
    return {all_forms.data(), count};
  }
};

}  // namespace nmp::BinarySplitting
