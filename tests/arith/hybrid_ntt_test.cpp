// The parts of the hybrid NTT at the ends of their ranges; whole products are in product_test.cpp.
#include "arith/multiply/hybrid/hybrid_ntt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "arith/multiply/hybrid/hybrid_transform.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Words;

class HybridTransform : public test::RandomTest {
 protected:
  void SetUp() override {
    if (find_kernels("").hybrid != loops_) GTEST_SKIP() << "not on this processor";
  }
  /// `count` values of magnitude `bound`.
  std::vector<double> extreme(double bound, std::size_t count = 2048) {
    std::vector<double> x(count);
    for (double& value : x) value = rng_.below(2) ? bound - 1 : 1 - bound;
    return x;
  }
  static void expect_below(const std::vector<double>& x, double bound) {
    for (const double value : x) ASSERT_LT(std::fabs(value), bound);
  }
  const hybrid::Kernels* const loops_ = kernel_sets().front().hybrid;
};

TEST_F(HybridTransform, MultipliesInEveryShape) {
  const AlgorithmTable table;
  for (unsigned format = 0; format < hybrid::kFormatCount; ++format)
    for (const unsigned odd : {1u, 3u, 5u, 15u})
      for (unsigned log_rows = 0; log_rows <= 7; ++log_rows) {
        const hybrid::Plan plan(format, odd, log_rows, 4 + static_cast<unsigned>(rng_.below(4)));
        test::PlainThreads pool(1 + static_cast<unsigned>(rng_.below(3)));
        Context context{pool, table};
        const std::size_t words = plan.words(), al = 1 + rng_.below(words - 1);
        const Words a = log_rows % 2 ? rng_.words(al) : Words(al, ~0u), b = rng_.words(words - al);
        const hybrid::Need need = hybrid::Transform::need(plan, false);
        const test::FencedScratch scratch(need.base + need.slot * pool.threads() +
                                          (plan.primes + 1) *
                                              carved_bytes<double>(plan.plane_doubles()));
        hybrid::Carver memory(scratch.buffer());
        double* planes[hybrid::kMaxPrimes + 1];
        for (unsigned k = 0; k <= plan.primes; ++k)
          planes[k] = memory.take<double>(plan.plane_doubles());
        hybrid::Transform transform(context, *loops_, plan, false, memory);
        for (unsigned k = 0; k < plan.primes; ++k) {
          transform.load(k, planes[k], a.data(), a.size());
          transform.load(k, planes[plan.primes], b.data(), b.size());
          const hybrid::PlaneTerm term = {planes[k], planes[plan.primes], true, true, false};
          transform.multiply(k, planes[k], &term, 1);
        }
        Words c(words);
        transform.store(c.data(), words, planes,
                        rng_.below(2) ? hybrid::Range::kExact : hybrid::Range::kWraps);
        SCOPED_TRACE(std::to_string(odd) + " * 2^" + std::to_string(log_rows) + " rows, 2^" +
                     std::to_string(plan.log_cols) + " columns, format " + std::to_string(format));
        test::expect_product_modulo_primes(c, a, b);
      }
}

TEST_F(HybridTransform, KernelsKeepTheirBounds) {
  // Extreme residues: growth that random data hides shows here.
  for (const hybrid::Field& f : hybrid::fields(*loops_).field) {
    const double p = f.mod.p;
    for (std::size_t i = 0; i < test::reps(20); ++i) {
      const unsigned log = 10 + i % 2;
      std::vector<double> x = extreme(3 * p), y = extreme(3 * p), z = extreme(2 * p);
      loops_->multiply(x.data(), y.data(), x.size(), p / 2 - 0.5, f.mod);
      expect_below(x, 1.5 * p);
      loops_->forward_row(y.data(), &f.row[hybrid::kForward][log], f.mod);
      expect_below(y, 3 * p);
      loops_->inverse_row(z.data(), &f.row[hybrid::kInverse][log], f.mod);
      expect_below(z, 2 * p);
    }
  }
}

TEST(HybridField, CapacityAndRounding) {
  EXPECT_FALSE(hybrid::rounding_holds((std::uint64_t{1} << 50) + 55));
  EXPECT_TRUE(hybrid::rounding_holds(1092 * (std::uint64_t{15} << 36) + 1));
  // log2 of the product of three primes: 149.98.
  EXPECT_NEAR(std::log2(static_cast<double>(hybrid::capacity(0))), 149.98 - 128, 0.01);
  EXPECT_GE(hybrid::capacity(hybrid::kFormatCount - 1), std::uint64_t{1} << 37);
  EXPECT_EQ(hybrid::first_format(2 * hybrid::capacity(0), 1), 0u);
  EXPECT_EQ(hybrid::first_format(2 * hybrid::capacity(0) + 1, 1), 1u);
  EXPECT_EQ(hybrid::first_format(hybrid::capacity(0), 3), 1u);
  EXPECT_THROW(hybrid::best_plan(~std::uint64_t{0} / 4, 1), TransformTooSmallException);
}

TEST(KernelSet, IsFoundByNameWhereItCanRun) {
  EXPECT_THROW(find_kernels("avx3"), InvalidParametersException);
  EXPECT_STREQ(kernel_sets().back().name, "generic");
  for (const KernelSet& set : kernel_sets())
    if ((platform::processor_features() & set.needs) == set.needs)
      EXPECT_EQ(&find_kernels(set.name), &set);
    else
      EXPECT_THROW(find_kernels(set.name), InvalidParametersException);
}

}  // namespace
}  // namespace nmp
