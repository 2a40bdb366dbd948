#include "digits/radix_conversion.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <thread>

#include "digits/radix_product.h"
#include "digits/radix_tree.h"
#include "parallel/context.h"

namespace nmp::CBRv2 {
namespace {

/// Nodes whose products have at most this many words are converted, with all below them, by one
/// thread; several of them at a time. Longer products are made by all threads together.
constexpr std::size_t kTreeProductWords = std::size_t{1} << 19;
/// Products that threads share with profit. As long as there are such, each thread gets several
/// subtrees, so that all end at about the same time.
constexpr std::size_t kSharedProductWords = std::size_t{1} << 18;
constexpr std::size_t kTreesPerThread = 4;

std::size_t level_bytes(const Context& context, const Split& split, unsigned level) {
  return RightHalves::bytes(context, split, level) + RightHalves::node_bytes(context, split, level);
}

/// The level from which on nodes are done by subtrees. With it counts what memory they need: all
/// workers together no more than the first level, whose products nobody can do without.
struct TreePlan {
  TreePlan(const Context& context, const Split& own_split)
      : split(own_split), threads(context.threads.threads()), level(split.levels) {
    while (level > 0 && (product_words() > kTreeProductWords || nodes(level) < enough())) --level;
    if (level == split.levels) return;
    const std::size_t most = level_bytes(context, split, split.levels);
    while (level > 0 && workers() * Subtree::bytes(context, split, level) > most) --level;
  }
  std::size_t enough() const {
    if (threads == 1) return 1;
    if (product_words() > kSharedProductWords) return kTreesPerThread * threads;
    return std::has_single_bit(threads) ? threads : 2 * threads;
  }
  std::size_t product_words() const {
    const Window window(split, level);
    return window.operand + window.power;
  }
  /// Nodes of a level that reach blocks that are wanted.
  std::size_t nodes(unsigned any_level) const {
    return (split.wanted + split.blocks(any_level) - 1) / split.blocks(any_level);
  }
  /// Nodes of all levels above.
  std::size_t nodes_above() const {
    std::size_t sum = 0;
    for (unsigned i = level + 1; i <= split.levels; ++i) sum += nodes(i);
    return sum;
  }
  std::size_t workers() const { return std::min(threads, nodes(level)); }

  const Split& split;
  std::size_t threads;
  unsigned level;
};

class Conversion {
 public:
  Conversion(Context& context, const TreePlan& plan, const PowerTable& powers, Word* words,
             Progress* progress)
      : context_(context),
        plan_(plan),
        split_(plan.split),
        powers_(powers),
        words_(words),
        progress_(progress) {}

  void run(AlignedBufferC scratch);

 private:
  void split_level(unsigned level, Word* overlaps, AlignedBufferC scratch);
  void convert_trees(Word* results, AlignedBufferC scratch);
  void convert_some(Word* results, AlignedBufferC memory);
  void join_level(unsigned level, const Word* overlaps, Word* results);
  void report(unsigned levels, std::size_t done, std::size_t nodes, unsigned next = 1);

  Context& context_;
  const TreePlan& plan_;
  const Split& split_;
  const PowerTable& powers_;
  Word* const words_;
  Progress* const progress_;
  const std::thread::id owner_ = std::this_thread::get_id();
  std::atomic<std::size_t> next_{0}, done_{0};  ///< subtrees
};

/// Splits every node of a level, by all threads together.
void Conversion::split_level(unsigned level, Word* overlaps, AlignedBufferC scratch) {
  RightHalves right_halves(context_, split_, level, powers_.for_level(split_, level), scratch);
  const std::size_t nodes = plan_.nodes(level);
  for (std::size_t i = 0; i < nodes; ++i) {
    throw_if_interrupted();
    report(split_.levels - level, i, nodes);
    const std::size_t first = i * split_.blocks(level);
    overlaps[i] = split_node(split_, level, first, words_ + first, right_halves, scratch);
  }
}

void Conversion::join_level(unsigned level, const Word* overlaps, Word* results) {
  const std::size_t below = plan_.nodes(level - 1);
  for (std::size_t i = 0; i < plan_.nodes(level); ++i) {
    const std::size_t first = i * split_.blocks(level);
    join_node(split_, level, first, words_ + first, overlaps[i], results[2 * i]);
    results[i] = 2 * i + 1 < below ? results[2 * i + 1] : 0;
  }
}

/// `levels` levels are done, the leaves being one more than there are splits, and of the `next`
/// levels `done` of `nodes` parts.
void Conversion::report(unsigned levels, std::size_t done, std::size_t nodes, unsigned next) {
  if (progress_ == nullptr || std::this_thread::get_id() != owner_) return;
  const double share = static_cast<double>(done) / static_cast<double>(nodes);
  progress_->advance((levels + share * next) / (split_.levels + 1));
}

/// One worker's share of the subtrees: the next one, as long as there is one.
void Conversion::convert_some(Word* results, AlignedBufferC memory) {
  const std::size_t trees = plan_.nodes(plan_.level);
  std::size_t i = next_++;
  if (i >= trees) return;
  try {
    Subtree tree(context_, split_, plan_.level, powers_, memory);
    for (; i < trees; i = next_++) {
      throw_if_interrupted();
      const std::size_t first = i * split_.blocks(plan_.level);
      results[i] = tree.convert(first, words_ + first);
      report(split_.levels - plan_.level, ++done_, trees, plan_.level + 1);
    }
  } catch (...) {
    next_ = trees;  // the others need not go on
    throw;
  }
}

void Conversion::convert_trees(Word* results, AlignedBufferC scratch) {
  const std::size_t bytes = Subtree::bytes(context_, split_, plan_.level);
  AlignedBufferC shares = scratch.spawn(plan_.workers() * bytes);
  context_.threads.parallel_for(0, plan_.workers(), 1, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) {
      AlignedBufferC from = shares;
      from.spawn(i * bytes);
      convert_some(results, from.spawn(bytes));
    }
  });
}

void Conversion::run(AlignedBufferC scratch) {
  Word* overlaps = scratch.carve<Word>(plan_.nodes_above());
  Word* results = scratch.carve<Word>(plan_.nodes(plan_.level));
  for (unsigned level = split_.levels; level > plan_.level; --level) {
    split_level(level, overlaps, scratch);
    overlaps += plan_.nodes(level);
  }
  convert_trees(results, scratch);
  for (unsigned level = plan_.level + 1; level <= split_.levels; ++level) {
    overlaps -= plan_.nodes(level);
    join_level(level, overlaps, results);
  }
}

}  // namespace

std::size_t convert_scratch(const Context& context, const Split& split) {
  const TreePlan plan(context, split);
  std::size_t bytes = plan.workers() * Subtree::bytes(context, split, plan.level);
  for (unsigned level = plan.level + 1; level <= split.levels; ++level)
    bytes = std::max(bytes, level_bytes(context, split, level));
  return carved_bytes<Word>(plan.nodes_above()) + carved_bytes<Word>(plan.nodes(plan.level)) +
         bytes;
}

void convert_T(Context& context, const Split& split, const PowerTable& powers, Word* node,
               Progress* progress, AlignedBufferC scratch) {
  const TreePlan plan(context, split);
  Conversion(context, plan, powers, node, progress).run(scratch);
}

}  // namespace nmp::CBRv2
