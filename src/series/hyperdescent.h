// The Hyperdescent family: series whose denominators outgrow their numerators, so that ln Q of N
// terms grows like N ln N while R stays short. Summed by the engine of CommonP2B3; a merge adds P1
// where R0 is a unit, and multiplies twice instead of four times.
#pragma once

#include <cstdint>

#include "series/series.h"

namespace nmp::BinarySplitting::Hyperdescent {

class HyperdescentSeries : public Series {
 protected:
  HyperdescentSeries() { family = Family::kHyperdescent; }
};

/// The sum of (+-1)^k / k! over k = 1..N: P(k) = R(k) = +-1, Q(k) = k.
class TaylorSeries : public HyperdescentSeries {
 public:
  TaylorSeries(bool alternating, std::uint64_t n);

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override;
  std::uint64_t leaf_terms(bool) const override { return cut_unit; }
  void leaf(std::uint64_t a, std::uint64_t b, bool drops, Leaf& leaf) const override;
  Residues residues(std::uint64_t k) const override;

 private:
  bool alternating_;
};

}  // namespace nmp::BinarySplitting::Hyperdescent
