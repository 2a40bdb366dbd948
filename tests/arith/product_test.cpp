// Every way to multiply against the schoolbook and, where that is too slow, modulo small primes.
#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "arith/multiply/algorithm.h"
#include "arith/multiply/basecase/word_multiply.h"
#include "arith/multiply/fft/fft.h"
#include "arith/multiply/hybrid/hybrid_ntt.h"
#include "arith/multiply/hybrid/hybrid_plan.h"
#include "arith/multiply/ntt32/ntt32.h"
#include "arith/multiply/ntt64/convert.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "arith/multiply/ntt64/plan.h"
#include "arith/multiply/ntt64/transform.h"
#include "arith/multiply/vector/vst.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Words;

constexpr std::size_t kShort = 6000, kAny = ~std::size_t{0};

struct Method {
  std::string name;
  std::size_t longest;  ///< longer products take too much time
  std::function<std::size_t(std::size_t)> scratch_bytes;
  std::function<void(Word*, const Word*, std::size_t, const Word*, std::size_t, AlignedBufferC)>
      multiply;
};

Method method(const WordMultiply& multiplier, std::size_t longest) {
  return {multiplier.name() + std::string(" from ") + std::to_string(multiplier.cutoffs().multiply),
          longest, [=](std::size_t n) { return multiplier.scratch_bytes(n); },
          [=](auto... operands) { multiplier.multiply(operands...); }};
}

Method method(const std::string& name, const Algorithm& algorithm, unsigned threads) {
  static const AlgorithmTable table;  // no product here goes through the dispatcher
  return {name + " with threads: " + std::to_string(threads), kAny,
          [&algorithm, threads](std::size_t n) { return algorithm.scratch_bytes(n, threads); },
          [&algorithm, threads](auto... operands) {
            test::Threads framework(threads);
            Context context{framework, table};
            algorithm.multiply(context, operands...);
          }};
}

/// Digits of 64 bits, which N64 itself only takes for very long products.
void multiply_with_narrow_digits(Word* c, const Word* a, std::size_t al, const Word* b,
                                 std::size_t bl, AlignedBufferC scratch) {
  using namespace n64;
  static const AlgorithmTable table;
  test::Threads framework(3);
  Context context{framework, table};
  const std::size_t n = transform_length((al + 1) / 2 + (bl + 1) / 2);
  std::uint64_t* planes[kPrimes + 1];
  for (std::uint64_t*& plane : planes) plane = scratch.carve<std::uint64_t>(n);
  for (std::size_t k = 0; k < kPrimes; ++k) {
    load(context, field(k), kNarrowDigitBits, planes[k], n, a, al);
    load(context, field(k), kNarrowDigitBits, planes[kPrimes], n, b, bl);
    forward(context, field(k), planes[k], n);
    forward(context, field(k), planes[kPrimes], n);
    multiply_points(context, field(k), planes[k], planes[kPrimes], n);
    inverse(context, field(k), planes[k], n);
  }
  store(context, kNarrowDigitBits, planes, n, c, al + bl, 0);
}

const std::vector<Method>& methods() {
  static const std::vector<Method> all = [] {
    std::vector<Method> list;
    // Always split, the listed and the measured cut-offs, never split.
    for (const KaratsubaCutoffs cutoffs :
         {KaratsubaCutoffs{2, 2}, KaratsubaCutoffs{5, 4}, kC64iCutoffs, kC32iCutoffs,
          kC64iMeasuredCutoffs, KaratsubaCutoffs{kAny, kAny}}) {
      list.push_back(method(WordMultiply::c32i(cutoffs), kShort));
#ifdef __SIZEOF_INT128__
      list.push_back(method(WordMultiply::c64i(cutoffs), kShort));
      if (const auto adx = WordMultiply::c64i_adx(cutoffs)) list.push_back(method(*adx, kShort));
#endif
    }
    list.push_back(method(WordMultiply::native(), 100000));
    for (const unsigned threads : {1u, 3u}) list.push_back(method("N64", ntt64(), threads));
    list.push_back({"N64 with narrow digits", 1000000,
                    [](std::size_t n) {
                      return 4 * carved_bytes<std::uint64_t>(n64::transform_length(n / 2 + 1));
                    },
                    multiply_with_narrow_digits});
    for (const KernelSet& set : kernel_sets()) {
      if ((platform::processor_features() & set.needs) != set.needs) continue;
      static std::vector<std::unique_ptr<Algorithm>> instances;
      const auto add = [&](std::unique_ptr<Algorithm> algorithm) {
        for (const unsigned threads : {1u, 3u})
          list.push_back(method(std::string(algorithm->id) + ' ' + set.name, *algorithm, threads));
        instances.push_back(std::move(algorithm));
      };
      add(std::make_unique<FloatingPointFft>(&set));
      add(std::make_unique<HybridNtt>(&set));
      add(std::make_unique<Ntt32>(&set));
      // As it is, and with such short rows and strips that there are many levels.
      for (const vector::Limits limits : {vector::Limits{}, {7, 1 << 11}, {6, 1 << 7}})
        add(std::make_unique<VectorTransform>(&set, limits));
    }
    return list;
  }();
  return all;
}

void check(const Words& a, const Words& b) {
  const std::size_t n = a.size() + b.size();
  const Words exact = n <= kShort ? test::schoolbook(a, b) : Words();
  for (const Method& m : methods()) {
    if (n > m.longest) continue;
    SCOPED_TRACE(m.name + ": " + std::to_string(a.size()) + " x " + std::to_string(b.size()));
    const Words c = test::fenced_product(a, b, m.scratch_bytes(n), m.multiply);
    if (n <= kShort)
      ASSERT_EQ(c, exact);
    else
      test::expect_product_modulo_primes(c, a, b);
  }
}
void check_square(const Words& a) { check(a, a); }

class Products : public test::RandomTest {
 protected:
  /// Random words, or what carries and sums find hardest.
  Words operand(std::size_t n) {
    Words a(n, 0);
    switch (rng_.below(8)) {
      case 0:
        return Words(n, ~0u);
      case 1:
        return Words(n, 0x80000001u);  // equal halves
      case 2:
        a[n - 1] = 0x80000000u;
        return a;
      case 3:
        a[rng_.below(n)] = 1u << rng_.below(32);
        return a;
      case 4:
        return rng_.below(4) == 0 ? a : Words(n, ~0u);
      default:
        return rng_.words(n);
    }
  }
};

TEST_F(Products, OfShortOperands) {
  for (std::size_t al = 1; al <= 18; ++al)
    for (std::size_t bl = 1; bl <= 18; ++bl) check(operand(al), operand(bl));
  for (const std::size_t n : {13, 14, 27, 28, 29, 47, 48, 49, 79, 80, 81, 95, 96, 97, 193}) {
    check_square(Words(n, ~0u));
    check(operand(n), operand(n + 1));
  }
  for (std::size_t rep = test::reps(100); rep-- != 0;) {
    check(operand(rng_.size(3000)), operand(rng_.size(3000)));
    check_square(operand(rng_.size(1000)));
  }
}

TEST_F(Products, OnBothSidesOfEveryTransformLength) {
  // All ones: the largest coefficients and the longest carries, and high words that are all ones.
  for (unsigned number = 0; hybrid::length_at(number) <= 1u << 13; ++number)
    for (const unsigned bytes : {8u, 11u})
      for (std::size_t total = hybrid::length_at(number) * bytes / 4 - 1, i = 0; i < 3; ++i) {
        check(Words(total - total / 2, ~0u), Words(total / 2, ~0u));
        total += i == 0 ? 2 : rng_.below(1 + total / 8);  // past it, by one and by more
      }
}

TEST_F(Products, ThatWrapAroundATransformThatIsTooShort) {
  // (x 2^(16 w) - 1) (x 2^(16 w) + 1): nothing but ones below the words that wrap.
  unsigned found = 0;
  for (std::size_t n = 2000; n < 40000; n += 2 + 2 * rng_.below(n / 16)) {
    const std::size_t excess = hybrid::best_fit(n / 2, n / 2).excess, x = excess / 2;
    if (x == 0 || excess % 2 != 0) continue;
    ++found;
    Words a(n / 2, ~0u), b(n / 2, 0);
    const Words high = rng_.words(x);
    std::copy(high.begin(), high.end(), b.end() - static_cast<std::ptrdiff_t>(x));
    std::copy(high.begin(), high.end(), a.end() - static_cast<std::ptrdiff_t>(x));
    for (auto i = a.end() - static_cast<std::ptrdiff_t>(x); i != a.end() && (*i)-- == 0; ++i) {
    }
    b[0] = 1;
    check(a, b);
  }
  EXPECT_GT(found, 5u);
}

TEST_F(Products, OfManyWords) {
  // N64: around leaves and twists, and around the points from which threads share a transform.
  std::vector<std::pair<std::size_t, std::size_t>> shapes = {
      {20479, 20480}, {20481, 20480}, {19200, 19200},  {40963, 40001},
      {30000, 7777},  {50003, 13},    {300001, 300000}};
  // And pieces: a last piece of one word, of a few, and a whole one.
  for (const std::size_t bl : {1, 77, 801}) {
    const n64::Plan plan(60 * bl + 40000, bl, false);
    ASSERT_GT(plan.pieces, 1u);
    for (const std::size_t rest : {std::size_t{1}, std::size_t{3}, plan.piece_words})
      shapes.push_back({(plan.pieces - 1) * plan.piece_words + rest, bl});
  }
  for (std::size_t rep = test::reps(10); rep-- != 0;) {
    const std::size_t al = 1 + rng_.below(100000);
    shapes.push_back({al, rng_.size(rep % 2 ? al : 200)});
    shapes.push_back({rng_.size(200), al});
  }
  for (const auto& [al, bl] : shapes) check(operand(al), operand(bl));
  for (const std::size_t n : {16385, 65536, 150000}) check_square(operand(n));
}

TEST_F(Products, LongOnesUpToMillionsOfWords) {
  check(operand(5'000'001), operand(4'999'999));
  check(operand(9'000'000), operand(100'003));
}

TEST_F(Products, AskForEnoughScratchAndNoLess) {
  for (const Method& m : methods()) {
    SCOPED_TRACE(m.name);
    for (std::size_t n = 2; n < 1u << 22; n += 1 + n / 200)
      ASSERT_LE(m.scratch_bytes(n), m.scratch_bytes(n + 1));
    const Words a(1000, 7), b(1000, 9);
    EXPECT_THROW(test::fenced_product(a, b, m.scratch_bytes(1000), m.multiply),
                 BufferTooSmallException);
  }
}

}  // namespace
}  // namespace nmp
