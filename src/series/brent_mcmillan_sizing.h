// Sizes of a run of the Brent-McMillan series: how precise a range must be, how long its numbers
// get, how much scratch they take.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "series/brent_mcmillan_merge.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {

/// The series for n = 2^k, its terms 1..terms, and the precision of A/B in words.
struct Parameters {
  unsigned k;
  std::uint64_t terms;
  std::size_t target;

  /// Twos that are taken out of j: j = 2^twos_of(j) times its share of D.
  unsigned twos_of(std::uint64_t j) const;
  /// The power of two by which terms beyond m weigh more than those from a + 1 on: the sum of
  /// 2 k - 2 twos_of(j) over j = a+2..m+1.
  std::uint64_t shift(std::uint64_t a, std::uint64_t m) const;
  /// So many of them that C, which is D times a sum of 1/j, and all that comes of it have no more
  /// than one word behind the point.
  unsigned most_twos() const { return k < 31 ? k : 31; }
};

class Sizing {
 public:
  Sizing(const Context& context, const Parameters& parameters);
  Sizing in(const Context& context) const { return {context, parameters_}; }

  /// Words of D and of T that a range needs.
  Kept kept(std::uint64_t a, std::uint64_t b) const;
  /// Room for the numbers of a range.
  Words result(std::uint64_t a, std::uint64_t b) const;
  /// True where no number of the range is truncated.
  bool is_exact(std::uint64_t a, std::uint64_t b) const;
  /// True where the range is short enough for an end case.
  static bool is_end(std::uint64_t a, std::uint64_t b);
  static std::uint64_t split(std::uint64_t a, std::uint64_t b) { return a + (b - a) / 2; }
  /// Bytes of scratch for summing a range, its result not included.
  std::size_t scratch_bytes(std::uint64_t a, std::uint64_t b) const;
  /// The size of the exact S over the size of the result.
  double expansion_factor() const;

 private:
  std::size_t scratch_bytes(std::uint64_t a, std::uint64_t b, int levels) const;
  double needed_bits(std::uint64_t a, std::uint64_t b) const;
  double term_bits(double j) const;
  double peak_bits(std::uint64_t a, std::uint64_t b) const;
  /// Bounds for D and T without truncation, in bits.
  struct Bits {
    double D, T;
  };
  Bits exact_bits(std::uint64_t a, std::uint64_t b) const;

  const Context& context_;
  Parameters parameters_;
  double sum_bits_;  ///< log2 of B
};

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
