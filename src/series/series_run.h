// What the layers of one series run share.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "foundation/progress.h"
#include "series/series.h"
#include "series/sizing.h"

namespace nmp::BinarySplitting::CommonP2B3 {

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

/// The range (a, b] cut at m.
struct Cut {
  std::uint64_t a, m, b;
};

struct SeriesRun {
  const Series& series;
  const Sizing& sizing;
  const Plan& plan;
  Progress& progress;
  std::atomic<double> work_done = 0;  ///< in terms times levels of recursion
  /// The thread whose progress this is; the others only count their work.
  std::thread::id owner = std::this_thread::get_id();

  double work_total() const;
  /// Counts a finished merge (one level) or a finished range of several levels, and shows the sum.
  /// For any thread.
  void report(std::uint64_t terms_done, double levels);
  /// Merges two ranges in their family's way.
  void combine(Context& context, Range& left, const Range& right, const Cut& cut, bool needs_R,
               const Kept& kept, AlignedBufferC scratch);
  /// The same in a block, where nothing is cut; short ranges drop their common factors first.
  void join(Context& context, Range& left, Range& right, const Cut& cut, bool needs_R,
            AlignedBufferC scratch);
};

}  // namespace nmp::BinarySplitting::CommonP2B3
