// Series C of the Brent-McMillan method: the asymptotic series of I0(2n) K0(2n), n = 2^k, but for
// its factor 1/(4n):
//
//     1 + sum over j = 1..K of ((2j)!)^3 / (j!^4 (16n)^(2j)) = (P + Q)/Q
//     P(j) = R(j) = (2j - 1)^3,  Q(j) = 32 n^2 j
//
// Its terms shrink down to j = 2n, and all of them are positive.
#pragma once

#include <cstddef>
#include <cstdint>

#include "series/series.h"

namespace numforge::Formulas {

class EulerGammaSeriesC : public nmp::BinarySplitting::Series {
 public:
  /// K = `count` <= 2n terms, k <= 36; `target`: words of precision.
  EulerGammaSeriesC(unsigned k, std::uint64_t count, std::size_t target);

  nmp::BinarySplitting::RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override;
  void end_case_1(std::uint64_t j, nmp::BinarySplitting::Term& term) const override;
  void end_case_2(std::uint64_t j, nmp::BinarySplitting::Term& term) const override;
  nmp::BinarySplitting::Residues residues(std::uint64_t j) const override;

  /// The least K whose first term left out is below e^-nats, at most 2n.
  static std::uint64_t count_for(unsigned k, double nats);

 private:
  unsigned k_;
};

}  // namespace numforge::Formulas
