// The parts of the vector transform at the ends of their ranges; whole products are in
// product_test.cpp.
#include <gtest/gtest.h>

#include <cmath>

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/vector/vector_transform.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Words;

class Vector : public test::RandomTest {
 protected:
  /// Calls body(loops) for every set of loops that this processor can run.
  template <typename Body>
  void with_loops(const Body& body) {
    for (const KernelSet& set : kernel_sets()) {
      if (!set.hybrid || (platform::processor_features() & set.needs) != set.needs) continue;
      SCOPED_TRACE(set.name);
      body(*set.hybrid);
    }
  }
};

TEST_F(Vector, MultipliesInEveryShape) {
  const AlgorithmTable table;
  const vector::Limits limits[] = {{}, {8, 1 << 12}, {6, 1 << 9}, {6, 1}};
  std::size_t most_levels = 0;
  with_loops([&](const hybrid::Kernels& loops) {
    for (unsigned format = 0; format < vector::kFormatCount; ++format)
      for (const unsigned odd : {1u, 3u, 5u, 15u})
        for (unsigned log = 8; log <= 14; ++log) {
          const vector::Plan plan(format, std::uint64_t{odd} << log, limits[rng_.below(4)]);
          most_levels = std::max<std::size_t>(most_levels, plan.levels);
          test::Threads pool(1 + static_cast<unsigned>(rng_.below(3)));
          Context context{pool, table};
          const std::size_t words = plan.word_of(plan.points()), half = words / 2 + 1;
          // At random, or a word more than half of all runs.
          const std::size_t al = rng_.below(2) ? half : 1 + rng_.below(words - 1);
          // All ones: the largest coefficients.
          const Words a = log % 2 ? rng_.words(al) : Words(al, ~0u);
          const Words b = log % 2 ? rng_.words(words - al) : Words(words - al, ~0u);
          const hybrid::Need need = vector::Transform::need(plan);
          const std::size_t plane_bytes = carved_bytes<double>(plan.plane_doubles());
          const test::FencedScratch scratch(need.base + need.slot * pool.threads() +
                                            (plan.primes() + 1) * plane_bytes);
          Carver memory(scratch.buffer());
          vector::Plane planes[hybrid::kWidePrimes + 1];
          for (unsigned k = 0; k <= plan.primes(); ++k)
            planes[k] = vector::Plane(memory.take<double>(plan.plane_doubles()));
          vector::Transform transform(context, loops, plan, memory);
          for (unsigned k = 0; k < plan.primes(); ++k) {
            transform.load(k, planes[k], a.data(), a.size());
            transform.load(k, planes[plan.primes()], b.data(), b.size());
            transform.multiply(k, planes[k], planes[plan.primes()], true);
          }
          Words c(words);
          transform.store(c.data(), words, planes);
          SCOPED_TRACE(std::to_string(odd) + " * 2^" + std::to_string(log) + " points, format " +
                       std::to_string(format) + ", levels: " + std::to_string(plan.levels));
          test::expect_product_modulo_primes(c, a, b);
        }
  });
  EXPECT_GE(most_levels, 4u);
}

TEST_F(Vector, StoresEveryIntegerBelowTheProductOfThePrimes) {
  with_loops([&](const hybrid::Kernels& loops) {
    const vector::Fields& fields = vector::fields(loops);
    for (unsigned format = 0; format < vector::kFormatCount; ++format)
      for (std::size_t rep = test::reps(20); rep-- != 0;) {
        // The largest integers and random ones, after the largest carry.
        const auto [primes, words] = vector::kFormats[format];
        const std::size_t n = 16 * (1 + rng_.below(6));
        test::Natural bound = {1};
        for (unsigned k = 0; k < primes; ++k)
          bound = test::multiply(bound, {static_cast<Word>(fields.field[k]->p),
                                         static_cast<Word>(fields.field[k]->p >> 32)});
        const test::Natural largest = test::subtract(bound, {1});
        std::vector<double> residues[hybrid::kWidePrimes];
        test::Natural sum = largest;
        sum.erase(sum.begin(), sum.begin() + words);
        hybrid::WideCarry carry = {};
        for (std::size_t i = 0; i < sum.size(); ++i)
          carry.limb[i / 2] |= std::uint64_t{sum[i]} << (i % 2 * 32);
        for (std::size_t i = 0; i < n; ++i) {
          const test::Natural v = rng_.below(2) ? largest
                                                : test::natural(rng_.words(bound.size() - 1).data(),
                                                                1 + rng_.below(bound.size() - 1));
          for (unsigned k = 0; k < primes; ++k) {
            const hybrid::Field& f = *fields.field[k];
            std::uint64_t r = 0;
            for (std::size_t w = v.size(); w-- != 0;)
              r = (f.multiply(r, std::uint64_t{1} << 32) + v[w]) % f.p;
            residues[k].push_back(static_cast<double>(r) -
                                  f.mod.p * static_cast<double>(rng_.below(3)) +
                                  (r == 0 ? f.mod.p : 0));
          }
          sum = test::add(sum, test::shifted(v, i * words));
        }
        const double* r[hybrid::kWidePrimes];
        for (unsigned k = 0; k < primes; ++k) r[k] = residues[k].data();
        Words out(n * words + 1, 0xFEEDFACE);
        loops.store_wide[format](out.data(), r, n, &carry, &fields.garner);
        ASSERT_EQ(out.back(), 0xFEEDFACE);
        out.pop_back();
        for (const std::uint64_t limb : carry.limb) {
          out.push_back(static_cast<Word>(limb));
          out.push_back(static_cast<Word>(limb >> 32));
        }
        ASSERT_EQ(test::stripped(out), sum) << "format " << format;
      }
  });
}

TEST_F(Vector, LoadsDigitsWithinTheBoundOfTheTransform) {
  with_loops([&](const hybrid::Kernels& loops) {
    const vector::Fields& fields = vector::fields(loops);
    for (unsigned format = 0; format < vector::kFormatCount; ++format)
      for (unsigned k = 0; k < vector::kFormats[format].primes; ++k) {
        const hybrid::Field& f = *fields.field[k];
        const std::size_t n = 32, words = vector::kFormats[format].words;
        const std::size_t count = 1 + rng_.below(n * words);
        const Words a = k % 2 ? rng_.words(count) : Words(count, ~0u);
        std::vector<double> x(n);
        loops.load_wide[format](x.data(), n, a.data(), 0, count, f.mod);
        for (std::size_t i = 0; i < n; ++i) {
          ASSERT_LT(std::fabs(x[i]), 2 * f.mod.p);
          std::uint64_t r = 0;
          for (std::size_t w = (i + 1) * words; w-- != i * words;)
            r = (f.multiply(r, std::uint64_t{1} << 32) + (w < count ? a[w] : 0)) % f.p;
          const double difference = x[i] - static_cast<double>(r);
          ASSERT_EQ(std::fmod(difference, f.mod.p), 0) << "digit " << i;
        }
      }
  });
}

TEST_F(Vector, TakesProductsUpToItsLimitAndNoLonger) {
  EXPECT_NEAR(std::log2(static_cast<double>(vector::capacity(0))), 29.857, 0.001);
  const std::uint64_t longest = std::uint64_t{76800} << 27, half = longest / 2;  // words
  EXPECT_EQ(vector::best_length(longest, half).points, hybrid::kUnit);
  EXPECT_THROW(vector::best_length(longest + 1, half), TransformTooSmallException);
  const std::uint64_t shorter = 5 * vector::capacity(0);
  EXPECT_EQ(vector::best_length(2 * shorter, shorter).format, 0u);
  EXPECT_EQ(vector::best_length(2 * shorter + 2, shorter + 1).format, 1u);
  if constexpr (sizeof(std::size_t) == 8) {
    // Strips of the longest transform fit half of a second-level cache.
    const vector::Plan plan(1, hybrid::kUnit, {});
    for (unsigned i = 0; i < plan.levels; ++i)
      EXPECT_LE(plan.rows(i) * plan.width[i] * (i == 0 ? plan.primes() : 1), std::size_t{1} << 16);
    const double bytes = static_cast<double>(plan.plane_doubles()) * 15 * 8;
    EXPECT_LT(bytes / (4 * static_cast<double>(longest)), 3.01);
  }
}

}  // namespace
}  // namespace nmp
