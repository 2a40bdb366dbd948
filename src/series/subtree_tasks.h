// One range summed by several threads that hardly meet.
//
// The range is cut into adjacent subtrees, several for each thread. Threads take them in turn, each
// in an arena of its own; the thread that finishes the second half of a node merges it there and
// then. Nodes of which there are fewer than threads are merged last, one after the other, by all
// threads together.
//
//                 all                 level 0      8 subtrees on 3 threads
//          all           all                1
//       one   one     one   one             2      one thread merges from here down
//       1 2   3 4     5 6   7 8             3
//
// The cuts are those of the recursion, so that the words do not depend on the number of threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "arith/context.h"
#include "memory/aligned_buffer.h"
#include "parallel/serial.h"
#include "series/merge.h"
#include "series/series_run.h"

namespace nmp::BinarySplitting::CommonP2B3 {

class SubtreeTasks {
 public:
  /// For the terms a+1..b in `tds` tasks at a time.
  SubtreeTasks(Context& context, SeriesRun& run, std::uint64_t a, std::uint64_t b, bool needs_R,
               unsigned tds);

  /// False where the range is too short to be cut.
  bool can_run() const { return levels_ != 0; }
  /// Bytes of scratch for `run`, at least. More lets merges share transforms.
  std::size_t scratch_bytes() const;
  /// `result` has the room that Sizing::result says.
  void run(Range& result, AlignedBufferC scratch);

 private:
  struct Node {
    std::uint64_t a = 0, b = 0;
    bool needs_R = false;
    Range* range = nullptr;         ///< a left half's is that of the whole
    std::atomic<int> finished = 0;  ///< halves
  };
  std::size_t first_of(unsigned level) const { return std::size_t{1} << level; }
  bool is_leaf(std::size_t i) const { return i >= first_of(levels_); }
  /// Bytes of the right halves of a level's nodes.
  std::size_t storage_bytes(unsigned level) const;
  std::size_t merging_bytes(const Sizing& sizing, std::size_t node) const;
  std::size_t arena_bytes() const;

  void work(AlignedBufferC arena);
  void sum_leaf(std::size_t node, AlignedBufferC arena);
  void merge_node(Context& context, std::size_t node, AlignedBufferC scratch);

  Context& context_;
  SeriesRun& run_;
  unsigned tds_;
  parallel::SerialContext serial_threads_;
  Context serial_;
  Sizing serial_sizing_;
  unsigned levels_ = 0;                ///< the subtrees' level; 0: none
  unsigned serial_level_ = 0;          ///< nodes of this level and below are merged by one thread
  std::vector<Node> nodes_;            ///< [1] the whole, [2 i] and [2 i + 1] the halves of [i]
  std::vector<Range> rights_;          ///< of right halves, by node
  std::atomic<std::size_t> next_ = 0;  ///< subtree to take
  std::atomic<bool> failed_ = false;
};

}  // namespace nmp::BinarySplitting::CommonP2B3
