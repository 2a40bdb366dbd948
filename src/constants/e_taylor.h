// e by the Taylor series of exp(1), or as the reciprocal of the one of exp(-1).
#pragma once

#include "constants/formula.h"

namespace numforge::Formulas {

class e_Taylor_BigFloatR : public Formula {
 public:
  /// `power` 1 gives e, -1 its reciprocal, which only the alternating series can:
  /// InvalidParametersException "Inversion not supported for non-alternating series.", and for
  /// other powers "Power must be 1 or -1.".
  e_Taylor_BigFloatR(bool alternating, int power);
  std::size_t result_words(nmp::Context& context, std::size_t p) const override;
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

 private:
  bool alternating_;
  int power_;
};

}  // namespace numforge::Formulas
