// arccoth of whole numbers by its Taylor series.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "series/series.h"

namespace numforge::Formulas {

/// The summand c * arccoth(x) of a Machin-like sum.
class ArcCothAdd_Taylor_BigFloatR {
 public:
  /// 2 <= x < 2^47.
  ArcCothAdd_Taylor_BigFloatR(std::int64_t c, std::uint64_t x) : c_(c), x_(x) {}

  /// |c arccoth(x)|, to a few units in the last place of a double.
  double magnitude() const;
  /// The series with the terms for a precision of `words` words.
  std::unique_ptr<const nmp::BinarySplitting::Series> series(std::size_t words) const;

 private:
  std::int64_t c_;
  std::uint64_t x_;
};

}  // namespace numforge::Formulas
