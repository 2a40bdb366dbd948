// The split loops must give the words of the serial ones, carries between the parts included.
#include "arith/long_ops.h"

#include <gtest/gtest.h>

#include "arith/multiply/algorithm_table.h"
#include "arith/word_ops.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using Words = std::vector<Word>;
constexpr Word kOnes = ~Word{0};

class LongOps : public ::testing::TestWithParam<unsigned> {
 protected:
  test::PlainThreads threads_{GetParam()};
  AlgorithmTable table_;
  Context context_{threads_, table_};
  test::Rng rng_ = test::Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

TEST_P(LongOps, SameWordsAsTheSerialLoops) {
  for (std::size_t rep = 0; rep < test::reps(60); ++rep) {
    const std::size_t at = rng_.below(17);  // the target's place within a cache line
    const std::size_t n = words::kParallelWords + rng_.below(9000);
    Words a = rng_.words(n), b = rng_.words(n);
    if (rep % 3 == 0)  // a sum of all ones but for a few words: carries cross whole parts
      for (std::size_t i = 0; i < n; ++i) b[i] = rng_.below(4000) == 0 ? kOnes : ~a[i];
    Words expected(n), c(n + at);
    Word carry = words::add_n(expected.data(), a.data(), b.data(), n);
    ASSERT_EQ(words::add_n(context_, c.data() + at, a.data(), b.data(), n), carry);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), c.begin() + at)) << "sum";

    if (rep % 3 == 1) b = a, b[rng_.below(n)] += 1, b[rng_.below(n)] -= 1;
    carry = words::sub_n(expected.data(), a.data(), b.data(), n);
    std::copy(b.begin(), b.end(), c.begin() + at);
    ASSERT_EQ(words::sub_n(context_, c.data() + at, a.data(), c.data() + at, n), carry);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), c.begin() + at)) << "difference";

    const Words zeros(n, 0);
    carry = words::sub_n(expected.data(), zeros.data(), b.data(), n);
    ASSERT_EQ(words::negate_n(context_, c.data() + at, b.data(), n), carry);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), c.begin() + at)) << "negative";
    words::copy(context_, c.data() + at, a.data(), n);
    ASSERT_TRUE(std::equal(a.begin(), a.end(), c.begin() + at)) << "copy";
    words::zero(context_, c.data() + at, n);
    ASSERT_TRUE(words::all_equal(c.data() + at, n, 0)) << "zeros";
  }
}

TEST_P(LongOps, OneCarryThroughEveryPart) {
  const std::size_t n = 5 * words::kParallelWords + 3;
  const Words ones(n, kOnes);
  Words c(n, 0);
  c[0] = 1;
  EXPECT_EQ(words::add_n(context_, c.data(), c.data(), ones.data(), n), 1u);
  EXPECT_TRUE(words::all_equal(c.data(), n, 0));
  Words one(n, 0);
  one[0] = 1;
  EXPECT_EQ(words::sub_n(context_, c.data(), c.data(), one.data(), n), 1u);
  EXPECT_TRUE(words::all_equal(c.data(), n, kOnes));
}

TEST_P(LongOps, ThreadsAreUsedFrom8192Words) {
  Words a(words::kParallelWords, 5), c(words::kParallelWords);
  words::add_n(context_, c.data(), a.data(), a.data(), a.size() - 1);
  words::copy(context_, c.data(), a.data(), a.size() - 1);
  EXPECT_EQ(threads_.loops(), 0u);
  words::add_n(context_, c.data(), a.data(), a.data(), a.size());
  EXPECT_EQ(threads_.loops(), GetParam() > 1 ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Threads, LongOps, ::testing::Values(1u, 2u, 3u, 7u, 200u));

}  // namespace
}  // namespace nmp
