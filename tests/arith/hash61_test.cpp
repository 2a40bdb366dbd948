// The ring operations are seen through in exact_float_test.cpp, where residues follow numbers.
#include "arith/hash61.h"

#include <gtest/gtest.h>

#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

constexpr std::uint64_t kP = 2305843009213693951u;  // 2^61 - 1

/// a 2^k mod p by doubling; no folding, no rotation.
std::uint64_t doubled(std::uint64_t a, unsigned k) {
  for (a %= kP; k != 0; --k) a = a * 2 % kP;
  return a;
}

class Hash61 : public test::RandomTest {};

TEST_F(Hash61, ArraysOfEveryShape) {
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const std::size_t n = rep < 130 ? rep : rng_.size(5000);
    std::vector<Word> a = rep % 3 == 0 ? std::vector<Word>(n, ~Word{0}) : rng_.words(n + 1);
    a.resize(n);
    if (rep % 5 == 0 && n > 1) {  // p, shifted up
      std::fill(a.begin(), a.end() - 2, 0);
      a[n - 2] = ~Word{0};
      a[n - 1] = 0x1FFFFFFF;
    }
    std::uint64_t residue = 0;
    for (std::size_t i = n; i-- != 0;) residue = (doubled(residue, 32) + a[i]) % kP;
    ASSERT_EQ(hash61::of_words(a.data(), n), residue) << n << " words";
  }
}

TEST_F(Hash61, PartsOfManyThreadsMakeUpTheWhole) {
  test::Threads pool(3);
  const AlgorithmTable table;
  Context context{pool, table};
  for (std::size_t rep = 0; rep < test::reps(40); ++rep) {
    const std::vector<Word> a = rng_.words(words::kParallelWords - 20 + rng_.size(50000));
    const std::size_t skip = rng_.size(20), n = a.size() - skip;
    ASSERT_EQ(words::hash_of(context, a.data() + skip, n), hash61::of_words(a.data() + skip, n));
  }
}

}  // namespace
}  // namespace nmp
