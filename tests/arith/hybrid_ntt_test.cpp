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
  /// Calls body(loops) for every set of loops that this processor can run.
  template <typename Body>
  static void with_loops(const Body& body) {
    for (const KernelSet& set : kernel_sets()) {
      if (!set.hybrid || (platform::processor_features() & set.needs) != set.needs) continue;
      SCOPED_TRACE(set.name);
      body(*set.hybrid);
    }
  }
  /// a b by a given plan.
  static void check(const hybrid::Kernels& loops, const hybrid::Plan& plan, unsigned threads,
                    const Words& a, const Words& b, bool wraps = false) {
    SCOPED_TRACE(std::to_string(plan.rows()) + " rows, 2^" + std::to_string(plan.log_cols) +
                 " columns, format " + std::to_string(plan.format));
    const AlgorithmTable table;
    test::Threads pool(threads);
    Context context{pool, table};
    const hybrid::Need need = hybrid::Transform::need(plan, 1);
    const std::size_t doubles = plan.plane_doubles();
    const test::FencedScratch scratch(need.base + need.slot * threads +
                                      (plan.primes + 1) * carved_bytes<double>(doubles));
    Carver memory(scratch.buffer());
    double* planes[hybrid::kMaxPrimes + 1];
    for (unsigned k = 0; k <= plan.primes; ++k) planes[k] = memory.take<double>(doubles);
    double* const other = planes[plan.primes];
    hybrid::Transform transform(context, loops, plan, 1, memory);
    for (unsigned k = 0; k < plan.primes; ++k) {
      transform.load(k, planes[k], a.data(), a.size());
      const double bound = 3.5 * hybrid::fields(loops).field[k].mod.p;
      for (std::size_t i = 0; i < doubles; ++i)  // between rows lies what lay there
        ASSERT_FALSE(std::fabs(planes[k][i]) >= bound);
      transform.load(k, other, b.data(), b.size());
      const hybrid::PlaneTerm term = {planes[k], other, true, true, false};
      transform.multiply(k, planes[k], &term, 1);
    }
    Words c(a.size() + b.size());
    transform.store(c.data(), c.size(), planes, wraps ? hybrid::Range::kWraps : transform.range());
    test::expect_product_modulo_primes(c, a, b);
  }
  const hybrid::Kernels* const loops_ = kernel_sets().front().hybrid;
};

TEST_F(HybridTransform, MultipliesInEveryShape) {
  with_loops([&](const hybrid::Kernels& loops) {
    for (unsigned format = 0; format < hybrid::kFormatCount; ++format)
      for (const unsigned odd : {1u, 3u, 5u, 15u})
        for (unsigned log_rows = 0; log_rows <= (format == 0 ? 8u : 4u); ++log_rows) {
          const auto lengths = log_rows < 2 ? hybrid::kMaxLogRow - hybrid::kMinLogRow + 1 : 4;
          const unsigned log_cols = hybrid::kMinLogRow + static_cast<unsigned>(rng_.below(lengths));
          const hybrid::Plan plan(format, odd, log_rows, log_cols);
          const std::size_t words = plan.words(), al = 1 + rng_.below(words - 1);
          check(loops, plan, 1 + static_cast<unsigned>(rng_.below(3)),
                log_rows % 2 ? rng_.words(al) : Words(al, ~0u), rng_.words(words - al),
                rng_.below(2) != 0);
        }
  });
}

TEST_F(HybridTransform, KernelsKeepTheirBounds) {
  // Extreme residues: growth that random data hides shows here.
  using namespace hybrid;
  with_loops([&](const Kernels& loops) {
    for (const Field& f : fields(loops).field) {
      const double p = f.mod.p;
      for (std::size_t i = 0; i < test::reps(20); ++i) {
        const unsigned log = 10 + i % 2;
        std::vector<double> x = extreme(3.5 * p), y = extreme(3.5 * p), z = extreme(2 * p);
        loops.multiply(x.data(), x.data(), y.data(), x.size(), p / 2 - 0.5, f.mod);
        expect_below(x, 1.5 * p);
        loops.forward_row(y.data(), &f.row[kForward][log], f.mod);
        expect_below(y, 3.5 * p);
        loops.inverse_row(z.data(), &f.row[kInverse][log], f.mod);
        expect_below(z, 2 * p);
        for (const unsigned odd : {3u, 5u, 15u}) {  // columns that are a step of odd degree alone
          constexpr std::size_t kWidth = 16;
          Tree trees[15];
          for (Tree& tree : trees) tree.log = 0, tree.half = 1, tree.blocks = nullptr;
          const Columns inverse = {odd, f.odd_roots[kInverse][odd_index(odd)], trees};
          std::vector<double> columns(odd * kWidth), plane = extreme(3.5 * p, odd * kWidth);
          loops.inverse_columns(columns.data(), kWidth, odd, plane.data(), kWidth, &inverse, f.mod);
          expect_below(columns, 2 * p);
        }
      }
    }
  });
}

TEST_F(HybridTransform, StoresEveryIntegerBelowTheProductOfThePrimes) {
  const hybrid::Fields& fields = hybrid::fields(*loops_);
  for (const hybrid::Format& format : hybrid::kFormats)
    for (std::size_t rep = test::reps(20); rep-- != 0;) {
      // The largest integers, small ones and random ones, with the largest carry before them.
      const std::size_t n = 16, words = n / 4 * format.bytes;
      std::vector<double> residues[hybrid::kMaxPrimes];
      test::Natural sum, bound = {1};
      for (unsigned k = 0; k < format.primes; ++k)
        bound = test::multiply(bound, {static_cast<Word>(fields.field[k].p),
                                       static_cast<Word>(fields.field[k].p >> 32)});
      for (std::size_t i = 0; i < n; ++i) {
        const test::Natural below(bound.begin(), bound.end() - 1);
        test::Natural v = rng_.below(2) ? test::subtract(bound, {1})
                                        : test::natural(rng_.words(below.size()).data(),
                                                        rng_.below(2) ? 1 : below.size());
        for (unsigned k = 0; k < format.primes; ++k) {
          const hybrid::Field& f = fields.field[k];
          std::uint64_t r = 0;
          for (std::size_t w = v.size(); w-- != 0;)
            r = (f.multiply(r, std::uint64_t{1} << 32) + v[w]) % f.p;
          residues[k].push_back(static_cast<double>(r) -
                                static_cast<double>(f.p) * static_cast<double>(rng_.below(3)) +
                                (r == 0 ? static_cast<double>(f.p) : 0));
        }
        // v 2^(8 bytes i): whole words and the odd bytes.
        v = test::multiply(v, {Word{1} << i * format.bytes % 4 * 8});
        sum = test::add(sum, test::shifted(v, i * format.bytes / 4));
      }
      const test::Natural before = test::shifted({~0u, ~0u, ~0u}, 0);
      hybrid::Carry carry = {{~std::uint64_t{0}, 0xFFFFFFFF, 0}};
      sum = test::add(sum, before);
      const double* r[hybrid::kMaxPrimes];
      for (unsigned k = 0; k < format.primes; ++k) r[k] = residues[k].data();
      Words out(words + 1, 0xFEEDFACE);
      const auto store = format.bytes == 8    ? loops_->store
                         : format.bytes == 11 ? loops_->store_long[0]
                                              : loops_->store_long[format.bytes - 12];
      store(out.data(), r, n, &carry, &fields.garner);
      ASSERT_EQ(out.back(), 0xFEEDFACE);
      out.pop_back();
      for (const std::uint64_t limb : carry.limb) {
        out.push_back(static_cast<Word>(limb));
        out.push_back(static_cast<Word>(limb >> 32));
      }
      ASSERT_EQ(test::stripped(out), sum) << format.bytes;
    }
}

TEST_F(HybridTransform, LongOperandsUpToTheCapacityOfTheirFormat) {
  // The largest digits there are, of both signs where digits have signs. The last two formats hold
  // more than the memory of most machines.
  for (unsigned format = 0; format < 3; ++format) {
    const hybrid::Format& f = hybrid::kFormats[format];
    const auto n = static_cast<std::size_t>(hybrid::capacity(format) / 4 * f.bytes);
    std::uint64_t points = 0;
    for (unsigned i = 0; hybrid::words_in(f, points) < 2 * n; ++i) points = hybrid::length_at(i);
    const hybrid::Plan plan = hybrid::Plan::of_length(format, points);
    Words a(n, ~0u), b = a;
    for (std::size_t i = 0; f.balanced && i < n; ++i) {
      a[i] = i % 2 ? 0x80000000u : 0;
      b[i] = i % 2 ? 0x7FFFFFFFu : ~0u;
    }
    check(*loops_, plan, 2, a, a);
    if (f.balanced) check(*loops_, plan, 2, a, b);
  }
}

TEST(HybridField, CapacityAndRounding) {
  EXPECT_FALSE(hybrid::rounding_holds((std::uint64_t{1} << 50) + 55));
  for (const std::uint64_t p : hybrid::kPrimes) EXPECT_TRUE(hybrid::rounding_holds(p));
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
