// The BinaryBBP family: sums of rational terms with powers of two,
//
//     S = sum over k = 1..N of  z^(k-1) P(k)/Q(k),    z = 2^-bits or -2^-bits.
//
// This is a series with R(k) = z Q(k), summed by the engine of CommonP2B3 with P and Q only: for
// adjacent ranges, L0 terms in the left one,
//
//     P = P0*Q1 + z^L0 Q0*P1        Q = Q0*Q1
//
// Ranges are cut where z^L0 is a whole number of words, so that the scale is an exponent and costs
// nothing. P has the exponent that makes P/Q the sum.
// Source: D. Bailey, P. Borwein, S. Plouffe, On the rapid computation of various polylogarithmic
// constants, 1997 [BBP1997].
#pragma once

#include <cstddef>
#include <cstdint>

#include "series/merge.h"
#include "series/series.h"

namespace nmp::BinarySplitting::BinaryBBP {

class BinaryBBPSeries : public Series {
 public:
  BinaryScale scale() const final { return scale_; }
  double gained_bits(std::uint64_t a) const final { return linear_gain(scale_.bits, a); }
  std::uint64_t leaf_terms(bool) const final { return cut_unit; }
  /// From end_case_1, of which R is ignored.
  void leaf(std::uint64_t a, std::uint64_t b, bool drops, Leaf& leaf) const final;
  Residues residues(std::uint64_t k) const final;

 protected:
  /// 1 <= bits < 32. |P(k)/Q(k)| does not grow with k and is below 2^32 S.
  explicit BinaryBBPSeries(BinaryScale scale);
  /// P(k) and Q(k) modulo 2^61 - 1.
  virtual Residues fraction_residues(std::uint64_t k) const = 0;

 private:
  BinaryScale scale_;
};

/// Makes left.R z^L0 Q0, in Q0's own words, for a merge that keeps products to `kept` words; and
/// lets P0 reach as low as the sum will, where that is not cut. `terms` = L0.
void lend_ratio(CommonP2B3::Range& left, const CommonP2B3::Range& right, const BinaryScale& scale,
                std::uint64_t terms, std::size_t kept);

}  // namespace nmp::BinarySplitting::BinaryBBP
