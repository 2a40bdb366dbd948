// The general product: dispatched, checked, and cut into pieces where memory is short.
#include <algorithm>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"
#include "parallel/context.h"

namespace nmp {
namespace {

/// A product this long may take seconds; before it starts, the user may have asked to stop.
constexpr std::size_t kPolledProductWords = std::size_t{1} << 16;
/// Pieces are never cut shorter than this in all.
constexpr std::size_t kLeastPieceProduct = 1024;

struct Operand {
  const Word* words;
  std::size_t length;

  Operand piece(std::size_t first, std::size_t most) const {
    return {words + first, std::min(most, length - first)};
  }
};

std::size_t longest_piece_product(const Context& context) {
  return std::max(context.longest_product, kLeastPieceProduct);
}

/// c = a * b through the dispatcher. Scratch that was measured for longer products is enough: see
/// AlgorithmTable::scratch_bytes.
void multiply_whole(Context& context, Word* c, Operand a, Operand b, AlignedBufferC scratch) {
  const std::size_t n = a.length + b.length;
  const Algorithm& algorithm =
      context.products.get_algorithm(n, context.threads.threads(), scratch.bytes());
  algorithm.multiply(context, c, a.words, a.length, b.words, b.length, scratch);
}

/// c = a * b, each operand cut into pieces of half the longest product.
void multiply_in_pieces(Context& context, Word* c, Operand a, Operand b, AlignedBufferC scratch) {
  const std::size_t step = longest_piece_product(context) / 2, n = a.length + b.length;
  Word* const product = scratch.carve<Word>(2 * step);
  words::zero(c, n);
  for (std::size_t i = 0; i < a.length; i += step) {
    for (std::size_t j = 0; j < b.length; j += step) {
      const Operand x = a.piece(i, step), y = b.piece(j, step);
      const std::size_t length = x.length + y.length;
      multiply_whole(context, product, x, y, scratch);
      const Word carry = words::add_n(c + i + j, c + i + j, product, length);
      if (carry != 0) words::increment(c + i + j + length, n - (i + j + length));
    }
  }
}

std::uint64_t residue_of_product(Context& context, Operand a, Operand b) {
  const std::uint64_t ha = words::hash_of(context, a.words, a.length);
  const bool square = a.words == b.words && a.length == b.length;
  const std::uint64_t hb = square ? ha : words::hash_of(context, b.words, b.length);
  return hash61::multiply(ha, hb);
}

}  // namespace

std::size_t multiply_scratch(const Context& context, std::size_t n) {
  const unsigned threads = context.threads.threads();
  const std::size_t most = longest_piece_product(context);
  if (n <= most) return context.products.scratch_bytes(n, threads);
  return carved_bytes<Word>(most / 2 * 2) + context.products.scratch_bytes(most, threads);
}

Context with_pieces_within(const Context& context, std::size_t n, std::size_t scratch) {
  Context shorter = context;
  while (shorter.longest_product > kLeastPieceProduct && multiply_scratch(shorter, n) > scratch)
    shorter.longest_product = std::min(shorter.longest_product, n) / 2;
  return shorter;
}

void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
              std::size_t bl, AlignedBufferC scratch, std::optional<std::uint64_t> residue) {
  const Operand x{a, al}, y{b, bl};
  if (al + bl >= kPolledProductWords) throw_if_interrupted();
  if (al + bl <= longest_piece_product(context))
    multiply_whole(context, c, x, y, scratch);
  else
    multiply_in_pieces(context, c, x, y, scratch);
  if (al + bl < kCheckedProductWords) return;
  if (!residue) residue = residue_of_product(context, x, y);
  if (words::hash_of(context, c, al + bl) != *residue)
    throw AlgorithmFailedException("multiply()", "Multiplication Failed: Checksum Mismatch");
}

}  // namespace nmp
