// Products in transform space against sums of plain products, for every algorithm that has them.
#include "arith/multiply/spectrum.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "arith/multiply/algorithm.h"
#include "arith/multiply/fft/fft.h"
#include "arith/multiply/hybrid/hybrid_ntt.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Natural;
using test::Words;

const AlgorithmTable kNoTable;

/// All that have transforms, with every set of loops that this machine runs.
const std::vector<std::unique_ptr<Algorithm>>& algorithms() {
  static const std::vector<std::unique_ptr<Algorithm>> all = [] {
    std::vector<std::unique_ptr<Algorithm>> list;
    for (const KernelSet& set : kernel_sets()) {
      if ((platform::processor_features() & set.needs) != set.needs) continue;
      if (set.hybrid) list.push_back(std::make_unique<HybridNtt>(&set));
      if (set.fft) list.push_back(std::make_unique<FloatingPointFft>(&set));
    }
    return list;
  }();
  return all;
}

/// a * b by unlike code.
Words product(const Words& a, const Words& b) {
  if (a.empty() || b.empty()) return Words(a.size() + b.size(), 0);
  if (a.size() + b.size() < 200) return test::schoolbook(a, b);
  test::Threads one(1);
  Context context{one, kNoTable};
  return test::fenced_product(a, b, ntt64().scratch_bytes(a.size() + b.size(), 1),
                              [&](auto... x) { ntt64().multiply(context, x...); });
}

class SpectrumTest : public test::RandomTest {
 protected:
  /// What sums and wraps find hardest, in at most `most` words of a plan with `wrap` words.
  Words operand(std::size_t most, std::size_t wrap, int sign) {
    switch (rng_.below(9)) {
      case 0:
        return Words(most, ~0u);
      case 1: {
        Words a(most, ~0u);  // -1 or thereabouts
        a[0] = ~1u;
        return a;
      }
      case 2:
        return Words(rng_.size(most), 0);
      case 3:
        return Words(rng_.size(most), 0x80000001u);
      case 4:
        return Words(rng_.below(2), 1);
      case 5:
        if (most == wrap && wrap > 1) {  // -x for a short x: as many wraps as there can be
          Words a = test::difference({}, rng_.words(rng_.size(wrap - 1)), wrap, sign);
          a.resize(wrap);
          return a;
        }
        [[fallthrough]];
      default:
        return rng_.words(rng_.below(2) ? most : rng_.size(most));
    }
  }
};

/// A plan with just the memory it asked for, and `count` spectra.
class Plans {
 public:
  Plans(const Algorithm& algorithm, unsigned threads, const SpectrumShape& shape, unsigned count)
      : pool_(threads),
        context_{pool_, kNoTable},
        scratch_(algorithm.spectra_need(shape, threads).bytes(count)) {
    AlignedBufferC memory = scratch_.buffer();
    plan = algorithm.make_spectra(context_, shape, memory);
    const SpectraNeed need = algorithm.spectra_need(shape, threads);
    EXPECT_EQ(scratch_.buffer().bytes() - memory.bytes(), need.plan);
    EXPECT_EQ(plan->bytes(), need.spectrum);
    EXPECT_EQ(plan->wrap(), need.wrap);
    for (unsigned i = 0; i < count; ++i) spectrum.push_back(plan->carve(memory));
  }
  Spectra* plan;
  std::vector<Spectrum> spectrum;

 private:
  test::Threads pool_;
  Context context_;
  test::FencedScratch scratch_;
};

TEST_F(SpectrumTest, SumsOfProductsAreWhatPlainProductsGive) {
  for (std::size_t rep = test::reps(300); rep-- != 0;) {
    for (const auto& algorithm : algorithms()) {
      const unsigned threads = 1 + static_cast<unsigned>(rng_.below(3));
      std::size_t words = rng_.size(rep % 32 == 0 ? 300000 : 5000);
      if (rng_.below(2)) words = algorithm->spectra_need({words, words, 2}, threads).wrap;
      const SpectrumShape shape = {words, rng_.below(4) ? words : rng_.size(words),
                                   1 + static_cast<unsigned>(rng_.below(4))};
      SCOPED_TRACE(std::string(algorithm->id) + ": " + std::to_string(words) + " words, shorter " +
                   std::to_string(shape.shorter) + ", sums of " + std::to_string(shape.sum) +
                   ", threads: " + std::to_string(threads));
      constexpr std::size_t kSpectra = 4;
      Plans plans(*algorithm, threads, shape, kSpectra + 1);
      Spectra& plan = *plans.plan;
      const std::size_t n = plan.wrap();
      const int sign = plan.wrap_sign();
      ASSERT_GE(n, words);
      std::vector<Words> value(kSpectra);
      const auto transform = [&](std::size_t i) {
        // No product of two with even numbers may be longer than planned.
        value[i] = operand(i % 2 == 0 ? std::min(shape.shorter, n) : n, n, sign);
        plan.forward(plans.spectrum[i], value[i].data(), value[i].size());
      };
      for (std::size_t i = 0; i < kSpectra; ++i) transform(i);
      for (int turn = 0; turn < 3; ++turn) {
        Natural sums[2];
        std::vector<Spectra::Term> terms(1 + rng_.below(shape.sum));
        std::size_t target = kSpectra;
        for (Spectra::Term& t : terms) {
          const std::size_t i = rng_.below(kSpectra / 2) * 2;
          const std::size_t j = rng_.below(3) == 0 ? i : rng_.below(kSpectra);
          t = {&plans.spectrum[i], &plans.spectrum[j], rng_.below(2) == 1};
          if (rng_.below(2)) std::swap(t.a, t.b);
          if (rng_.below(4) == 0) target = rng_.below(2) ? i : j;
          sums[t.negative] = test::add(sums[t.negative], product(value[i], value[j]));
        }
        Natural expected = test::difference(sums[0], sums[1], n, sign);
        // All words, or few of a value that is known to be short.
        const std::size_t least = std::max<std::size_t>(expected.size(), 1);
        const std::size_t count = least < n ? least + rng_.below(n - least + 1) : n;
        Spectrum s = plans.spectrum[target];
        plan.multiply(s, terms);
        Words out(count + 2, 0xFEEDFACE);
        const Word above = plan.inverse(out.data() + 1, count, s);
        ASSERT_EQ(out.front(), 0xFEEDFACE);
        ASSERT_EQ(out.back(), 0xFEEDFACE);
        out.erase(out.begin());
        out[count] = above;
        expected.resize(count + 1);
        ASSERT_EQ(out, expected) << count << " of " << n << " words";
        if (target < kSpectra) transform(target);
      }
    }
  }
}

TEST_F(SpectrumTest, TakesNothingWhereMemoryIsShort) {
  test::Threads one(1);
  for (const auto& algorithm : algorithms()) {
    SCOPED_TRACE(algorithm->id);
    AlgorithmTable table;
    table.add(100000, algorithm.get());
    Context context{one, table};
    const SpectrumShape shape = {1000, 1000, 1};
    const SpectraNeed need = spectra_need(context, shape);
    const test::FencedScratch scratch(need.bytes(2));
    AlignedBufferC memory = scratch.buffer();
    EXPECT_EQ(make_spectra(context, shape, 3, memory), nullptr);
    context.longest_product = 999;
    EXPECT_EQ(make_spectra(context, shape, 2, memory), nullptr);
    EXPECT_FALSE(spectra_need(context, shape));
    EXPECT_EQ(memory.bytes(), need.bytes(2));
    context.longest_product = 1000;
    EXPECT_NE(make_spectra(context, shape, 2, memory), nullptr);
    AlignedBufferC half = memory.spawn(64);
    EXPECT_THROW(algorithm->make_spectra(context, shape, half), BufferTooSmallException);
  }
}

}  // namespace
}  // namespace nmp
