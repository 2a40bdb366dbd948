#include "arith/multiply/ntt64/ntt64.h"

#include <gtest/gtest.h>

#include <array>
#include <set>

#include "arith/multiply/basecase/word_multiply.h"
#include "arith/multiply/ntt64/convert.h"
#include "arith/multiply/ntt64/plan.h"
#include "arith/multiply/ntt64/transform.h"
#include "arith/wide.h"
#include "foundation/exceptions.h"
#include "support/arithmetic.h"
#include "support/products.h"
#include "support/random.h"

namespace nmp {
namespace {

using namespace n64;
using test::Natural;
using test::Words;

Natural natural64(std::uint64_t x) {
  return test::stripped({static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(x >> 32)});
}
std::uint64_t low64(const Natural& a) {
  return (a.size() > 1 ? std::uint64_t{a[1]} << 32 : 0) | (a.empty() ? 0 : a[0]);
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

TEST(Wide, BothFormsMultiplyExactly) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  const std::uint64_t edges[] = {0, 1, 0xFFFFFFFFu, 0x100000000u, ~std::uint64_t{0}, rng.u64()};
  for (const std::uint64_t a : edges)
    for (const std::uint64_t b : edges) {
      Natural exact = test::multiply(natural64(a), natural64(b));
      exact.resize(4, 0);
      for (const wide::Pair& p : {wide::multiply(a, b), wide::portable::multiply(a, b)}) {
        EXPECT_EQ(p.low, low64(exact));
        EXPECT_EQ(p.high, low64({exact[2], exact[3]}));
      }
      EXPECT_EQ(wide::multiply_high(a, b), wide::portable::multiply_high(a, b));
    }
}

TEST(Modulus, KeepsItsRanges) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t k = 0; k < kPrimes; ++k) {
    const Modulus& modulus = field(k).modulus();
    const std::uint64_t p = modulus.p();
    for (const std::uint64_t w : {std::uint64_t{0}, std::uint64_t{1}, p / 2, p - 1, rng.u64() % p})
      for (const std::uint64_t x :
           {std::uint64_t{0}, p - 1, 2 * p - 1, 4 * p - 1, ~std::uint64_t{0}, rng.u64()}) {
        const std::uint64_t exact = multiply_modulo(x, w, p);
        const std::uint64_t lazy = modulus.multiply_lazy(x, modulus.factor(w));
        EXPECT_LT(lazy, 2 * p);
        EXPECT_EQ(lazy % p, exact);
        if (x >= 2 * p) continue;
        const std::uint64_t product = modulus.multiply_wide(x, w);
        EXPECT_LT(product, 4 * p);
        EXPECT_EQ(product % p, exact);
      }
  }
}

TEST(Ntt64Plan, CapacityIsExact) {
  for (const unsigned bits : {kWideDigitBits, kNarrowDigitBits}) {
    std::uint64_t most = 0;  // the largest count of points that fits
    for (int i = 62; i >= 0; --i)
      if (capacity_suffices(bits, most + (std::uint64_t{1} << i))) most += std::uint64_t{1} << i;
    const Natural digit = test::subtract(test::shifted({bits == 80 ? 0x10000u : 1u}, 2), {1});
    const Natural square = test::multiply(digit, digit);
    EXPECT_LT(test::compare(test::multiply(square, natural64(most)), prime_product()), 0);
    EXPECT_GE(test::compare(test::multiply(square, natural64(most + 1)), prime_product()), 0);
    // 64 bits are always enough; 80 bits are for more than 4 Gbit.
    EXPECT_GT(most, bits == kNarrowDigitBits ? kRootOrder : 50'000'000u);
  }
}

TEST(Ntt64Plan, LengthsAreTheSmallestSmoothOnes) {
  std::set<std::uint64_t> lengths;
  for (const std::uint64_t odd : {1, 3, 5, 15})
    for (int k = 0; k < 16; ++k) lengths.insert(odd << k);
  for (std::uint64_t n = 1; n < 40000; ++n) ASSERT_EQ(transform_length(n), *lengths.lower_bound(n));
  EXPECT_THROW(transform_length(kRootOrder + 1), LimitExceededException);
}

TEST(Ntt64Plan, PiecesNeverNeedMoreThanTheWhole) {
  std::size_t in_pieces = 0;
  for (std::size_t n = 2; n < 200000; n += 1 + n / 9) {
    ASSERT_LE(plan_scratch_bytes(n), plan_scratch_bytes(n + 1));
    for (std::size_t bl = 1; bl <= n / 2; bl += 1 + bl / 5) {
      const Plan plan(n - bl, bl, false);
      ASSERT_LE(plan.scratch_bytes(), plan_scratch_bytes(n)) << n - bl << " x " << bl;
      ASSERT_GE(plan.pieces * plan.piece_words, n - bl);
      in_pieces += plan.pieces > 1;
    }
  }
  EXPECT_GT(in_pieces, 100u);
  // Very long: digits of 64 bits from 4.6 Gbit on.
  if constexpr (sizeof(std::size_t) == 8) {
    const auto n = static_cast<std::size_t>(std::uint64_t{1} << 29);
    EXPECT_EQ(Plan(n / 8, n / 8, true).digit_bits, kWideDigitBits);
    EXPECT_EQ(Plan(n / 2, n / 2, false).digit_bits, kNarrowDigitBits);
    EXPECT_LE(Plan(n / 2, n / 2, false).scratch_bytes(), plan_scratch_bytes(n));
  }
}

/// A plane times v X^s modulo X^n - 1 is a rotation: checks every pass at any length.
TEST(Ntt64Transform, MultiplyingByAMonomialRotates) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  std::vector<std::size_t> lengths = {kLeafPoints,     2 * kLeafPoints,  8 * kLeafPoints,
                                      3 * kLeafPoints, 15 * kLeafPoints, 10 * kLeafPoints};
  for (std::size_t n = 1; n < 3000; n = transform_length(n + 1)) lengths.push_back(n);
  for (const std::size_t n : lengths) {
    const Field& f = field(n % kPrimes);
    const std::uint64_t p = f.modulus().p();
    const std::size_t shift = rng.below(n);
    const std::uint64_t value = 1 + rng.u64() % (p - 1);
    std::vector<std::uint64_t> x(n), y(n, 0);
    for (std::uint64_t& v : x) v = rng.below(2) ? 4 * p - 1 : rng.u64() % (4 * p);
    y[shift] = value;
    std::vector<std::uint64_t> z = x;
    forward(f, z.data(), n);
    forward(f, y.data(), n);
    for (const std::uint64_t v : z) ASSERT_LT(v, 4 * p) << n;
    multiply_points(f, z.data(), y.data(), n);
    for (const std::uint64_t v : z) ASSERT_LT(v, 2 * p) << n;
    inverse(f, z.data(), n);
    const Factor scale = f.modulus().factor(f.modulus().multiply(value, n % p));
    for (std::size_t j = 0; j < n; ++j) {
      const std::size_t target = (j + shift) % n;
      ASSERT_LT(z[target], 2 * p);
      ASSERT_EQ(z[target] % p, f.modulus().multiply_lazy(x[j], scale) % p) << n << " at " << j;
    }
  }
}

TEST(Ntt64Convert, LoadsEveryDigitInRange) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (const Words& a : {Words(11, ~0u), rng.words(12), Words{0, ~0u, 0xFFFFFFFF, 0xF0000000u}}) {
    for (const unsigned bits : {kWideDigitBits, kNarrowDigitBits}) {
      const std::uint64_t p = kPrimeValues[0];
      std::vector<std::uint64_t> plane(10, 1);
      load(field(0), bits, plane.data(), plane.size(), a.data(), a.size());
      for (std::size_t j = 0; j < plane.size(); ++j) {
        Natural digit;  // half words, to reach digits of two and a half words
        for (std::size_t h = (j + 1) * bits / 16; h-- != j * bits / 16;)
          digit = test::add(test::multiply(digit, {0x10000u}),
                            {h / 2 < a.size() ? a[h / 2] >> h % 2 * 16 & 0xFFFFu : 0u});
        EXPECT_LT(plane[j], 4 * p) << "digit " << j;
        EXPECT_EQ(plane[j] % p, modulo(digit, p)) << "digit " << j;
      }
    }
  }
}

TEST(Ntt64Convert, RecoversTheLargestCoefficients) {
  const Natural largest = test::subtract(prime_product(), {1});
  for (const Natural& x : {largest, Natural{1}, test::shifted({1}, 5), Natural(5, ~0u)}) {
    for (const unsigned bits : {kWideDigitBits, kNarrowDigitBits}) {
      // Four equal coefficients, each given as 4 x (the transform's length) and not reduced.
      std::array<std::vector<std::uint64_t>, kPrimes> planes;
      const std::uint64_t* pointers[kPrimes];
      for (std::size_t k = 0; k < kPrimes; ++k) {
        const std::uint64_t p = kPrimeValues[k];
        planes[k].assign(4, multiply_modulo(modulo(x, p), 4, p) + p);
        pointers[k] = planes[k].data();
      }
      Natural expected, weight = {1};
      const Natural base = test::shifted({bits == 80 ? 0x10000u : 1u}, 2);
      for (int j = 0; j < 4; ++j, weight = test::multiply(weight, base))
        expected = test::add(expected, test::multiply(x, weight));
      Words c(20, 0xFFFFFFFF);
      store(bits, pointers, 4, c.data(), c.size(), 0);
      EXPECT_EQ(test::natural(c.data(), c.size()), expected);
      // The same again, added onto the lower words of what is there.
      store(bits, pointers, 4, c.data(), c.size(), c.size());
      EXPECT_EQ(test::natural(c.data(), c.size()), test::add(expected, expected));
    }
  }
}

/// A product by hand from the parts, with either digit width.
Words by_parts(unsigned digit_bits, const Words& a, const Words& b) {
  const std::size_t n =
      transform_length(digits_of(a.size(), digit_bits) + digits_of(b.size(), digit_bits));
  std::array<std::vector<std::uint64_t>, kPrimes> planes;
  const std::uint64_t* pointers[kPrimes];
  std::vector<std::uint64_t> second(n);
  for (std::size_t k = 0; k < kPrimes; ++k) {
    planes[k].resize(n);
    load(field(k), digit_bits, planes[k].data(), n, a.data(), a.size());
    load(field(k), digit_bits, second.data(), n, b.data(), b.size());
    forward(field(k), planes[k].data(), n);
    forward(field(k), second.data(), n);
    multiply_points(field(k), planes[k].data(), second.data(), n);
    inverse(field(k), planes[k].data(), n);
    pointers[k] = planes[k].data();
  }
  Words c(a.size() + b.size());
  store(digit_bits, pointers, n, c.data(), c.size(), 0);
  return c;
}

void check(const Words& a, const Words& b) {
  test::Arithmetic arithmetic;
  const Words expected = test::schoolbook(a, b);
  ASSERT_EQ(test::product_by(arithmetic.context, ntt64(), a, b), expected)
      << a.size() << " x " << b.size();
  ASSERT_EQ(by_parts(kNarrowDigitBits, a, b), expected) << a.size() << " x " << b.size();
}

TEST(Ntt64, MatchesSchoolbook) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t al = 1; al <= 12; ++al)
    for (std::size_t bl = 1; bl <= 12; ++bl) check(rng.words(al), rng.words(bl));
  for (std::size_t i = test::reps(100); i-- != 0;) {
    check(rng.words(rng.size(2000)), rng.words(rng.size(2000)));
    test::check_square(rng.words(rng.size(1000)), check);
  }
  for (const std::size_t n : {1, 2, 5, 31, 32, 160, 161, 1000}) {
    Words bit(n, 0);
    bit[n - 1] = 0x80000000u;
    test::check_square(Words(n, ~0u), check);
    check(Words(n, ~0u), bit);
    check(Words(n, 0), Words(1, ~0u));
  }
}

TEST(Ntt64, MatchesTheBasecaseInEveryRegime) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  test::Arithmetic arithmetic;
  const WordMultiply& basecase = WordMultiply::native();
  // Around leaves and twists; then pieces: a last piece of one word, of a few, and a whole one.
  std::vector<std::pair<std::size_t, std::size_t>> shapes = {
      {20479, 20480}, {20481, 20480}, {40963, 40001}, {30721, 30720}, {70000, 30011}};
  for (const std::size_t bl : {1, 77, 801}) {
    const Plan plan(60 * bl + 40000, bl, false);
    ASSERT_GT(plan.pieces, 1u);
    for (const std::size_t rest : {std::size_t{1}, std::size_t{3}, plan.piece_words})
      shapes.push_back({(plan.pieces - 1) * plan.piece_words + rest, bl});
  }
  for (const auto& [al, bl] : shapes) {
    for (const bool ones : {false, true}) {
      const Words a = ones ? Words(al, ~0u) : rng.words(al);
      const Words b = ones ? Words(bl, ~0u) : rng.words(bl);
      const Words expected =
          test::fenced_product(a, b, basecase.scratch_bytes(al + bl),
                               [&](auto... arguments) { basecase.multiply(arguments...); });
      ASSERT_EQ(test::product_by(arithmetic.context, ntt64(), a, b), expected) << al << " x " << bl;
      ASSERT_EQ(test::product_by(arithmetic.context, ntt64(), b, a), expected);
    }
  }
}

TEST(Ntt64, NeedsTheScratchItAsksFor) {
  test::Arithmetic arithmetic;
  const Words a(1000, 7);
  Words c(2000);
  const test::FencedScratch scratch(ntt64().scratch_bytes(2000, 1) - kBufferAlignment);
  EXPECT_THROW(ntt64().multiply(arithmetic.context, c.data(), a.data(), 1000, a.data(), 1000,
                                scratch.buffer()),
               BufferTooSmallException);
  for (std::size_t n = 2; n < 5000; ++n)
    ASSERT_LE(ntt64().scratch_bytes(n, 1), ntt64().scratch_bytes(n + 1, 1));
}

TEST(LongNtt64, VeryLongProductsAgreeModuloPrimes) {
  auto rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  test::Arithmetic arithmetic;
  for (const auto& [al, bl] :
       {std::pair{5'000'001, 4'999'999}, {3'000'000, 3'000'000}, {9'000'000, 100'003}}) {
    const Words a = rng.words(al), b = al == bl ? Words{} : rng.words(bl);
    const Words& other = b.empty() ? a : b;
    test::expect_product_modulo_primes(test::product_by(arithmetic.context, ntt64(), a, other), a,
                                       other);
  }
}

}  // namespace
}  // namespace nmp
