// The CommonP2B3 family: series summed into three products P, Q and R.
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
//  (2) Products longer than target + kExtraPrecision words lose their low words. Each truncation
//      is off by one unit in the last kept place; all terms of P keep its sign to leading order, so
//      a tree of depth d is off by less than 4 d such units.
//  (3) The blocks of the plan are exact, and each is compared with the series' recurrence modulo
//      2^61 - 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "arith/big_float.h"
#include "arith/context.h"
#include "arith/exact_float.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"
#include "series/series.h"

namespace nmp::BinarySplitting::CommonP2B3 {

/// The three products of a range, over storage of the caller.
struct Range {
  ExactFloat P, Q, R;
  std::uint64_t dropped = 1;  ///< factor dropped from P, Q and R each, modulo 2^61 - 1
};

/// One block of the plan: the terms a+1..b.
struct Block {
  std::uint64_t a, b;
  double cost;  ///< estimated bits of Q
};

struct Plan {
  std::vector<Block> blocks;
  std::uint64_t size = 0;  ///< terms it was built for
  unsigned tds = 1;        ///< parallel tasks it was built for
};

/// Sizes of a series run. All take the target precision in words.
class Sizing {
 public:
  Sizing(const Context& context, const Series& series, std::size_t target);

  /// Words that hold P, Q and R of a range. Without `needs_R` the room for R is that of the left
  /// half only, which the merge reads.
  struct Words {
    std::size_t P, Q, R;
    std::size_t bytes() const;
  };
  Words result(std::uint64_t a, std::uint64_t b, bool needs_R) const;
  /// The series' common factors, or null where merges drop none.
  const CommonFactors* factors() const { return factors_; }
  /// Bounds for a range as the recursion leaves it.
  RangeBits bits(std::uint64_t a, std::uint64_t b) const;
  /// Bytes of scratch for summing a range, its result not included.
  std::size_t scratch_bytes(std::uint64_t a, std::uint64_t b, bool needs_R) const;
  /// Bytes of scratch for an end case, in steps of two terms or of one.
  std::size_t end_bytes(bool pairs) const;
  /// True where the range is short enough for an end case.
  bool is_end(std::uint64_t a, std::uint64_t b) const;
  /// True where no product of the range is truncated.
  bool is_exact(std::uint64_t a, std::uint64_t b) const;
  /// Words that a truncated product keeps.
  std::size_t kept() const;

 private:
  std::size_t merge_bytes(std::uint64_t a, std::uint64_t m, std::uint64_t b, bool needs_R) const;
  std::size_t scratch_bytes(std::uint64_t a, std::uint64_t b, bool needs_R, int depth) const;

  const Context& context_;
  const Series& series_;
  std::size_t target_;
  const CommonFactors* factors_;
};

/// Cuts a range's storage from scratch.
Range carve_range(AlignedBufferC& scratch, const Sizing::Words& words);

/// left = left merged with right. `left`'s buffers must hold the result; products are cut to `kept`
/// words. Scratch for the largest product and its multiplication.
void merge(Context& context, Range& left, const Range& right, bool needs_R, std::size_t kept,
           AlignedBufferC scratch);

/// Divides left.R and right.Q by their common factor before a merge of (a, m] and (m, b].
void drop_common(const CommonFactors& factors, Range& left, Range& right, std::uint64_t a,
                 std::uint64_t m, std::uint64_t b);
/// The products of a leaf.
void set_leaf(Range& range, const Leaf& leaf);
/// Prints the failure and throws BSRModularCheckFailedException.
[[noreturn]] void fail_modular_check(const Range& range, std::uint64_t expected,
                                     std::uint64_t actual);

/// What the layers of one series run share.
struct SeriesRun {
  const Series& series;
  const Sizing& sizing;
  const Plan& plan;
  Progress& progress;
  double work_done = 0;  ///< in terms times levels of recursion

  double work_total() const;
  /// Shows a finished merge (one level) or a finished range of several levels.
  void report(std::uint64_t terms_done, double levels);
};

/// Sums one block by recursion.
class BSR_BlockS {
 public:
  explicit BSR_BlockS(SeriesRun& run) : run_(run) {}

  /// result = the products of the terms a+1..b. `result` has the room that Sizing::result says.
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
  SeriesRun& run_;
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
  void finish(Range& sum, BigFloat& numerator, BigFloat& denominator, Progress& progress,
              AlignedBufferC scratch) const;

  Context& context_;
  const Series& series_;
  std::size_t target_;
  Sizing sizing_;
  Plan plan_;
};

}  // namespace nmp::BinarySplitting::CommonP2B3
