// The lemniscate constant as a Machin-like sum of lemniscatic arc sines.
#pragma once

#include <array>
#include <cstdint>

#include "constants/formula.h"
#include "constants/series_sum.h"

namespace numforge::Formulas {

/// The constant = the sum of c arcsinlemn(x / y).
///
/// With s = sl(u), sl(2u) = 2 s sqrt(1 - s^4) / (1 + s^4), and for a quarter K of the constant,
/// sl(K - v)^2 = (1 - sl(v)^2) / (1 + sl(v)^2). From s = 1/2, sl(2u)^2 = 240/289 and that of the
/// rest is (7/23)^2; from s = 2/3, 9360/9409 and (7/137)^2, with 2u beyond K.
class Lemniscate_Machin_BigFloatR : public Formula {
 public:
  struct Summand {
    std::int64_t c;
    std::uint64_t x, y;
  };
  using Summands = std::array<Summand, 2>;
  static constexpr Summands kGauss = {{{8, 1, 2}, {4, 7, 23}}};
  static constexpr Summands kSebah = {{{8, 2, 3}, {-4, 7, 137}}};

  explicit Lemniscate_Machin_BigFloatR(const Summands& summands) : summands_(summands) {}
  std::size_t result_words(nmp::Context& context, std::size_t p) const override;
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

 private:
  SeriesSum sum(std::size_t p) const;

  Summands summands_;
};

}  // namespace numforge::Formulas
