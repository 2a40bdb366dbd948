// All ways of merging two ranges must give the same words.
#include "series/merge.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "series/last_merge.h"
#include "support/arithmetic.h"
#include "support/faults.h"
#include "support/reference_transforms.h"

namespace nmp::BinarySplitting::CommonP2B3 {
namespace {

using test::FencedScratch;
using Owned = test::Owned<ExactFloat>;

constexpr MergeWay kWays[] = {MergeWay::kShared, MergeWay::kSummed};  // besides the plain one

/// One of the six operands: a value without a place.
struct Operand {
  std::vector<Word> words;
  std::int64_t exp = 0;
  bool positive = true;
};

/// Both ranges over buffers of their own, with `room` words for each of the left one's.
class Operands {
 public:
  Operands(const Operand (&left)[3], const Operand (&right)[3], std::size_t room) {
    for (const Operand& x : left) add(x, room - x.words.size());
    for (const Operand& x : right) add(x, 0);
    left_ = {numbers_[0], numbers_[1], numbers_[2]};
    right_ = {numbers_[3], numbers_[4], numbers_[5]};
  }
  Range left_, right_;

 private:
  void add(const Operand& x, std::size_t above) {
    numbers_.emplace_back(x.words, x.exp, x.positive, 0, above);
  }
  std::vector<Owned> numbers_;
};

Words lengths(const Range& range) { return {range.P.L, range.Q.L, range.R.L}; }

class MergeTest : public test::ArithmeticTest {
 protected:
  MergeTest() { table_.add(std::size_t{1} << 20, &reference_); }

  Operand number(std::size_t words) { return {rng_.words(words), 0, rng_.below(2) == 0}; }
  /// kUsual: as the recursion makes them, R shorter than Q. kClose: with summands of P of about the
  /// same size, so that the sign of their difference is not known beforehand. kWild: any lengths.
  enum Kind { kUsual, kClose, kWild };
  void draw(std::size_t most, Kind kind) {
    const bool wild = kind == kWild;
    const std::size_t n = most / 2 + rng_.size(most / 2), m = most / 2 + rng_.size(most / 2);
    const auto length = [&](std::size_t usual) { return wild ? rng_.size(most) : usual; };
    const std::size_t tenths = rng_.below(2) == 0 ? 6 : 9;  // R of its own, or with P's transforms
    for (Operand* range : {left_, right_}) {
      const std::size_t q = range == left_ ? n : m;
      range[0] = number(length(q - rng_.below(q / 4 + 1)));
      range[1] = number(length(q));
      range[1].positive = true;
      range[2] = number(length(q * tenths / 10 + 1));
    }
    if (kind == kClose) {
      right_[0] = number(m);
      left_[2] = number(left_[0].words.size() + rng_.below(3));
    }
    // A second summand below the first one's position is for truncated products only.
    if (wild) left_[2].exp = static_cast<std::int64_t>(rng_.size(40) - 1);
  }
  Range merged(Context& context, MergeWay way, bool needs_R, std::size_t kept) {
    Operands operands(left_, right_, 8192);
    const Words left = lengths(operands.left_), right = lengths(operands.right_);
    std::size_t bytes = merge_bytes(context, left, right, needs_R, way);
    bytes = std::max(bytes, merge_bytes(context, left, right, needs_R, MergeWay::kPlain));
    const FencedScratch scratch(bytes);
    merge(context, operands.left_, operands.right_, needs_R, {kept, kept}, scratch.buffer());
    keep_.push_back(std::move(operands));
    return keep_.back().left_;
  }
  static void expect_same(const ExactFloat& a, const ExactFloat& b, const char* name) {
    EXPECT_EQ(std::vector<Word>(a.T, a.T + a.L), std::vector<Word>(b.T, b.T + b.L)) << name;
    EXPECT_EQ(a.exp, b.exp) << name;
    EXPECT_EQ(a.sign, b.sign) << name;
    EXPECT_EQ(a.hash, b.hash) << name;
    EXPECT_EQ(a.computed_hash(), a.hash) << name;
  }
  void expect_ways_agree(Context& context, bool needs_R, std::size_t kept) {
    const Range plain = merged(context, MergeWay::kPlain, needs_R, kept);
    for (const MergeWay way : kWays) {
      const Range other = merged(context, way, needs_R, kept);
      expect_same(other.P, plain.P, "P");
      expect_same(other.Q, plain.Q, "Q");
      if (needs_R) expect_same(other.R, plain.R, "R");
    }
    keep_.clear();
  }

  test::ReferenceTransforms reference_{1, 1};
  AlgorithmTable table_;
  Context slow_{arithmetic_.context.threads, table_};
  Operand left_[3], right_[3];
  std::vector<Operands> keep_;
};

TEST_F(MergeTest, AllWaysAgree) {
  for (std::size_t rep = 0; rep < test::reps(200); ++rep) {
    const bool real = rep % 3 != 0;  // the program's transforms, or the slow ones
    const std::size_t most = 350 + rng_.size(real ? 4000 : 600);
    draw(most, static_cast<Kind>(rng_.below(3)));
    const std::size_t kept = rng_.below(3) == 0 ? 16 + rng_.size(2 * most) : 10000;
    reference_.unit = rng_.size(5);
    reference_.wrap_sign = rng_.below(2) == 0 ? 1 : -1;
    expect_ways_agree(real ? context_ : slow_, rng_.below(2) == 0, kept);
    ASSERT_FALSE(HasFailure()) << "lengths up to " << most << ", kept " << kept;
  }
}

TEST_F(MergeTest, LastMerge) {
  const auto last = [&](std::size_t kept, std::size_t room_for_R) {
    Operands left(left_, right_, 8192);
    left.left_.R.buffer_size = static_cast<std::uint32_t>(room_for_R);
    const Words words = lengths(left.left_), others = lengths(left.right_);
    const FencedScratch scratch(carved_bytes<Word>(others.Q) +
                                last_merge_bytes(context_, words, others));
    AlignedBufferC rest = scratch.buffer(), behind_Q = rest;
    (void)behind_Q.carve<Word>(others.Q);
    Range right = carve_range(rest, others);
    right.P.set_ExactFloat(context_, left.right_.P);
    right.Q.set_ExactFloat(context_, left.right_.Q);
    merge_last(context_, left.left_, right, kept, behind_Q, rest);
    keep_.push_back(std::move(left));
    return keep_.back().left_;
  };
  for (std::size_t rep = 0; rep < test::reps(20); ++rep) {
    const std::size_t most = 3000 + rng_.below(3000);
    draw(most, kUsual);
    const std::size_t kept = std::min<std::size_t>(most + rng_.below(most / 2), 8000);  // in room
    const Range plain = merged(context_, MergeWay::kPlain, false, kept);
    for (const std::size_t room : {std::size_t{8192}, left_[2].words.size()}) {
      const Range range = last(kept, room);
      expect_same(range.Q, plain.Q, "Q");
      EXPECT_EQ(range.P.computed_hash(), range.P.hash);
      EXPECT_EQ(range.P.sign, plain.P.sign);
      // Each cuts the smaller summand where it sees fit.
      const test::Number apart = add(test::value(range.P), test::negated(test::value(plain.P)));
      EXPECT_LE(apart.words.size(), 1u);
      EXPECT_LE(apart.exp, plain.P.exp);
      if (!apart.words.empty()) {
        EXPECT_LE(apart.words[0], 4u);
      }
    }
    keep_.clear();
    ASSERT_FALSE(HasFailure()) << "lengths up to " << most << ", kept " << kept;
  }
}

TEST_F(MergeTest, ScratchDecidesTheWay) {
  // Lengths for which a sum is worth its plan.
  for (Operand* range : {left_, right_}) {
    for (const std::size_t i : {0, 1}) range[i] = number(300);
    range[1].positive = true;
    range[2] = number(181);
  }
  merged(slow_, MergeWay::kPlain, true, 10000);
  EXPECT_EQ(reference_.made, 0u);
  merged(slow_, MergeWay::kShared, true, 10000);
  EXPECT_EQ(reference_.made, 1u);
  EXPECT_EQ(reference_.made_with_sums, 0u);
  merged(slow_, MergeWay::kSummed, true, 10000);
  EXPECT_EQ(reference_.made_with_sums, 1u);
  // Truncated products are never summed, and a limit on products holds for plans as well.
  merged(slow_, MergeWay::kSummed, true, 300);
  EXPECT_EQ(reference_.made_with_sums, 1u);
  EXPECT_EQ(reference_.made, 3u);
  slow_.longest_product = 300;
  EXPECT_EQ(merge_bytes(slow_, {400, 400, 240}, {400, 400, 240}, true, MergeWay::kShared), 0u);
  merged(slow_, MergeWay::kSummed, true, 10000);
  EXPECT_EQ(reference_.made, 3u);
}

TEST_F(MergeTest, ResiduesCatchFaults) {
  for (const MergeWay way : kWays) {
    draw(400, kUsual);
    reference_.fault = reference_.products + 1;
    test::expect_fault<AlgorithmFailedException>("merge()",
                                                 "Multiplication Failed: Checksum Mismatch",
                                                 [&] { merged(slow_, way, true, 10000); });
    EXPECT_NO_THROW(merged(slow_, way, true, 10000));
  }
  // An operand that is no longer what its residue says, each in turn.
  for (const MergeWay way : kWays) {
    for (const int broken : {0, 1, 4}) {
      Operands operands(left_, right_, 8192);
      Range& range = broken < 3 ? operands.left_ : operands.right_;
      (broken % 3 == 0 ? range.P : range.Q).T[7] ^= 1;
      const FencedScratch scratch(
          merge_bytes(slow_, lengths(operands.left_), lengths(operands.right_), true, way));
      EXPECT_THROW(
          merge(slow_, operands.left_, operands.right_, true, {10000, 10000}, scratch.buffer()),
          AlgorithmFailedException)
          << "operand " << broken;
    }
  }
}

}  // namespace
}  // namespace nmp::BinarySplitting::CommonP2B3
