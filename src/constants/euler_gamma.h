// The Euler-Mascheroni constant by the method of Brent and McMillan, with n = 2^k.
//
//     original   gamma = A/B - log n - d,          0 < d < pi e^(-4n)
//     refined    gamma = A/B - C/B^2 - log n + d,  |d| < 24 e^(-8n)
//
// A and B: series/brent_mcmillan_ab.h. C: euler_gamma_c.h. log n = k log 2.
//
// Accuracy. A/B and log n are below 45 and each right to p + 1 words, so that their errors and
// those of the subtractions together are below 2^-22 units of gamma's word p. C/B^2 is about
// e^(-4n) and right to the place of word p + 1. Terms left out of A, B and C, and d, are below
// 2^-8 units of word p.
//
// Source: [BM1980]; the bound on d: Brent, Johansson: A bound for the error term in the
// Brent-McMillan algorithm [BJ2015].
#pragma once

#include <cstdint>

#include "constants/formula.h"

namespace numforge::Formulas {

class EulerGamma_BrentMcMillan_BigFloatR : public Formula {
 public:
  /// k = 0: chosen by the precision.
  EulerGamma_BrentMcMillan_BigFloatR(unsigned k, bool refined) : k_(k), refined_(refined) {}

  /// These throw InvalidParametersException where k is too small for a result of p words, or so
  /// large that the series gets too long; the sentence says the least k that will do.
  std::size_t result_words(nmp::Context& context, std::size_t p) const override;
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override;
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override;

  /// The k chosen for p words: the least one with 2^k >= the bound + 10, from 2 on.
  static unsigned k_for(std::uint64_t p, bool refined);

 private:
  unsigned k_;
  bool refined_;
};

}  // namespace numforge::Formulas
