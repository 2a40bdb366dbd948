#include "arith/hash61.h"

#include <gtest/gtest.h>

#include "support/random.h"

namespace nmp {
namespace {

constexpr std::uint64_t kP = 2305843009213693951u;  // 2^61 - 1

/// a 2^k mod p by doubling; no folding, no rotation.
std::uint64_t doubled(std::uint64_t a, unsigned k) {
  for (a %= kP; k != 0; --k) a = a * 2 % kP;
  return a;
}
std::uint64_t residue(const std::vector<Word>& words) {
  std::uint64_t r = 0;
  for (auto w = words.rbegin(); w != words.rend(); ++w) r = (doubled(r, 32) + *w) % kP;
  return r;
}

TEST(Hash61, ArraysOfEveryShape) {
  test::Rng rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const std::size_t n = rep < 130 ? rep : rng.size(5000);
    std::vector<Word> a = rep % 3 == 0 ? std::vector<Word>(n, ~Word{0}) : rng.words(n + 1);
    a.resize(n);
    ASSERT_EQ(hash61::of_words(a.data(), n), residue(a)) << n << " words";
  }
}

TEST(Hash61, MultiplesOfThePrimeAreZero) {
  for (std::size_t places : {0, 1, 7, 600, 1000}) {
    std::vector<Word> a(places, 0);  // p, shifted up
    a.push_back(~Word{0});
    a.push_back(0x1FFFFFFF);
    EXPECT_EQ(hash61::of_words(a.data(), a.size()), 0u);
  }
  EXPECT_EQ(hash61::fold(kP), 0u);
  EXPECT_EQ(hash61::negate(0), 0u);
  EXPECT_EQ(hash61::multiply(kP, 5), 0u);
}

TEST(Hash61, RingOperations) {
  test::Rng rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t rep = 0; rep < test::reps(2000); ++rep) {
    const std::uint64_t a = rng.u64(), b = rep % 7 == 0 ? kP - 1 : rng.u64() % kP;
    ASSERT_EQ(hash61::fold(a), a % kP);
    ASSERT_EQ(hash61::add(a % kP, b), (a % kP + b) % kP);
    ASSERT_EQ(hash61::subtract(a % kP, b), (a % kP + kP - b) % kP);
    std::uint64_t product = 0;  // bit by bit
    for (unsigned bit = 0; bit < 61; ++bit)
      if (b >> bit & 1) product = (product + doubled(a, bit)) % kP;
    ASSERT_EQ(hash61::multiply(a % kP, b), product);
  }
  for (std::int64_t e : {-1000, -61, -1, 0, 1, 60, 61, 12345}) {
    const std::uint64_t up = hash61::word_weight(e), down = hash61::word_weight(-e);
    EXPECT_EQ(hash61::multiply(up, down), 1u) << e;
    EXPECT_EQ(doubled(up, 32), hash61::word_weight(e + 1)) << e;
  }
}

}  // namespace
}  // namespace nmp
