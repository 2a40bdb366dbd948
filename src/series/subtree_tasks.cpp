#include "series/subtree_tasks.h"

#include <algorithm>
#include <cmath>

#include "parallel/context.h"
#include "series/common_p2b3.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

/// Subtrees for each thread, so that a thread that falls behind does not keep the others waiting,
/// and how few they may be where the range is short.
constexpr std::size_t kSubtreesPerTask = 16, kLeastSubtreesPerTask = 4;
/// Nodes for each thread from which on one thread merges a node alone; the merges above would leave
/// threads waiting for the last of them.
constexpr std::size_t kSharedNodesPerTask = 4;
/// Subtrees are not worth a task below so many bits of Q and so many terms.
constexpr double kLeastBits = 1 << 15;
constexpr std::uint64_t kLeastTerms = 128;
/// Levels of a subtree that the estimate of its scratch follows.
constexpr int kFollowedLevels = 2;

unsigned levels_for(std::size_t subtrees) {
  unsigned levels = 0;
  while (std::size_t{1} << levels < subtrees) ++levels;
  return levels;
}

}  // namespace

SubtreeTasks::SubtreeTasks(Context& context, SeriesRun& run, std::uint64_t a, std::uint64_t b,
                           bool needs_R, unsigned tds)
    : context_(context),
      run_(run),
      tds_(tds),
      serial_{serial_threads_, context.products, context.longest_product},
      serial_sizing_(run.sizing.in(serial_)) {
  const double bits = run.sizing.bits(a, b).Q;
  const auto is_too_short = [&](unsigned levels) {
    return std::ldexp(bits, -static_cast<int>(levels)) < kLeastBits ||
           (b - a) >> levels < kLeastTerms;
  };
  unsigned levels = levels_for(kSubtreesPerTask * tds);
  while (levels > levels_for(kLeastSubtreesPerTask * tds) && is_too_short(levels)) --levels;
  if (is_too_short(levels)) return;
  levels_ = levels;
  serial_level_ = std::min(levels_for(kSharedNodesPerTask * tds), levels - 2);
  nodes_ = std::vector<Node>(2 * first_of(levels));
  nodes_[1].a = a;
  nodes_[1].b = b;
  nodes_[1].needs_R = needs_R;
  for (std::size_t i = 1; !is_leaf(i); ++i) {
    const Node& node = nodes_[i];
    Node& left = nodes_[2 * i];
    Node& right = nodes_[2 * i + 1];
    left.a = node.a;
    left.b = right.a = run.series.split(node.a, node.b);
    right.b = node.b;
    left.needs_R = true;
    right.needs_R = node.needs_R;
  }
}

std::size_t SubtreeTasks::storage_bytes(unsigned level) const {
  std::size_t bytes = 0;
  for (std::size_t i = first_of(level); i < 2 * first_of(level); ++i) {
    const Node& right = nodes_[2 * i + 1];
    bytes += run_.sizing.result(right.a, right.b, right.needs_R).bytes();
  }
  return bytes;
}

std::size_t SubtreeTasks::merging_bytes(const Sizing& sizing, std::size_t node) const {
  return sizing.merging_bytes(nodes_[node].a, nodes_[2 * node].b, nodes_[node].b,
                              nodes_[node].needs_R);
}

std::size_t SubtreeTasks::arena_bytes() const {
  std::size_t bytes = 0;
  for (std::size_t i = first_of(serial_level_); i < nodes_.size(); ++i) {
    const Node& node = nodes_[i];
    bytes = std::max(bytes, is_leaf(i) ? serial_sizing_.scratch_bytes(node.a, node.b, node.needs_R,
                                                                      kFollowedLevels)
                                       : merging_bytes(serial_sizing_, i));
  }
  return aligned_bytes(bytes);
}

std::size_t SubtreeTasks::scratch_bytes() const {
  std::size_t storage = 0, most = 0;
  for (unsigned level = 0; level < levels_; ++level) {
    storage += storage_bytes(level);
    if (level >= serial_level_) continue;
    for (std::size_t i = first_of(level); i < 2 * first_of(level); ++i)
      most = std::max(most, storage + merging_bytes(run_.sizing, i));
  }
  return std::max(most, storage + tds_ * arena_bytes());
}

void SubtreeTasks::run(Range& result, AlignedBufferC scratch) {
  rights_ = std::vector<Range>(nodes_.size());
  nodes_[1].range = &result;
  std::vector<AlignedBufferC> below;  // a level's nodes are merged in what lies below their halves
  for (unsigned level = 0; level < levels_; ++level) {
    for (std::size_t i = first_of(level); i < 2 * first_of(level); ++i) {
      const Node& right = nodes_[2 * i + 1];
      rights_[2 * i + 1] =
          carve_range(scratch, run_.sizing.result(right.a, right.b, right.needs_R));
      nodes_[2 * i].range = nodes_[i].range;
      nodes_[2 * i + 1].range = &rights_[2 * i + 1];
    }
    below.push_back(scratch);
  }
  std::vector<AlignedBufferC> arenas;
  const std::size_t share = scratch.bytes() / tds_ / kBufferAlignment * kBufferAlignment;
  for (unsigned i = 0; i < tds_; ++i) arenas.push_back(scratch.spawn(share));
  context_.threads.parallel_for(0, tds_, 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) work(arenas[i]);
  });
  for (unsigned level = serial_level_; level-- != 0;) {
    for (std::size_t i = first_of(level); i < 2 * first_of(level); ++i)
      merge_node(context_, i, below[level]);
  }
}

/// Takes subtrees until none is left.
void SubtreeTasks::work(AlignedBufferC arena) {
  try {
    while (!failed_) {
      const std::size_t leaf = next_++;
      if (leaf >= first_of(levels_)) return;
      std::size_t node = first_of(levels_) + leaf;
      sum_leaf(node, arena);
      // Up as long as the other half is there already; else whoever finishes that one goes on.
      for (node /= 2; node >= first_of(serial_level_); node /= 2) {
        if (nodes_[node].finished.fetch_add(1, std::memory_order_acq_rel) == 0) break;
        merge_node(serial_, node, arena);
      }
    }
  } catch (...) {
    failed_ = true;
    throw;
  }
}

void SubtreeTasks::sum_leaf(std::size_t node, AlignedBufferC arena) {
  const Node& leaf = nodes_[node];
  BSR_BlockS(run_, BSR_BlockS::Trail::kHidden)
      .BSR_S(serial_, *leaf.range, leaf.a, leaf.b, leaf.needs_R, 1, arena);
  run_.report(leaf.b - leaf.a, std::log2(static_cast<double>(leaf.b - leaf.a)));
}

void SubtreeTasks::merge_node(Context& context, std::size_t node, AlignedBufferC scratch) {
  throw_if_interrupted();
  const Node& left = nodes_[2 * node];
  const Node& right = nodes_[2 * node + 1];
  run_.join(context, *left.range, *right.range, {left.a, left.b, right.b}, nodes_[node].needs_R,
            scratch);
  run_.report(right.b - left.a, 1);
}

}  // namespace nmp::BinarySplitting::CommonP2B3
