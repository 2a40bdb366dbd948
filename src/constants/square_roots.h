// Square roots of words, and the golden ratio.
#pragma once

#include "constants/formula.h"

namespace numforge::Formulas {

/// sqrt(n) = n / sqrt(n), the inverse root by Newton's iteration.
class Sqrt_Newton_BigFloatR : public Formula {
 public:
  explicit Sqrt_Newton_BigFloatR(nmp::Word n) : n_(n) {}
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

 private:
  nmp::Word n_;
};

/// (1 + sqrt(5)) / 2, or its reciprocal (sqrt(5) - 1) / 2.
class GoldenRatio_Newton_BigFloatR : public Formula {
 public:
  /// Throws InvalidParametersException "Power must be 1 or -1.".
  explicit GoldenRatio_Newton_BigFloatR(int power);
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

 private:
  int power_;
};

}  // namespace numforge::Formulas
