// The parts of N64 at the ends of their ranges; whole products are in product_test.cpp.
#include <gtest/gtest.h>

#include <array>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/ntt64/convert.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "arith/multiply/ntt64/plan.h"
#include "arith/multiply/ntt64/share.h"
#include "arith/multiply/ntt64/transform.h"
#include "arith/wide.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using namespace n64;
using test::Natural;
using test::Words;

Natural natural64(std::uint64_t x) {
  return test::stripped({static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(x >> 32)});
}
/// a mod p by shifting and subtracting, one bit at a time.
std::uint64_t modulo(const Natural& a, std::uint64_t p) {
  std::uint64_t r = 0;  // below p < 2^62
  for (std::size_t i = 32 * a.size(); i-- != 0;) {
    r = 2 * r + (a[i / 32] >> i % 32 & 1);
    if (r >= p) r -= p;
  }
  return r;
}
std::uint64_t multiply_modulo(std::uint64_t x, std::uint64_t y, std::uint64_t p) {
  return modulo(test::multiply(natural64(x), natural64(y)), p);
}
Natural prime_product() {
  Natural product = {1};
  for (const std::uint64_t p : kPrimeValues) product = test::multiply(product, natural64(p));
  return product;
}
/// 2^digit_bits.
Natural base(unsigned digit_bits) { return test::shifted({digit_bits == 80 ? 0x10000u : 1u}, 2); }

class Ntt64 : public test::RandomTest {
 protected:
  const AlgorithmTable table_;
  test::Threads threads_{3};
  Context context_{threads_, table_};
};

TEST_F(Ntt64, MultipliesExactlyWithinItsRanges) {
  for (std::size_t k = 0; k < kPrimes; ++k) {
    const Modulus& modulus = field(k).modulus();
    const std::uint64_t p = modulus.p();
    const std::uint64_t edges[] = {0,     1,         ~0u,       std::uint64_t{1} << 32, p / 2,
                                   p - 1, 2 * p - 1, 4 * p - 1, ~std::uint64_t{0},      rng_.u64()};
    for (const std::uint64_t x : edges)
      for (const std::uint64_t y : edges) {
        Natural exact = test::multiply(natural64(x), natural64(y));
        for (const wide::Pair& pair : {wide::multiply(x, y), wide::portable::multiply(x, y)})
          EXPECT_EQ(test::add(natural64(pair.low), test::shifted(natural64(pair.high), 2)), exact);
        for (const wide::Pair& pair :
             {wide::multiply_add(x, y, y), wide::portable::multiply_add(x, y, y)})
          EXPECT_EQ(test::add(natural64(pair.low), test::shifted(natural64(pair.high), 2)),
                    test::add(exact, natural64(y)));
        const std::uint64_t w = y % p, product = multiply_modulo(x, w, p);
        const std::uint64_t lazy = modulus.multiply_lazy(x, modulus.factor(w));
        EXPECT_LT(lazy, 2 * p);
        EXPECT_EQ(lazy % p, product);
        if (x >= 2 * p) continue;
        EXPECT_LT(modulus.multiply_wide(x, w), 4 * p);
        EXPECT_EQ(modulus.multiply_wide(x, w) % p, product);
      }
  }
}

TEST_F(Ntt64, CapacityIsExact) {
  for (const unsigned bits : {kWideDigitBits, kNarrowDigitBits}) {
    std::uint64_t most = 0;  // the largest count of points that fits
    for (int i = 62; i >= 0; --i)
      if (capacity_suffices(bits, most + (std::uint64_t{1} << i))) most += std::uint64_t{1} << i;
    const Natural digit = test::subtract(base(bits), {1}), square = test::multiply(digit, digit);
    EXPECT_LT(test::compare(test::multiply(square, natural64(most)), prime_product()), 0);
    EXPECT_GE(test::compare(test::multiply(square, natural64(most + 1)), prime_product()), 0);
    // 64 bits are always enough; 80 bits are for more than 4 Gbit.
    EXPECT_GT(most, bits == kNarrowDigitBits ? kRootOrder : 50'000'000u);
  }
}

TEST_F(Ntt64, TakesNarrowDigitsWhereWideOnesDoNotFit) {
  if constexpr (sizeof(std::size_t) == 8) {  // from 4.6 Gbit on
    const auto n = static_cast<std::size_t>(std::uint64_t{1} << 29);
    EXPECT_EQ(Plan(n / 8, n / 8, true).digit_bits, kWideDigitBits);
    EXPECT_EQ(Plan(n / 2, n / 2, false).digit_bits, kNarrowDigitBits);
    EXPECT_LE(Plan(n / 2, n / 2, false).scratch_bytes(), plan_scratch_bytes(n));
  }
}

TEST_F(Ntt64, RecoversTheLargestCoefficients) {
  const Natural largest = test::subtract(prime_product(), {1});
  for (const Natural& x : {largest, Natural{1}, test::shifted({1}, 5), Natural(5, ~0u)}) {
    for (const unsigned bits : {kWideDigitBits, kNarrowDigitBits}) {
      // Four equal coefficients, each given as 4 x (the transform's length) and not reduced.
      std::array<std::vector<std::uint64_t>, kPrimes> planes;
      std::uint64_t* pointers[kPrimes];
      for (std::size_t k = 0; k < kPrimes; ++k) {
        const std::uint64_t p = kPrimeValues[k];
        planes[k].assign(4, multiply_modulo(modulo(x, p), 4, p) + p);
        pointers[k] = planes[k].data();
      }
      Natural expected;
      for (int j = 0; j < 4; ++j) expected = test::add(test::multiply(expected, base(bits)), x);
      std::vector<Word> c(20, ~0u);
      store(context_, bits, pointers, 4, c.data(), c.size(), 0);
      EXPECT_EQ(test::stripped(c), expected);
      // The same again, added onto what is there.
      store(context_, bits, pointers, 4, c.data(), c.size(), c.size());
      EXPECT_EQ(test::stripped(c), test::add(expected, expected));
    }
  }
}

TEST_F(Ntt64, CarriesRippleThroughAllChunks) {
  // Equal coefficients base - 1, the largest digit, make base^n - 1; a 1 more ripples to the top:
  // as a word that is added to, or in the lowest coefficient.
  const std::size_t n = kParallelPoints + 1;
  for (const unsigned bits : {kWideDigitBits, kNarrowDigitBits})
    for (const bool in_words : {true, false}) {
      std::array<std::vector<std::uint64_t>, kPrimes> planes;
      std::uint64_t* pointers[kPrimes];
      for (std::size_t k = 0; k < kPrimes; ++k) {
        const std::uint64_t p = kPrimeValues[k];
        const std::uint64_t top = modulo(test::subtract(base(bits), {1}), p);
        planes[k].assign(n, multiply_modulo(top, n, p));
        if (!in_words) planes[k][0] = multiply_modulo(top + 1, n, p);
        pointers[k] = planes[k].data();
      }
      const std::size_t digits = (n * bits + 31) / 32;
      std::vector<Word> c(digits + 2, 0), expected = c;
      c[0] = in_words;
      expected[n * bits / 32] = 1u << n * bits % 32;
      store(context_, bits, pointers, n, c.data(), c.size(), in_words ? 1 : 0);
      EXPECT_EQ(c, expected);
    }
  EXPECT_EQ(threads_.loops(), 4u);
}

TEST_F(Ntt64, SharesWhatIsLongAndNothingElse) {
  const auto loops = [&](std::size_t al, std::size_t bl) {
    const std::size_t before = threads_.loops(), bytes = ntt64().scratch_bytes(al + bl, 3);
    const Words a = rng_.words(al), b = rng_.words(bl);
    test::fenced_product(a, b, bytes,
                         [&](auto... operands) { ntt64().multiply(context_, operands...); });
    return threads_.loops() - before;
  };
  // Two digits of 80 bits are five words.
  constexpr std::size_t kWords = kParallelPoints / 4 * 5;
  EXPECT_EQ(loops(kWords * 15 / 16, kWords * 15 / 16), 0u);
  // Two loads, three transforms of two loops or more and a pointwise product for each prime.
  EXPECT_GE(loops(kWords, kWords), 3 * (2 + 3 * 2 + 1) + 1u);
}

}  // namespace
}  // namespace nmp
