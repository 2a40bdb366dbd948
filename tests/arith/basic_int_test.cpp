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

constexpr const char* kZero = "Zero was encountered.";
constexpr const char* kNegative = "A negative value was encountered.";

class BasicInts : public ::testing::Test {
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
  Context& context() { return arithmetic_.context; }

  test::Arithmetic arithmetic_;
  test::Rng rng_ = test::Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

TEST_F(BasicInts, SmallFactorsAndSums) {
  for (std::size_t rep = 0; rep < test::reps(1000); ++rep) {
    const Natural a = rng_.words(rng_.size(40)), b = rng_.words(rng_.size(40));
    const Word w = rng_.words(1)[0];
    const std::uint64_t u = rng_.u64() >> rng_.below(64) | 1;
    BasicIntO x = make(a, 2);
    x.mul_uW(w);
    expect(x, test::multiply(a, {w}));
    x = make(a, 2);
    x.mul_u64(u);
    expect(x,
           test::multiply(a, test::stripped({static_cast<Word>(u), static_cast<Word>(u >> 32)})));
    x.set_u64(u);
    ASSERT_EQ(x.hash, u % hash61::kPrime);

    // Exactly the promised room.
    const BasicIntO y = make(b, 0);
    x = make(a, static_cast<std::uint32_t>(std::max(a.size(), b.size()) + 1 - a.size()));
    x += y;
    expect(x, test::add(a, b));
    BasicIntO z(x.L + 1);
    z.set_BasicInt(x);
    z -= y;
    expect(z, a);
  }
}

TEST_F(BasicInts, Products) {
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const Natural a = rng_.words(rng_.size(60)), b = rng_.words(rng_.size(60));
    const BasicIntO x = make(a, 0), y = make(b, 0);
    std::vector<Word> buffer(a.size() + b.size());
    BasicIntR product(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
    const test::FencedScratch scratch(multiply_scratch(context(), 120));
    product.set_mulB(context(), x, y, scratch.buffer());
    expect(product, test::multiply(a, b));
    BasicIntO square(2 * x.L);
    square.set_sqrB(context(), x, scratch.buffer());
    expect(square, test::multiply(a, a));
  }
}

TEST_F(BasicInts, WhatIsNotPositiveIsAFault) {
  const Natural big = {0, 0, 0, 7}, above = {1, 0, 0, 7}, longer = {0, 0, 0, 0, 1};
  const auto difference = [&](const Natural& a, const Natural& b) {
    BasicIntO x = make(a, 1), y = make(b, 0);
    x -= y;
  };
  const char* const minus = "BasicInt::operator-=()";
  expect_fault<UnsupportedZeroException>(minus, kZero, [&] { difference(big, big); });
  expect_fault<UnsupportedNegativeException>(minus, kNegative, [&] { difference(big, above); });
  expect_fault<UnsupportedNegativeException>(minus, kNegative, [&] { difference(big, longer); });
  BasicIntO x = make(big, 2);
  expect_fault<UnsupportedZeroException>("BasicInt::mul_uW()", kZero, [&] { x.mul_uW(0); });
  expect_fault<UnsupportedZeroException>("BasicInt::mul_u64()", kZero, [&] { x.mul_u64(0); });
  expect_fault<UnsupportedZeroException>("BasicInt::set_u64()", kZero, [&] { x.set_u64(0); });
  expect_fault<InvalidParametersException>(
      "BasicInt::operator+=()", "Invalid Function Parameters:", [&] { x += BasicInt(); });
}

TEST_F(BasicInts, RoomIsChecked) {
  BasicIntO x = make({1, 2, 3}, 0), y = make({5}, 0);
  expect_too_small(3, 4, [&] { x.mul_uW(2); });
  expect_too_small(3, 5, [&] { x.mul_u64(2); });
  expect_too_small(3, 4, [&] { x += y; });
  expect_too_small(3, 4, [&] { x -= y; });
  expect_too_small(1, 3, [&] { y.set_BasicInt(x); });
  expect_too_small(1, 2, [&] { y.set_u64(~0ull); });
  expect_too_small(1, 6, [&] { y.set_sqrB(context(), x, {}); });
}

}  // namespace
}  // namespace nmp
