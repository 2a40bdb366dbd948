#include "series/sizing.h"

#include <algorithm>
#include <cmath>

#include "arith/big_float.h"
#include "arith/multiply/algorithm_table.h"
#include "series/last_merge.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

/// End cases cover ranges whose Q has at most so many bits (or two terms).
constexpr double kEndBits = 2048;
/// Room that every number of a range has at least, so that end cases are never truncated.
constexpr std::size_t kLeastWords = 192;
/// Below, memory is no concern.
constexpr std::size_t kLastMergeWords = std::size_t{1} << 16;
/// Levels of the recursion that the estimate follows node by node.
constexpr int kFollowedLevels = 7;

std::size_t words_of(double bits) {
  return static_cast<std::size_t>(std::ceil(std::max(bits, 0.0) / kWordBits)) + 2;
}

}  // namespace

Sizing::Sizing(const Context& context, const Series& series, std::size_t target)
    : context_(context), series_(series), target_(target), factors_(series.factors()) {
  // Ranges that drop factors must be exact, whatever block of the plan they are in.
  const std::uint64_t n = series.terms, last = n - std::min(n, CommonFactors::kMostTerms);
  if (n == 0 || words_of(series.range_bits(last, n).Q) + 4 > kept()) factors_ = nullptr;
}

std::size_t Sizing::kept() const {
  return std::max<std::size_t>(target_ + kExtraPrecision, kLeastWords);
}

bool Sizing::is_end(std::uint64_t a, std::uint64_t b) const {
  if (const std::uint64_t most = series_.leaf_terms(factors_ != nullptr)) return b - a <= most;
  if (b - a <= 2) return true;
  return b - a <= 64 && series_.range_bits(a, b).Q <= kEndBits;
}

RangeBits Sizing::bits(std::uint64_t a, std::uint64_t b) const {
  RangeBits bits = series_.range_bits(a, b);
  if (b - a < CommonFactors::kMostTerms) return bits;
  const double dropped = factors_ ? factors_->least_dropped_bits(a, b) : 0;
  return {bits.P - dropped, bits.Q - dropped, bits.R - dropped};
}

bool Sizing::is_exact(std::uint64_t a, std::uint64_t b) const {
  const RangeBits bits = this->bits(a, b);
  return words_of(std::max({bits.P, bits.Q, bits.R})) + 2 <= kept();
}

std::size_t Sizing::end_bytes(bool pairs) const {
  const std::size_t step = pairs ? Term::kWords : Term::kWords / 2;
  const std::size_t product = kLeastWords + step;
  return 3 * carved_bytes<Word>(step) + carved_bytes<Word>(product) +
         multiply_scratch(context_, product);
}

Sizing::Words Sizing::result(std::uint64_t a, std::uint64_t b, bool needs_R) const {
  const RangeBits bits = this->bits(a, b);
  const std::size_t most = kept() + 4;  // a truncated sum, its carry, and nothing else
  const auto room = [&](double size) {
    return std::clamp<std::size_t>(words_of(size), std::min(kLeastWords, most), most);
  };
  if (needs_R || is_end(a, b)) return {room(bits.P), room(bits.Q), room(bits.R)};
  const std::uint64_t m = series_.split(a, b);
  std::size_t r = room(this->bits(a, m).R);
  if (is_last_merge(a, m, b, needs_R)) r = std::max(r, second_summand(a, m, b));
  return {room(bits.P), room(bits.Q), r};
}

std::size_t Sizing::merging_bytes(std::uint64_t a, std::uint64_t m, std::uint64_t b,
                                  bool needs_R) const {
  return merge_bytes(context_, result(a, m, true), result(m, b, needs_R), needs_R,
                     MergeWay::kPlain);
}

std::size_t Sizing::second_summand(std::uint64_t a, std::uint64_t m, std::uint64_t b) const {
  const RangeBits left = bits(a, m), right = bits(m, b);
  const double below_first = left.P + right.Q - left.R - right.P;
  const double words = static_cast<double>(kept()) - below_first / kWordBits;
  return static_cast<std::size_t>(1.02 * std::max(words, 0.0)) + 16;
}

bool Sizing::is_last_merge(std::uint64_t a, std::uint64_t m, std::uint64_t b, bool needs_R) const {
  if (needs_R || kept() < kLastMergeWords || is_exact(a, b)) return false;
  // Else R0's place would have to grow by more than the merge saves.
  return second_summand(a, m, b) < words_of(bits(a, m).R) + kept() / 2;
}

std::size_t Sizing::joining_bytes(std::uint64_t a, std::uint64_t m, std::uint64_t b,
                                  bool needs_R) const {
  const Words right = result(m, b, needs_R);
  if (!is_last_merge(a, m, b, needs_R)) return right.bytes() + merging_bytes(a, m, b, needs_R);
  return carved_bytes<Word>(right.Q) + last_merge_bytes(context_, result(a, m, true), right);
}

std::size_t Sizing::scratch_bytes(std::uint64_t a, std::uint64_t b, bool needs_R) const {
  return scratch_bytes(a, b, needs_R, kFollowedLevels);
}

std::size_t Sizing::scratch_bytes(std::uint64_t a, std::uint64_t b, bool needs_R,
                                  int levels) const {
  if (is_end(a, b)) return end_bytes(true);
  const std::uint64_t m = series_.split(a, b);
  const std::size_t right = result(m, b, needs_R).bytes();
  const std::size_t merging = joining_bytes(a, m, b, needs_R);
  if (levels == 0) {
    // Below, the right halves of all levels together are no longer than the range itself; each
    // level rounds up three numbers.
    constexpr std::size_t kLevels = 64;
    const std::size_t rounding = kLevels * 3 * carved_bytes<Word>(kLeastWords);
    return std::max(merging, result(a, b, true).bytes()) + rounding;
  }
  return std::max({scratch_bytes(a, m, true, levels - 1),
                   right + scratch_bytes(m, b, needs_R, levels - 1), merging});
}

}  // namespace nmp::BinarySplitting::CommonP2B3
