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
/// Products are not truncated below so many words: ranges of 64 terms and fewer, whose bounds are
/// loose, stay exact wherever they lie.
constexpr std::size_t kLeastKept = 640;
/// Precision that ranges keep beyond what their terms matter, in words.
constexpr double kGainMargin = 2;
/// Below, memory is no concern.
constexpr std::size_t kLastMergeWords = std::size_t{1} << 16;
/// Levels of the recursion that the estimate follows node by node.
constexpr int kFollowedLevels = 7;

/// A truncated sum, its carry, and nothing else.
constexpr std::size_t kCarryWords = 4;

std::size_t words_of(double bits) {
  return static_cast<std::size_t>(std::ceil(std::max(bits, 0.0) / kWordBits)) + 2;
}

/// Words for a number of so many bits that is truncated to less than `most` words.
std::size_t room(double bits, std::size_t most) {
  return std::clamp<std::size_t>(words_of(bits), std::min(kLeastWords, most), most);
}

}  // namespace

Sizing::Sizing(const Context& context, const Series& series, std::size_t target)
    : context_(context),
      series_(series),
      target_(target),
      factors_(series.factors()),
      least_kept_(kLeastKept) {
  if (!factors_) return;
  // Ranges that drop factors must be exact, whatever block of the plan they are in.
  const std::uint64_t n = series.terms, last = n - std::min(n, CommonFactors::kMostTerms);
  const RangeBits bits = n != 0 ? series.range_bits(last, n) : RangeBits{};
  const std::size_t whole = words_of(std::max({bits.P, bits.Q, bits.R})) + 4;
  if (n == 0 || whole > kept(0))
    factors_ = nullptr;
  else
    least_kept_ = std::max(least_kept_, whole);
}

std::size_t Sizing::kept(std::uint64_t a) const {
  const double all = static_cast<double>(target_ + kExtraPrecision);
  const double gained = series_.gained_bits(a) / kWordBits - kGainMargin;
  if (gained <= 0) return std::max(target_ + kExtraPrecision, least_kept_);
  return std::max(static_cast<std::size_t>(std::ceil(std::max(all - gained, 0.0))), least_kept_);
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
  return words_of(std::max(bits.P, bits.Q)) + 2 <= kept(a) &&
         (b == series_.terms || words_of(bits.R) + 2 <= kept(b));
}

std::size_t Sizing::end_bytes(bool pairs) const {
  const std::size_t step = pairs ? Term::kWords : Term::kWords / 2;
  const std::size_t product = kLeastWords + step;
  return 3 * carved_bytes<Word>(step) + carved_bytes<Word>(product) +
         multiply_scratch(context_, product);
}

Sizing::Words Sizing::result(std::uint64_t a, std::uint64_t b, bool needs_R) const {
  const RangeBits bits = this->bits(a, b);
  const std::size_t most = kept(a) + kCarryWords;
  const std::size_t P = room(bits.P, most), Q = room(bits.Q, most);
  if (!keeps_R()) return {P, Q, 0};
  if (needs_R || is_end(a, b)) return {P, Q, room_for_R(a, b)};
  const std::uint64_t m = series_.split(a, b);
  std::size_t R = room_for_R(a, m);
  if (is_last_merge(a, m, b, needs_R)) R = std::max(R, second_summand(a, m, b));
  return {P, Q, R};
}

std::size_t Sizing::room_for_R(std::uint64_t a, std::uint64_t b) const {
  const RangeBits bits = this->bits(a, b);
  const std::size_t own = room(bits.R, kept(b) + kCarryWords);
  // A left half's R is shorter unless it is truncated to a higher precision.
  if (words_of(bits.R) <= own || is_end(a, b)) return own;
  return std::max(own, room_for_R(a, series_.split(a, b)));
}

std::size_t Sizing::merging_bytes(std::uint64_t a, std::uint64_t m, std::uint64_t b,
                                  bool needs_R) const {
  Words left = result(a, m, true);
  const Words right = result(m, b, needs_R);
  if (!keeps_R()) {
    needs_R = false;
    left.R = left.Q;
    left.P += right.P - std::min(right.P, right.Q);  // for the words that P0 reaches lower
  }
  return merge_bytes(context_, left, right, needs_R, MergeWay::kPlain);
}

std::size_t Sizing::second_summand(std::uint64_t a, std::uint64_t m, std::uint64_t b) const {
  const RangeBits left = bits(a, m), right = bits(m, b);
  const double below_first = left.P + right.Q - left.R - right.P;
  const double words = static_cast<double>(kept(a)) - below_first / kWordBits;
  return static_cast<std::size_t>(1.02 * std::max(words, 0.0)) + 16;
}

bool Sizing::is_last_merge(std::uint64_t a, std::uint64_t m, std::uint64_t b, bool needs_R) const {
  if (needs_R || !keeps_R() || kept(a) < kLastMergeWords || is_exact(a, b)) return false;
  // Else R0's place would have to grow by more than the merge saves.
  return second_summand(a, m, b) < room_for_R(a, m) + kept(a) / 2;
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
  if (levels <= 0 && is_exact(a, b)) {
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
