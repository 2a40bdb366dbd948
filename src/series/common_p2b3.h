// The CommonP2B3 family: series summed into three products P, Q and R; and the engine of the
// families that are variants of it (hyperdescent.h, binary_bbp.h).
//
// Two layers. PSR cuts the whole range of terms into a plan of blocks whose products are still
// exact at the working precision, sums each block and joins the blocks; BSR sums one block by
// binary splitting down to end cases of a few terms.
//
// Words   target     precision of the result, in words; guard words are the caller's affair
//         exact      a range whose P, Q and R have never been truncated
//
// Invariants
//  (1) A range's left half is computed in the place of the range itself, so that only right halves
//      take scratch: live data stay below the result, one right half per level and one product.
//  (2) Products longer than target + kExtraPrecision words lose their low words, and those of a
//      range (a, b] as many more as the terms after a are smaller than the whole sum
//      (Series::gained_bits; for R, which only terms after b meet, those after b). That is enough:
//      a merge multiplies P0 and Q0 by the same Q1, so that P0/Q0 stays what it was and an error of
//      the right half weighs as little as its terms. Each truncation is off by one unit in the last
//      kept place; all terms of P keep its sign to leading order. On the left edge of a tree of
//      depth d, where nothing is gained, that makes less than 4 d units; elsewhere two words are
//      kept beyond the gain, so that all other truncations together, 4 in each merge, are below
//      one unit for any number of merges up to 2^60.
//  (3) The blocks of the plan are exact, and each is compared with the series' recurrence modulo
//      2^61 - 1.
//  (4) Where the scratch of the longest merge has room for it, a range is summed in parallel tasks
//      (subtree_tasks.h); above, threads share each product. So more threads take no more memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "arith/big_float.h"
#include "arith/context.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"
#include "series/merge.h"
#include "series/series.h"
#include "series/series_run.h"
#include "series/sizing.h"

namespace nmp::BinarySplitting::CommonP2B3 {

/// Sums one block by recursion.
class BSR_BlockS {
 public:
  /// Only the thread that owns the run's progress may show a trail.
  enum class Trail { kShown, kHidden };
  explicit BSR_BlockS(SeriesRun& run, Trail trail = Trail::kShown) : run_(run), trail_(trail) {}

  /// result = the products of the terms a+1..b. `result` has the room that Sizing::result says.
  /// With `tds` > 1, ranges that are worth it are summed in as many tasks at a time.
  /// Throws InvalidParametersException "Size exceeded for plan." and "Attempted to run with a
  /// larger tds than the plan supports.", and LimitExceededException "Unable to fit even 100 terms
  /// in memory." when scratch is hopelessly small.
  void BSR_S(Context& context, Range& result, std::uint64_t a, std::uint64_t b, bool needs_R,
             unsigned tds, AlignedBufferC scratch);
  /// The same directly, if the range is short and its working memory fits: term by term pairs, or,
  /// in less memory, single terms. Tells whether it did.
  bool BSR_End(Context& context, Range& result, std::uint64_t a, std::uint64_t b, bool needs_R,
               AlignedBufferC scratch);

 private:
  bool sum_in_tasks(Context& context, Range& result, std::uint64_t a, std::uint64_t b, bool needs_R,
                    unsigned tds, AlignedBufferC scratch);

  SeriesRun& run_;
  Trail trail_;
};

/// Sums one block of the plan and checks it.
class PSR_BlockS {
 public:
  explicit PSR_BlockS(SeriesRun& run) : run_(run) {}
  /// Throws BSRModularCheckFailedException when the products disagree with the recurrence modulo
  /// 2^61 - 1.
  void run(Context& context, Range& result, const Block& block, bool needs_R,
           AlignedBufferC scratch);

 private:
  SeriesRun& run_;
};

/// Joins the blocks [first, last) of the plan.
class PSR_SeriesPartsS {
 public:
  explicit PSR_SeriesPartsS(SeriesRun& run) : run_(run) {}
  void run(Context& context, Range& result, std::size_t first, std::size_t last, bool needs_R,
           AlignedBufferC scratch);

 private:
  SeriesRun& run_;
};

/// The line that announces a series: its family, terms and expansion factor.
std::string series_header(const Series& series);

/// The whole series.
class PSR_SeriesS {
 public:
  /// `target`: precision of the quotient in words.
  PSR_SeriesS(Context& context, const Series& series, std::size_t target);

  /// Words that the buffers of `numerator` and `denominator` must have.
  std::size_t result_words() const;
  /// Bytes of scratch for `run`.
  std::size_t scratch_bytes() const;

  /// Sums the plan and finishes with the coefficients:
  /// numerator / denominator = (coefP*P + coefQ*Q) / (coefD*Q). The sum grows in the place of the
  /// results. Prints the header and announces its steps.
  void run(BigFloat& numerator, BigFloat& denominator, Progress& progress, AlignedBufferC scratch);

  const Plan& plan() const { return plan_; }

 private:
  void build_plan(std::uint64_t a, std::uint64_t b);
  void announce(Progress& progress) const;
  void scale_with_coefficients(Range& sum, Progress& progress, AlignedBufferC scratch) const;
  void finish(Range& sum, BigFloat& numerator, BigFloat& denominator, Progress& progress,
              AlignedBufferC scratch) const;

  Context& context_;
  const Series& series_;
  std::size_t target_;
  Sizing sizing_;
  Plan plan_;
};

}  // namespace nmp::BinarySplitting::CommonP2B3
