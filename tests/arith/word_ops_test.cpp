// Each loop against the slow reference, on arrays of exactly the right size and in place.
#include "arith/word_ops.h"

#include <gtest/gtest.h>

#include "support/random.h"
#include "support/reference.h"

namespace nmp {
namespace {

using test::Natural;
using Words = std::vector<Word>;

constexpr Word kOnes = ~Word{0};

class WordOps : public test::RandomTest {
 protected:
  /// n words, n = 0 included, the top one of any value; often all ones or all zeros.
  Words array(std::size_t n) {
    if (const std::uint64_t kind = rng_.below(8); kind < 2) return Words(n, kind ? kOnes : 0);
    Words a = rng_.words(n + 1);
    a.pop_back();
    return a;
  }
  std::size_t length() { return rng_.size(80) - 1; }
  Word factor() { return rng_.below(4) == 0 ? kOnes : array(1)[0]; }
  static Natural natural(const Words& a, DoubleWord top = 0) {
    Words all = a;
    all.push_back(static_cast<Word>(top));
    all.push_back(static_cast<Word>(top >> 32));
    return test::stripped(all);
  }
};

TEST_F(WordOps, AddAndSubtract) {
  for (std::size_t rep = 0; rep < test::reps(3000); ++rep) {
    const std::size_t n = length();
    const Words a = array(n), b = array(n);
    Words sum(n), in_place = b;
    const Word carry = words::add_n(sum.data(), a.data(), b.data(), n);
    ASSERT_EQ(natural(sum, carry), test::add(natural(a), natural(b)));
    ASSERT_EQ(words::add_n(in_place.data(), a.data(), in_place.data(), n), carry);
    ASSERT_EQ(in_place, sum);
    ASSERT_EQ(words::sub_n(in_place.data(), sum.data(), b.data(), n), carry);
    ASSERT_EQ(in_place, a);

    const Word w = rep % 2 ? 1 : factor();
    const Word carry_1 = words::add_1(sum.data(), a.data(), n, w);
    ASSERT_EQ(natural(sum, carry_1), test::add(natural(a), natural({w})));
    ASSERT_EQ(words::sub_1(sum.data(), sum.data(), n, w), carry_1);
    ASSERT_EQ(sum, a);
    const Word out = words::increment(sum.data(), n);
    ASSERT_EQ(natural(sum, out), test::add(natural(a), {1}));
    ASSERT_EQ(words::decrement(sum.data(), n), out);
    ASSERT_EQ(sum, a);
    words::complement(sum.data(), a.data(), n);
    ASSERT_EQ(words::add_n(sum.data(), sum.data(), a.data(), n), 0u);
    ASSERT_TRUE(words::all_equal(sum.data(), n, kOnes));
  }
}

TEST_F(WordOps, Products) {
  for (std::size_t rep = 0; rep < test::reps(3000); ++rep) {
    const std::size_t n = length();
    const Words a = array(n), b = array(n);
    const Word w = factor();
    const DoubleWord x = DoubleWord{factor()} << 32 | w;
    const Natural by_word = test::multiply(natural(a), natural({w}));
    const Natural by_two = test::multiply(natural(a), natural({}, x));
    Words c = a;
    Word top = words::mul_1(c.data(), c.data(), n, w);
    ASSERT_EQ(natural(c, top), by_word);
    c = a;
    const DoubleWord top_2 = words::mul_2(c.data(), c.data(), n, x);
    ASSERT_EQ(natural(c, top_2), by_two);

    c = b;
    top = words::addmul_1(c.data(), a.data(), n, w);
    ASSERT_EQ(natural(c, top), test::add(natural(b), by_word));
    ASSERT_EQ(words::submul_1(c.data(), a.data(), n, w), top);
    ASSERT_EQ(c, b);
    const DoubleWord above = words::addmul_2(c.data(), a.data(), n, x);
    ASSERT_EQ(natural(c, above), test::add(natural(b), by_two));
  }
}

}  // namespace
}  // namespace nmp
