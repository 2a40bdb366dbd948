#include "arith/basic_int.h"

#include <gtest/gtest.h>

#include "arith/hash61.h"
#include "support/arithmetic.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/reference.h"

namespace nmp {
namespace {

using test::expect_fault;
using test::expect_too_small;
using test::Natural;

class BasicInts : public test::ArithmeticTest {
 protected:
  /// A number in a buffer with `room` words to spare.
  BasicIntO make(const Natural& words, std::uint32_t room) {
    BasicIntO x(static_cast<std::uint32_t>(words.size()) + room);
    std::copy(words.begin(), words.end(), x.T);
    x.L = static_cast<std::uint32_t>(words.size());
    x.hash = hash61::of_words(x.T, x.L);
    return x;
  }
  void expect(const BasicInt& x, const Natural& words) {
    ASSERT_EQ(Natural(x.T, x.T + x.L), words);
    ASSERT_EQ(x.hash, hash61::of_words(x.T, x.L));
  }
};

TEST_F(BasicInts, SumsAndProducts) {
  for (std::size_t rep = 0; rep < test::reps(1000); ++rep) {
    const Natural a = rng_.words(rng_.size(60)), b = rng_.words(rng_.size(60));
    const Word w = rng_.words(1)[0];
    const std::uint64_t u = rng_.u64() >> rng_.below(64) | 1;
    const Natural two = test::stripped({static_cast<Word>(u), static_cast<Word>(u >> 32)});
    BasicIntO x = make(a, 1), x2 = make(a, 2), small(2);
    x.mul_uW(w);
    expect(x, test::multiply(a, {w}));
    x2.mul_u64(u);
    expect(x2, test::multiply(a, two));
    small.set_u64(u);
    expect(small, two);

    // Exactly the promised room.
    const BasicIntO y = make(b, 0);
    x = make(a, static_cast<std::uint32_t>(std::max(a.size(), b.size()) + 1 - a.size()));
    x += y;
    expect(x, test::add(a, b));
    BasicIntO z(x.L + 1);
    z.set_BasicInt(x);
    z -= y;
    expect(z, a);

    std::vector<Word> buffer(a.size() + b.size());
    BasicIntR product(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
    const test::FencedScratch scratch(multiply_scratch(context_, 120));
    product.set_mulB(context_, z, y, scratch.buffer());
    expect(product, test::multiply(a, b));
    BasicIntO square(2 * y.L);
    square.set_sqrB(context_, y, scratch.buffer());
    expect(square, test::multiply(b, b));
  }
}

TEST_F(BasicInts, Faults) {
  const Natural big = {0, 0, 0, 7};
  const auto zero = [&](const char* function, auto body) {
    BasicIntO x = make(big, 1);
    expect_fault<UnsupportedZeroException>(std::string("BasicInt::") + function,
                                           "Zero was encountered.", [&] { body(x); });
  };
  zero("operator-=()", [&](BasicInt& x) { x -= make(big, 0); });
  zero("mul_uW()", [](BasicInt& x) { x.mul_uW(0); });
  zero("mul_u64()", [](BasicInt& x) { x.mul_u64(0); });
  zero("set_u64()", [](BasicInt& x) { x.set_u64(0); });
  for (const Natural& larger : {Natural{1, 0, 0, 7}, Natural{0, 0, 0, 0, 1}}) {
    BasicIntO a = make(big, 1);
    expect_fault<UnsupportedNegativeException>("BasicInt::operator-=()",
                                               "A negative value was encountered.",
                                               [&] { a -= make(larger, 0); });
  }
  BasicIntO x = make({1, 2, 3}, 0), y = make({5}, 0);
  expect_too_small(3, 4, [&] { x.mul_uW(2); });
  expect_too_small(3, 5, [&] { x.mul_u64(2); });
  expect_too_small(3, 4, [&] { x += y; });
  expect_too_small(3, 4, [&] { x -= y; });
  expect_too_small(1, 3, [&] { y.set_BasicInt(x); });
  expect_too_small(1, 6, [&] { y.set_sqrB(context_, x, {}); });
}

}  // namespace
}  // namespace nmp
