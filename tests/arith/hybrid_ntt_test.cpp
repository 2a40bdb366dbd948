#include "arith/multiply/hybrid/hybrid_ntt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/hybrid/hybrid_transform.h"
#include "foundation/exceptions.h"
#include "memory/aligned_buffer.h"
#include "parallel/serial.h"
#include "platform/processor.h"
#include "support/random.h"

namespace nmp {
namespace {

using test::reps;
using test::Rng;
using Words = std::vector<Word>;

const AlgorithmTable table;  // no product here goes through the dispatcher

/// Runs every range on a thread of its own.
class ManyThreads final : public parallel::Context {
 public:
  explicit ManyThreads(unsigned count) : count_(count) {}
  unsigned threads() const override { return count_; }
  std::string description() const override { return "many"; }
  void parallel_for(std::size_t begin, std::size_t end, std::size_t grain,
                    const std::function<void(std::size_t, std::size_t)>& body) override {
    std::vector<std::thread> running;
    for (; begin < end; begin += grain) {
      running.emplace_back([=, &body] { body(begin, std::min(end, begin + grain)); });
    }
    for (std::thread& thread : running) thread.join();
  }
  void fork_join(const std::function<void()>& left, const std::function<void()>& right) override {
    left();
    right();
  }

 private:
  unsigned count_;
};

/// `bytes` of scratch full of NaNs, with fences that must survive.
class Scratch {
 public:
  explicit Scratch(std::size_t bytes) : bytes_(bytes), memory_(bytes + 3 * kBufferAlignment, 0xFF) {
    const auto at = reinterpret_cast<std::uintptr_t>(memory_.data());
    start_ = memory_.data() + kBufferAlignment +
             (kBufferAlignment - at % kBufferAlignment) % kBufferAlignment;
  }
  ~Scratch() {
    for (unsigned i = 1; i <= 64; ++i) {
      EXPECT_EQ(start_[-static_cast<int>(i)], 0xFF) << "before the scratch";
      EXPECT_EQ(start_[bytes_ + i - 1], 0xFF) << "behind the scratch";
    }
  }
  AlignedBufferC buffer() { return {start_, bytes_}; }

 private:
  std::size_t bytes_;
  std::vector<unsigned char> memory_;
  unsigned char* start_;
};

/// a * b by `algorithm`, with exactly the scratch it asks for. Operands start at odd words.
Words product(const Algorithm& algorithm, const Words& a, const Words& b, bool square = false,
              unsigned threads = 1) {
  ManyThreads pool(threads);
  Context context{pool, table};
  constexpr Word kFence = 0x5EED5EED;
  Words x(a.size() + 1), y(b.size() + 1), c(a.size() + b.size() + 2, kFence);
  std::copy(a.begin(), a.end(), x.begin() + 1);
  std::copy(b.begin(), b.end(), y.begin() + 1);
  Scratch scratch(algorithm.scratch_bytes(a.size() + b.size(), threads));
  algorithm.multiply(context, c.data() + 1, x.data() + 1, a.size(), (square ? x : y).data() + 1,
                     b.size(), scratch.buffer());
  EXPECT_EQ(c.front(), kFence);
  EXPECT_EQ(c.back(), kFence);
  return Words(c.begin() + 1, c.end() - 1);
}

Words schoolbook(const Words& a, const Words& b) {
  Words c(a.size() + b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::uint64_t carry = 0;
    for (std::size_t j = 0; j < b.size(); ++j) {
      carry += std::uint64_t{a[i]} * b[j] + c[i + j];
      c[i + j] = static_cast<Word>(carry);
      carry >>= 32;
    }
    c[i + b.size()] = static_cast<Word>(carry);
  }
  return c;
}

/// (x * 2^shift + y) modulo an odd p of up to 64 bits, x < p, y < 2^32.
std::uint64_t shift_add(std::uint64_t x, unsigned shift, std::uint64_t y, std::uint64_t p) {
#ifdef __SIZEOF_INT128__
  return static_cast<std::uint64_t>(((static_cast<unsigned __int128>(x) << shift) + y) % p);
#else
  for (; shift > 0; --shift) x = x >= p - x ? x - (p - x) : x + x;
  return x >= p - y ? x - (p - y) : x + y;
#endif
}
std::uint64_t residue(const Words& x, std::uint64_t p) {
  std::uint64_t r = 0;
  for (std::size_t i = x.size(); i-- > 0;) r = shift_add(r, 32, x[i], p);
  return r;
}
std::uint64_t multiply_modulo(std::uint64_t x, std::uint64_t y, std::uint64_t p) {
  std::uint64_t sum = 0;
  for (int bit = 63; bit >= 0; --bit) {
    sum = shift_add(sum, 1, 0, p);
    if (y >> bit & 1) sum = sum >= p - x ? sum - (p - x) : sum + x;
  }
  return sum;
}
/// Largest primes below 2^61 and 2^64.
constexpr std::uint64_t kCheckPrimes[] = {(std::uint64_t{1} << 61) - 1, ~std::uint64_t{0} - 58};

void expect_product(const Words& a, const Words& b, const Words& c, const std::string& what) {
  for (const std::uint64_t p : kCheckPrimes) {
    ASSERT_EQ(residue(c, p), multiply_modulo(residue(a, p), residue(b, p), p)) << what;
  }
}

/// (B^n - 1) (B^m - 1) for n >= m: B^(n+m) - B^n - B^m + 1.
Words ones_product(std::size_t n, std::size_t m) {
  Words c(n + m, ~Word{0});
  for (std::size_t i = 0; i < m; ++i) c[i] = 0;
  c[0] = 1;
  c[n] -= 1;  // for n == m the borrows meet: B^(2n) - 2 B^n + 1
  return c;
}

/// The sets this processor can run; each test body runs for all of them.
class HybridNttTest : public testing::TestWithParam<const KernelSet*> {
 protected:
  void SetUp() override {
    if ((platform::processor_features() & GetParam()->needs) != GetParam()->needs) {
      GTEST_SKIP() << "not on this processor";
    }
  }
  HybridNtt ntt_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Sets, HybridNttTest, testing::ValuesIn([] {
                           std::vector<const KernelSet*> sets;
                           for (const KernelSet& set : kernel_sets()) sets.push_back(&set);
                           return sets;
                         }()),
                         [](const auto& set) { return std::string(set.param->name); });

TEST_P(HybridNttTest, SmallProductsAgreeWithSchoolbook) {
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t i = 0; i < reps(400); ++i) {
    const std::size_t al = rng.size(3000), bl = i % 4 ? rng.size(3000) : al;
    const Words a = rng.words(al), b = i % 4 ? rng.words(bl) : a;
    ASSERT_EQ(product(ntt_, a, b, i % 4 == 0), schoolbook(a, b)) << al << " x " << bl;
  }
}

TEST_P(HybridNttTest, AllOnesOnBothSidesOfEveryLength) {
  // Largest coefficients and longest carries, with the product one word around each length.
  for (unsigned number = 0; hybrid::length_at(number) <= 1u << 17; ++number) {
    const std::size_t words = hybrid::length_at(number) * 2;
    for (std::size_t total = words - 2; total <= words + 2; ++total) {
      const std::size_t m = total / 2, n = total - m;
      ASSERT_EQ(product(ntt_, Words(n, ~0u), Words(m, ~0u), n == m), ones_product(n, m)) << total;
    }
  }
}

TEST_P(HybridNttTest, SingleBitsAndUnbalancedOperands) {
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (std::size_t i = 0; i < reps(30); ++i) {
    const std::size_t al = 1 + rng.below(100000), bl = rng.size(i % 2 ? al : 200);
    Words a = rng.words(al), b(bl, 0);
    b[rng.below(bl)] = 1u << rng.below(32);
    const Words c = product(ntt_, a, b);
    expect_product(a, b, c, std::to_string(al) + " x " + std::to_string(bl));
    ASSERT_EQ(product(ntt_, b, a), c);
    ASSERT_EQ(product(ntt_, Words(al, ~0u), Words(bl, ~0u)),
              al >= bl ? ones_product(al, bl) : ones_product(bl, al));
  }
}

TEST_P(HybridNttTest, BigProductsAndThreads) {
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (const std::size_t total : {32770u, 131072u, 300000u, 700000u}) {
    const std::size_t al = total / 2 + rng.below(total / 4), bl = total - al;
    const Words a = rng.words(al), b = rng.words(bl);
    const Words c = product(ntt_, a, b);
    expect_product(a, b, c, std::to_string(al) + " x " + std::to_string(bl));
    ASSERT_EQ(product(ntt_, a, b, false, 3), c);
    const Words square = product(ntt_, a, a, true, 2);
    expect_product(a, a, square, "square");
  }
}

TEST_P(HybridNttTest, ScratchGrowsAndIsNeeded) {
  std::size_t before = 0;
  for (std::size_t n = 2; n < 1u << 22; n += 1 + n / 7) {
    const std::size_t bytes = ntt_.scratch_bytes(n, 1);
    EXPECT_GE(bytes, before) << n;
    EXPECT_EQ(bytes % kBufferAlignment, 0u);
    EXPECT_LE(bytes, ntt_.scratch_bytes(n, 2));
    before = bytes;
  }
  parallel::SerialContext serial;
  Context context{serial, table};
  const Words a(40000, 7);
  Words c(80000);
  Scratch scratch(4096);
  EXPECT_THROW(ntt_.multiply(context, c.data(), a.data(), a.size(), a.data() + 1, a.size() - 1,
                             scratch.buffer()),
               BufferTooSmallException);
  if (sizeof(std::size_t) == 8) {
    EXPECT_THROW(ntt_.multiply(context, c.data(), a.data(), std::size_t{1} << 37, a.data(),
                               std::size_t{1} << 38, scratch.buffer()),
                 LimitExceededException);
  }
}

TEST(HybridTransformTest, EveryShapeMultiplies) {
  const hybrid::Kernels* const loops = kernel_sets().front().hybrid;
  if (find_kernels("").hybrid != loops) GTEST_SKIP() << "not on this processor";
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (const unsigned primes : {3u, 4u}) {
    for (const unsigned odd : {1u, 3u, 5u, 15u}) {
      for (unsigned log_rows = 0; log_rows <= 7; ++log_rows) {
        const hybrid::Plan plan(primes, odd, log_rows, 4 + static_cast<unsigned>(rng.below(4)));
        const unsigned slots = plan.single_row() ? 1 : 1 + static_cast<unsigned>(rng.below(3));
        ManyThreads pool(slots);
        Context context{pool, table};
        const std::size_t words = plan.points() * 2, al = 1 + rng.below(words - 1);
        const Words a = log_rows % 2 ? rng.words(al) : Words(al, ~0u), b = rng.words(words - al);
        Scratch scratch(hybrid::Transform::need(plan, slots) +
                        (primes + 1) * carved_bytes<double>(plan.plane_doubles()));
        hybrid::Carver memory(scratch.buffer());
        double* planes[5];
        for (unsigned k = 0; k <= primes; ++k)
          planes[k] = memory.take<double>(plan.plane_doubles());
        hybrid::Transform transform(context, *loops, plan, slots, memory);
        for (unsigned k = 0; k < primes; ++k) {
          transform.load(k, planes[k], a.data(), a.size());
          transform.load(k, planes[primes], b.data(), b.size());
          if (k % 2 == 0) {
            transform.multiply(k, planes[k], planes[primes]);
          } else {
            transform.forward_rows(k, planes[primes]);
            transform.multiply_by_spectrum(k, planes[k], planes[primes]);
          }
        }
        Words c(words);
        transform.store(c.data(), words, planes);
        expect_product(a, b, c,
                       std::to_string(odd) + " * 2^" + std::to_string(log_rows) + " rows, 2^" +
                           std::to_string(plan.log_cols) + " columns");
      }
    }
  }
}

TEST(HybridTransformTest, KernelsKeepTheirBounds) {
  // Extreme residues: growth that random data hides shows here.
  const hybrid::Kernels* const loops = kernel_sets().front().hybrid;
  if (find_kernels("").hybrid != loops) GTEST_SKIP() << "not on this processor";
  Rng rng = Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  for (const hybrid::Field& f : hybrid::fields(*loops).field) {
    const double p = f.mod.p;
    const auto extreme = [&](double bound) {
      std::vector<double> x(2048);
      for (double& value : x) value = (rng.below(2) ? bound - 1 : 1 - bound);
      return x;
    };
    const auto largest = [](const std::vector<double>& x) {
      double most = 0;
      for (const double value : x) most = std::max(most, std::fabs(value));
      return most;
    };
    for (std::size_t i = 0; i < reps(20); ++i) {
      const unsigned log = 10 + i % 2;
      std::vector<double> x = extreme(3 * p), y = extreme(3 * p), z = extreme(2 * p);
      loops->multiply(x.data(), y.data(), x.size(), p / 2 - 0.5, f.mod);
      EXPECT_LT(largest(x), 1.5 * p);
      loops->forward_row(y.data(), &f.row[hybrid::kForward][log], f.mod);
      EXPECT_LT(largest(y), 3 * p);
      loops->inverse_row(z.data(), &f.row[hybrid::kInverse][log], f.mod);
      EXPECT_LT(largest(z), 2 * p);
    }
  }
}

TEST(HybridFieldTest, CapacityAndRounding) {
  EXPECT_FALSE(hybrid::rounding_holds((std::uint64_t{1} << 50) + 55));
  EXPECT_TRUE(hybrid::rounding_holds(1092 * (std::uint64_t{15} << 36) + 1));
  // log2 of the products of the primes: 149.98 and 199.96.
  EXPECT_NEAR(std::log2(static_cast<double>(hybrid::capacity(3))), 149.98 - 128, 0.01);
  EXPECT_GE(hybrid::capacity(4), std::uint64_t{1} << 37);
  EXPECT_EQ(hybrid::Plan(16, hybrid::capacity(3)).primes, 3u);
  EXPECT_EQ(hybrid::Plan(16, hybrid::capacity(3) + 1).primes, 4u);
  EXPECT_THROW(hybrid::Plan(~std::uint64_t{0} / 4, 1), TransformTooSmallException);
}

TEST(KernelSetTest, NamesAndSelection) {
  EXPECT_STREQ(find_kernels("generic").name, "generic");
  EXPECT_EQ(&find_kernels("generic"), &kernel_sets().back());
  EXPECT_THROW(find_kernels("avx3"), InvalidParametersException);
  for (const KernelSet& set : kernel_sets()) {
    const bool can = (platform::processor_features() & set.needs) == set.needs;
    if (can) {
      EXPECT_EQ(&find_kernels(set.name), &set);
    } else {
      EXPECT_THROW(find_kernels(set.name), InvalidParametersException);
    }
  }
}

TEST(HybridCapacityTest, LongAtTheCapacityOfThreePrimes) {
  // The shorter operand at and past the limit, all ones: the largest coefficient there is.
  for (const std::size_t digits : {hybrid::capacity(3), hybrid::capacity(3) + 1}) {
    const std::size_t n = digits * 2;
    ASSERT_EQ(product(hybrid_ntt(), Words(n, ~0u), Words(n, ~0u), true), ones_product(n, n));
  }
}

}  // namespace
}  // namespace nmp
