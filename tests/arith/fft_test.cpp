// The floating-point FFT where its bound is tight and its plans change; whole products are in
// product_test.cpp, products in transform space in spectrum_test.cpp.
#include "arith/multiply/fft/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "arith/multiply/fft/fft_plan.h"
#include "arith/multiply/fft/fft_roots.h"
#include "arith/multiply/fft/fft_transform.h"
#include "arith/multiply/spectrum.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Words;

/// The sets that this machine runs and that have loops of their own.
std::vector<const KernelSet*> usable_sets() {
  std::vector<const KernelSet*> sets;
  for (const KernelSet& set : kernel_sets()) {
    if (set.fft && (platform::processor_features() & set.needs) == set.needs) sets.push_back(&set);
  }
  return sets;
}

/// Words whose digits of `bits` bits are as large as digits get: by turns -2^(bits - 1) and
/// 2^(bits - 1), all of one sign, or of signs by chance.
Words extreme_digits(std::size_t n, unsigned bits, unsigned kind, test::Rng& rng) {
  Words words(n, 0);
  const std::uint32_t high = 1u << (bits - 1);
  for (std::size_t digit = 0; digit * bits < n * 32; ++digit) {
    const bool up = kind == 0 ? digit % 2 == 0 : kind == 1 || rng.below(2) != 0;
    const std::uint64_t raw = up ? high : high - 1;
    for (unsigned i = 0; i < bits && digit * bits + i < n * 32; ++i) {
      words[(digit * bits + i) / 32] |= static_cast<std::uint32_t>(raw >> i & 1)
                                        << (digit * bits + i) % 32;
    }
  }
  return words;
}

class Fft : public test::RandomTest {
 protected:
  struct Result {
    double norms, error;  ///< |x| |y|, rounding error
    Words product;
  };
  /// One product by a given plan.
  Result multiply(const KernelSet& set, const fft::Plan& plan, const Words& a, const Words& b,
                  unsigned threads) {
    test::Threads pool(threads);
    Context context{pool, table_};
    const fft::Shape shape(*plan.length);
    const unsigned slots = fft::Transform::slots_for(shape, threads);
    const test::FencedScratch scratch(fft::Transform::need(shape, slots) +
                                      2 * carved_bytes<double>(shape.plane_doubles()));
    Carver memory(scratch.buffer());
    double* const x = memory.take<double>(shape.plane_doubles());
    double* const y = memory.take<double>(shape.plane_doubles());
    fft::Transform transform(context, *set.fft, plan, slots, memory);
    Result r;
    r.norms = transform.load(x, a.data(), a.size());
    r.norms = std::sqrt(r.norms * transform.load(y, b.data(), b.size()));
    transform.multiply(x, x, y);
    r.product.resize(a.size() + b.size());
    transform.store(r.product.data(), r.product.size(), x);
    r.error = transform.rounding_error();
    return r;
  }
  const AlgorithmTable table_;
};

TEST_F(Fft, RootsAreRoundedFromBetterOnes) {
  for (std::size_t i = 0; i < test::reps(2000); ++i) {
    static constexpr std::uint64_t kOdd[] = {1, 3, 5, 7, 9};
    const std::uint64_t denominator = kOdd[i % 5] << (2 + rng_.below(20));
    const std::uint64_t numerator = rng_.below(denominator);
    const fft::Root r = fft::root(numerator, denominator);
    const long double angle = 2 * std::acos(-1.0L) * static_cast<long double>(numerator) /
                              static_cast<long double>(denominator);
    const long double most = std::ldexp(1.0L + 1.0L / 32, -54);
    EXPECT_LE(std::fabs(r.re - std::cos(angle)), most) << numerator << " / " << denominator;
    EXPECT_LE(std::fabs(r.im - std::sin(angle)), most) << numerator << " / " << denominator;
  }
}

TEST_F(Fft, LargestDigitsStayWithinTheBound) {
  if (usable_sets().empty()) GTEST_SKIP() << "no loops of its own";
  for (unsigned i = 0; fft::length_at(i).points < 100000; i += 1 + (i > 30)) {
    const fft::Length& length = fft::length_at(i);
    // The longest balanced product of this length.
    std::size_t most = 0;
    for (std::size_t step = std::size_t{1} << 20; step > 0; step /= 2) {
      const fft::Plan plan = fft::plan_product(most + step, most + step, false);
      if (plan.length->points <= length.points) most += step;
    }
    const fft::Plan plan = fft::plan_product(most, most, false);
    if (plan.length != &length) continue;  // not worth having
    const unsigned kind = static_cast<unsigned>(rng_.below(4));
    const Words a = extreme_digits(most, plan.bits, kind, rng_);
    const Words b = extreme_digits(most - 1, plan.bits, kind % 2, rng_);
    Words first;
    for (const KernelSet* set : usable_sets()) {
      SCOPED_TRACE(std::string(set->name) + ": " + std::to_string(length.points) + " points, " +
                   std::to_string(plan.bits) + " bits, kind " + std::to_string(kind));
      const Result r = multiply(*set, plan, a, b, 1 + static_cast<unsigned>(rng_.below(3)));
      EXPECT_GT(r.error, 0);
      EXPECT_LE(r.error, 0.5 * r.norms / length.limit);
      EXPECT_LE(r.error, 0.09) << "next to what is taken for a fault";
      EXPECT_LE(r.norms, length.limit);
      // The digits really were the largest: a quarter of the bits' worth for each.
      EXPECT_GT(r.norms, std::ldexp(0.97, 2 * static_cast<int>(plan.bits) - 2) * 32 *
                             static_cast<double>(most) / plan.bits);
      if (first.empty()) {
        test::expect_product_modulo_primes(r.product, a, b);
        first = r.product;
      }
      EXPECT_EQ(r.product, first);
    }
  }
}

TEST_F(Fft, TooManyBitsAreNoticed) {
  for (const KernelSet* set : usable_sets()) {
    for (const std::size_t n : {8000u, 60000u}) {
      fft::Plan plan = fft::plan_product(n, n, false);
      plan.bits += 5;
      const Words a = extreme_digits(n, plan.bits, 1, rng_);
      EXPECT_THROW(multiply(*set, plan, a, a, 1), AlgorithmFailedException) << set->name;
    }
  }
}

TEST_F(Fft, UnlikelyDigitsAreDoneAgain) {
  test::Threads pool(1);
  Context context{pool, table_};
  unsigned found = 0;
  for (std::size_t n = 100; n < 20000; n += n / 3) {
    for (std::size_t most = n + n / 3; n < most && found < 20; n += 1 + n / 100) {
      const fft::Plan likely = fft::plan_product(n, n, true), safe = fft::plan_product(n, n, false);
      if (likely.length == safe.length) continue;
      ++found;
      const Words a = extreme_digits(n, likely.bits, 0, rng_);
      // Scratch for the shorter length alone: enough for digits by chance only.
      const fft::Shape shape(*likely.length);
      const std::size_t short_of =
          fft::Transform::need(shape, 1) + carved_bytes<double>(shape.plane_doubles());
      Words usual(n);
      for (Word& word : usual) word = static_cast<Word>(rng_.u64());
      for (const KernelSet* set : usable_sets()) {
        const FloatingPointFft algorithm(set);
        const Words c = test::fenced_product(
            a, a, algorithm.scratch_bytes(2 * n, 1),
            [&](auto... operands) { algorithm.multiply(context, operands...); });
        test::expect_product_modulo_primes(c, a, a);
        const auto square = [&](auto... operands) { algorithm.multiply(context, operands...); };
        EXPECT_THROW(test::fenced_product(a, a, short_of, square), BufferTooSmallException);
        test::expect_product_modulo_primes(test::fenced_product(usual, usual, short_of, square),
                                           usual, usual);
      }
      break;
    }
  }
  EXPECT_GT(found, 3u);
}

TEST_F(Fft, OperandsThatFillTheLength) {
  // Digits of 16 bits, words as wide as two: the topmost bits meet beyond the end.
  test::Threads pool(1);
  Context context{pool, table_};
  unsigned found = 0;
  for (std::size_t n = 16; n <= 40000; n *= 2) {
    for (const std::size_t bl : {n, n / 2 + 1}) {
      const std::size_t al = 2 * n - bl;
      const fft::Plan plan = fft::plan_product(al, bl, true);
      found += plan.words() == 2 * n && 32 % plan.bits == 0;
      Words a = rng_.words(al), b = rng_.words(bl);
      a.back() |= 0x80000000u;
      b.back() |= 0x80000000u;
      const KernelSet& set = *kernel_sets().begin();
      if ((platform::processor_features() & set.needs) != set.needs) return;
      const FloatingPointFft algorithm(&set);
      const Words c =
          test::fenced_product(a, b, algorithm.scratch_bytes(2 * n, 1),
                               [&](auto... operands) { algorithm.multiply(context, operands...); });
      test::expect_product_modulo_primes(c, a, b);
    }
  }
  EXPECT_GT(found, 8u);
}

TEST_F(Fft, PlansReachTheLargestSizeAndScratchNeverShrinks) {
  const std::uint64_t most = (std::uint64_t{1} << 34) / 32;
  EXPECT_TRUE(fft::plan_product(most / 2, most / 2, false).length);
  EXPECT_TRUE(fft::plan_product(most - 1, 1, false).length);
  const Algorithm& fft = floating_point_fft();
  for (std::size_t i = 0; i < test::reps(2000); ++i) {
    const std::size_t n = rng_.size(10000000), m = n + rng_.size(n / 3 + 1);
    EXPECT_LE(fft.scratch_bytes(n, 2), fft.scratch_bytes(m, 2)) << n << ' ' << m;
    const SpectrumShape large{m, 1 + n / (2 + rng_.size(4)) + rng_.size(8), 2};
    const fft::Plan plan = fft::plan_wrapped(m, large.shorter, 2);
    const double digits = std::floor(32.0 * static_cast<double>(large.shorter) / plan.bits) + 1;
    const double longer = 2 * static_cast<double>(plan.length->points);
    EXPECT_LE(2 * std::sqrt(digits * longer) * std::ldexp(1, 2 * static_cast<int>(plan.bits) - 2),
              plan.length->limit)
        << m << ' ' << large.shorter;
  }
}

}  // namespace
}  // namespace nmp
