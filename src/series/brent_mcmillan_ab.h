// The BrentMcMillanAB family: the two series of the Brent-McMillan method, summed together.
//
//     B = sum over j = 0..N of t_j,  A = sum of H_j t_j,  t_j = (n^j/j!)^2,  H_j = 1 + .. + 1/j
//
// With n = 2^k, a range (a, b] of terms is four numbers:
//
//     D = the product of j             C = D times the sum of 1/j
//     T = D^2 times the sum of t_j/t_a  U = D^2 times the sum of (H_b - H_j) t_j/t_a
//
// D + e C and T + 2 e U with e^2 = 0 are the product of j + e and the series in j + e: A is a
// derivative of B. So A costs no denominator D^3; merges are products of such pairs (see
// brent_mcmillan_merge.h). Twos are taken out of j, so that D is odd, up to a bound; n^2 and they
// meet in shifts, of which T and U keep all but that of their first term aside. For the whole
// series, with R = T and S = D^2:
//
//     A/B = C/D - (U + C D)/(T + D^2) = (C T - D U)/(D (R + S))
//
// Truncation. What a range contributes to B is B times e^-w for some w >= 0, so that its sum is
// wanted to the target's precision less w: T and U of a range keep so many words, D and C those of
// the heaviest range from there on. (Late ranges weigh little; a light early one has a D that all
// heavier ones are measured against.) S = D1^2 and M = C1 D1 are formed from D1 and C1 as they are,
// truncated or not, so that T and D of a range always belong to the same D1: a D1 that is too
// short for the left range's precision changes C/D and U/T alike, and their difference only by
// what the right range weighs.
//
// Errors. Each merge rounds at most six numbers by less than a unit of the last word kept, relative
// to D or T; the derivative is known one word further and is at most 2^6 times as large. N merges
// (of which few truncate) are off by 2^6 * 6 * 2^36 < 2^45 such units at most: two words. The top
// word may hold a single bit: a third one; and the fourth guard word of every range is spare.
//
// The rest is as in CommonP2B3: blocks are ranges whose numbers are exact, each is compared with
// the recurrence modulo 2^61 - 1; right halves take scratch, left ones the place of the range.
// Where the scratch of the longest merge has room for two halves of a block, they are summed side
// by side.
//
// Source: Brent, McMillan: Some new algorithms for high-precision computation of Euler's constant
// [BM1980].
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>

#include "arith/big_float.h"
#include "arith/context.h"
#include "foundation/progress.h"
#include "memory/aligned_buffer.h"
#include "series/brent_mcmillan_merge.h"
#include "series/brent_mcmillan_sizing.h"

namespace nmp::BinarySplitting::BrentMcMillanAB {

struct Plan {
  std::uint64_t size = 0;    ///< terms it was built for
  unsigned tds = 1;          ///< parallel tasks it was built for
  std::uint64_t blocks = 0;  ///< exact ranges; they follow from the sizes
};

struct SeriesRun {
  const Parameters& parameters;
  const Sizing& sizing;
  const Plan& plan;
  Progress& progress;
  std::atomic<double> work_done = 0;  ///< in terms times levels of recursion
  std::thread::id owner = std::this_thread::get_id();

  /// Counts a finished merge (one level) or a finished range of several levels, and shows the sum.
  void report(std::uint64_t terms_done, double levels);
  bool is_reported(std::uint64_t range) const;
};

/// Sums one block by recursion.
class BSR_BlockS {
 public:
  /// Only the thread that owns the run's progress may show a trail.
  enum class Trail { kShown, kHidden };
  explicit BSR_BlockS(SeriesRun& run, Trail trail = Trail::kShown) : run_(run), trail_(trail) {}

  /// result = the terms a+1..b, exactly. `result` has the room that Sizing::result says. Throws
  /// InvalidParametersException "Size exceeded for plan." and "Attempted to run with a larger tds
  /// than the plan supports.", and LimitExceededException "Unable to fit even 100 terms in
  /// memory." when scratch is hopelessly small.
  void BSR_S(Context& context, Range& result, std::uint64_t a, std::uint64_t b, unsigned tds,
             AlignedBufferC scratch);
  /// The same directly, if the range is short. Tells whether it did.
  bool BSR_End(Range& result, std::uint64_t a, std::uint64_t b);

 private:
  bool sum_halves_at_once(Context& context, Range& left, Range& right, std::uint64_t a,
                          std::uint64_t b, unsigned tds, AlignedBufferC scratch);

  SeriesRun& run_;
  Trail trail_;
};

/// Sums one block of the plan and checks it.
class PSR_BlockS {
 public:
  explicit PSR_BlockS(SeriesRun& run) : run_(run) {}
  void run(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
           AlignedBufferC scratch);
  /// Throws BSRModularCheckFailedException when the numbers, or the residues they carry, disagree
  /// with the recurrence modulo 2^61 - 1.
  void check(Context& context, const Range& range, std::uint64_t a, std::uint64_t b) const;

 private:
  SeriesRun& run_;
};

/// Joins the blocks of a range.
class PSR_SeriesPartsS {
 public:
  explicit PSR_SeriesPartsS(SeriesRun& run) : run_(run) {}
  void run(Context& context, Range& result, std::uint64_t a, std::uint64_t b,
           AlignedBufferC scratch);

 private:
  SeriesRun& run_;
};

/// The whole of both series.
class PSR_SeriesS {
 public:
  /// Terms at most; the error analysis counts on it.
  static constexpr std::uint64_t kMostTerms = std::uint64_t{1} << 36;

  PSR_SeriesS(Context& context, const Parameters& parameters);

  /// A/B = numerator / denominator, and 1/B = S/R, all at the target's precision; with a
  /// `refined_target` of 0, S and R are left alone.
  struct Results {
    BigFloat numerator, denominator, S, R;
  };
  /// Words of buffers for results at this precision.
  static std::size_t result_words(std::size_t target) { return target + kExtraPrecision + 4; }
  /// Bytes of scratch for `run`.
  std::size_t scratch_bytes() const;
  /// Prints the header, sums, and announces the steps at the end.
  void run(Results& results, std::size_t refined_target, Progress& progress,
           AlignedBufferC scratch);

  const Plan& plan() const { return plan_; }

 private:
  std::uint64_t count_blocks(std::uint64_t a, std::uint64_t b) const;
  void announce(Progress& progress);
  void finish(Range& sum, Results& results, std::size_t refined_target, Progress& progress,
              AlignedBufferC scratch);
  std::size_t finishing_words() const;

  Context& context_;
  Parameters parameters_;
  Sizing sizing_;
  Plan plan_;
};

}  // namespace nmp::BinarySplitting::BrentMcMillanAB
