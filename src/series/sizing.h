// Sizes of a series run: words of its numbers, bytes of its scratch.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "series/merge.h"
#include "series/series.h"

namespace nmp::BinarySplitting::CommonP2B3 {

class Sizing {
 public:
  using Words = CommonP2B3::Words;

  /// `target`: the precision of the result in words.
  Sizing(const Context& context, const Series& series, std::size_t target);
  /// The same run in another context.
  Sizing in(const Context& context) const { return {context, series_, target_}; }

  /// Words that hold P, Q and R of a range. Without `needs_R` the room for R is that of the left
  /// half only, which the merge reads, or that of R0*P1 for merge_last.
  Words result(std::uint64_t a, std::uint64_t b, bool needs_R) const;
  /// False where R is Q, scaled.
  bool keeps_R() const { return series_.family != Family::kBinaryBBP; }
  /// The series' common factors, or null where merges drop none.
  const CommonFactors* factors() const { return factors_; }
  /// Bounds for a range as the recursion leaves it.
  RangeBits bits(std::uint64_t a, std::uint64_t b) const;
  /// Bytes of scratch for summing a range, its result not included: what it takes with plain
  /// merges, the leanest. Merges below the longest find more than they need, and use it.
  std::size_t scratch_bytes(std::uint64_t a, std::uint64_t b, bool needs_R) const;
  /// The same, following only so many levels of the recursion: quicker, and never less.
  std::size_t scratch_bytes(std::uint64_t a, std::uint64_t b, bool needs_R, int levels) const;
  /// True where merge_last merges the range: truncated and without R, R0*P1 not too long for R0's
  /// place.
  bool is_last_merge(std::uint64_t a, std::uint64_t m, std::uint64_t b, bool needs_R) const;
  /// Bytes of scratch for merging (a, m] with (m, b] in the plain way.
  std::size_t merging_bytes(std::uint64_t a, std::uint64_t m, std::uint64_t b, bool needs_R) const;
  /// Bytes of scratch for an end case, in steps of two terms or of one.
  std::size_t end_bytes(bool pairs) const;
  /// True where the range is short enough for an end case.
  bool is_end(std::uint64_t a, std::uint64_t b) const;
  /// True where no product of the range is truncated.
  bool is_exact(std::uint64_t a, std::uint64_t b) const;
  /// Words that P and Q of a range (a, b] keep; R keeps those of kept(b).
  std::size_t kept(std::uint64_t a) const;

 private:
  /// Words for R of a range and, as they are computed in its place, of its left halves.
  std::size_t room_for_R(std::uint64_t a, std::uint64_t b) const;
  /// About the words of R0*P1 that a truncated sum wants, and some more.
  std::size_t second_summand(std::uint64_t a, std::uint64_t m, std::uint64_t b) const;
  /// Bytes for the buffers of (m, b] and the merge.
  std::size_t joining_bytes(std::uint64_t a, std::uint64_t m, std::uint64_t b, bool needs_R) const;

  const Context& context_;
  const Series& series_;
  std::size_t target_;
  const CommonFactors* factors_;
  std::size_t least_kept_;
};

}  // namespace nmp::BinarySplitting::CommonP2B3
