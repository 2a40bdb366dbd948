// The lemniscate constant, the arc length 5.244... of the lemniscate r^2 = cos 2t.
#pragma once

#include <memory>
#include <string_view>

#include "constants/formula.h"

namespace numforge::Formulas {

/// 2 pi / AGM(1, sqrt(2)), or its reciprocal; found by Gauss in 1799.
///
/// Accuracy  With q = p + 1 words: pi, the mean and the quotient are each off by less than
///           2^(-32 q) of themselves, and so is sqrt(2), which the mean follows at most in the same
///           ratio. Together less than 2^(-32 p).
/// Memory    Pi is computed first, alone; the mean is computed beside it, and the quotient beside
///           both. The longest of the three says how much.
class Lemniscate_AGM_BigFloatR : public Formula {
 public:
  /// Throws InvalidParametersException "Power must be 1 or -1.".
  explicit Lemniscate_AGM_BigFloatR(int power);
  std::size_t result_words(nmp::Context& context, std::size_t p) const override;
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

 private:
  int power_;
  std::unique_ptr<Formula> pi_;
};

/// By the catalogue's key of an algorithm. Only "agm-pi" takes the power -1: the others throw
/// InvalidParametersException "(Power = -1) is not supported for (Algorithm = KEY).".
std::unique_ptr<Formula> make_lemniscate(std::string_view algorithm, int power);

}  // namespace numforge::Formulas
