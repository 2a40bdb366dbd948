#include "series/last_merge.h"

#include <algorithm>

#include "arith/hash61.h"
#include "arith/multiply/algorithm_table.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

/// Pieces of products are not made shorter than this to save memory.
constexpr std::size_t kLeastPiece = 1024;

Words lengths(const Range& range) { return {range.P.L, range.Q.L, range.R.L}; }

/// R0 = the words of R0*P1 from position `lowest` on. False, and R0 as it was, if there is no room.
bool form_second_summand(Context& context, ExactFloat& R0, const ExactFloat& P1,
                         std::int64_t lowest, AlignedBufferC scratch) {
  ExactFloat r = R0, p = P1;
  const auto wanted =
      static_cast<std::size_t>(std::max<std::int64_t>(r.mag() + p.mag() - lowest + 2, 4));
  r.truncate(context, wanted);
  p.truncate(context, wanted);
  if (std::min(wanted, std::size_t{r.L} + p.L) > R0.buffer_size) return false;
  ExactFloat product = carve_number(scratch, std::size_t{r.L} + p.L);
  product.set_mul(context, r, p, scratch);
  product.truncate_below(context, lowest);
  R0.set_ExactFloat(context, product);
  return true;
}

/// x *= by, cut to `kept` words.
void multiply_by(Context& context, ExactFloat& x, const ExactFloat& by, std::size_t kept,
                 AlignedBufferC scratch) {
  ExactFloat product = carve_number(scratch, std::size_t{x.L} + by.L);
  product.set_mul(context, x, by, scratch);
  product.truncate(context, kept);
  x.set_ExactFloat(context, product);
}

/// An ordinary merge whose products are cut into pieces that `scratch` has room for.
void merge_in_pieces(Context context, Range& left, const Range& right, std::size_t kept,
                     AlignedBufferC scratch) {
  const Words words = lengths(left), others = lengths(right);
  while (context.longest_product > kLeastPiece &&
         merge_bytes(context, words, others, false, MergeWay::kPlain) > scratch.bytes())
    context.longest_product =
        std::min(context.longest_product, 2 * std::max(words.P, words.Q) + others.Q) / 2;
  merge(context, left, right, false, {kept, kept}, scratch);
}

}  // namespace

std::size_t last_merge_bytes(const Context& context, const Words& left, const Words& right) {
  const auto product = [&](std::size_t words) {
    return carved_bytes<Word>(words) + multiply_scratch(context, words);
  };
  const std::size_t dead = carved_bytes<Word>(right.P) + carved_bytes<Word>(right.R);
  return std::max(dead + product(left.R + right.P), product(std::max(left.P, left.Q) + right.Q));
}

void merge_last(Context& context, Range& left, const Range& right, std::size_t kept,
                AlignedBufferC behind_Q, AlignedBufferC scratch) {
  // The lowest word that P0*Q1 can keep: its top one may be zero.
  const std::int64_t lowest = left.P.mag() + right.Q.mag() - 1 - static_cast<std::int64_t>(kept);
  const bool truncated = std::size_t{left.P.L} + right.Q.L > kept;
  if (!truncated || !form_second_summand(context, left.R, right.P, lowest, scratch))
    return merge_in_pieces(context, left, right, kept, scratch);
  left.dropped = hash61::multiply(left.dropped, right.dropped);
  multiply_by(context, left.P, right.Q, kept, behind_Q);
  left.R.truncate_below(context, left.P.exp);
  left.P.add_ip(context, left.R);
  left.P.truncate(context, kept);
  multiply_by(context, left.Q, right.Q, kept, behind_Q);
}

}  // namespace nmp::BinarySplitting::CommonP2B3
