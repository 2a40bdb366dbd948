// One thread's way through the lower levels of the radix conversion.
#pragma once

#include <cstddef>
#include <optional>

#include "arith/context.h"
#include "arith/word.h"
#include "digits/radix_power.h"
#include "digits/radix_product.h"
#include "digits/radix_split.h"
#include "memory/aligned_buffer.h"
#include "parallel/serial.h"

namespace nmp::CBRv2 {

/// Puts the fractions of both halves of a node in their places. Where nothing of the right half is
/// wanted (the node starts at block `first` of the whole) it stays unset. Returns the first word of
/// the right half's fraction, the overlap with what the left half leaves over.
Word split_node(const Split& split, unsigned level, std::size_t first, Word* words,
                RightHalves& right_halves, AlignedBufferC scratch);

/// Compares the overlap and what the left half left over, and carries into the left half's digits.
/// Nothing happens where nothing of the right half is wanted. AlgorithmFailedException as convert_T
/// says.
void join_node(const Split& split, unsigned level, std::size_t first, Word* words, Word overlap,
               Word left);

/// Converts nodes of one level with all below them. Several of these work at once, each with its
/// own transforms of the powers: a power's transform belongs to one thread.
class Subtree {
 public:
  /// Bytes of memory for nodes of `level`.
  static std::size_t bytes(const Context& context, const Split& split, unsigned level);

  Subtree(const Context& context, const Split& split, unsigned level, const PowerTable& powers,
          AlignedBufferC memory);

  /// Converts the node of the constructor's level that starts at block `first` of the whole.
  /// Returns its result word, which means nothing where it reaches past the blocks that are wanted.
  Word convert(std::size_t first, Word* words) { return node(level_, first, words); }

 private:
  Word node(unsigned level, std::size_t first, Word* words);

  const Split& split_;
  const unsigned level_;
  parallel::SerialContext threads_;
  Context alone_;
  std::optional<RightHalves> right_halves_[PowerTable::kMaxLevels];
  AlignedBufferC scratch_;
};

}  // namespace nmp::CBRv2
