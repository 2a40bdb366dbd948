#include "digits/radix_tree.h"

#include <algorithm>
#include <string>

#include "digits/radix_basecase.h"
#include "digits/radix_conversion.h"
#include "foundation/exceptions.h"

namespace nmp::CBRv2 {
namespace {

/// Adds one to a number of blocks.
void add_one(Word* blocks, std::size_t count) {
  while (count > 0) {
    if (++blocks[--count] < kBlockRadix) return;
    blocks[count] = 0;
  }
  throw AlgorithmFailedException("CBRv2::convert_L()", "Mismatching block residuals.");
}

bool right_wanted(const Split& split, unsigned level, std::size_t first) {
  return first + split.blocks(level - 1) < split.wanted;
}

Context serial(parallel::Context& threads, const Context& context) {
  return {threads, context.products, context.longest_product};
}

}  // namespace

Word split_node(const Split& split, unsigned level, std::size_t first, Word* words,
                RightHalves& right_halves, AlignedBufferC scratch) {
  const std::size_t half_length = split.words(level - 1), half = split.blocks(level - 1);
  const std::size_t surplus = split.words(level) - half_length;
  const bool both = right_wanted(split, level, first);
  const Word* product = both ? right_halves.multiply(words, scratch) : nullptr;
  right_halves.keep_top(words, surplus);
  if (!both) return 0;
  right_halves.take(words + half, product);
  return words[half + half_length - 1];
}

void join_node(const Split& split, unsigned level, std::size_t first, Word* words, Word overlap,
               Word left) {
  if (!right_wanted(split, level, first)) return;
  if (static_cast<Word>(overlap - left) > kOverlapTolerance)
    throw AlgorithmFailedException("CBRv2::convert_T()",
                                   "Overlap Mismatch:\n    RL = " + std::to_string(level) +
                                       "\n    Expected = " + std::to_string(overlap) +
                                       "\n    Actual   = " + std::to_string(left));
  if (overlap < left) add_one(words, split.blocks(level - 1));
}

std::size_t Subtree::bytes(const Context& context, const Split& split, unsigned level) {
  parallel::SerialContext threads;
  const Context alone = serial(threads, context);
  std::size_t kept = 0, node = 0;
  for (unsigned i = 1; i <= level; ++i) {
    kept += RightHalves::bytes(alone, split, i);
    node = std::max(node, RightHalves::node_bytes(alone, split, i));
  }
  return kept + node;
}

Subtree::Subtree(const Context& context, const Split& split, unsigned level,
                 const PowerTable& powers, AlignedBufferC memory)
    : split_(split), level_(level), alone_(serial(threads_, context)) {
  for (unsigned i = 1; i <= level; ++i)
    right_halves_[i].emplace(alone_, split, i, powers.for_level(split, i), memory);
  scratch_ = memory;
}

Word Subtree::node(unsigned level, std::size_t first, Word* words) {
  if (level == 0) return convert_L(words, split_.words(0), split_.leaf);
  const std::size_t half = split_.blocks(level - 1);
  const Word overlap = split_node(split_, level, first, words, *right_halves_[level], scratch_);
  const Word left = node(level - 1, first, words);
  Word right = 0;
  if (right_wanted(split_, level, first)) right = node(level - 1, first + half, words + half);
  join_node(split_, level, first, words, overlap, left);
  return right;
}

}  // namespace nmp::CBRv2
