// Products in transform space against sums of plain products, for every algorithm that has them.
#include "arith/multiply/spectrum.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "arith/multiply/algorithm.h"
#include "arith/multiply/hybrid/hybrid_format.h"
#include "arith/multiply/hybrid/hybrid_ntt.h"
#include "arith/multiply/hybrid/hybrid_plan.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "foundation/exceptions.h"
#include "platform/processor.h"
#include "support/products.h"
#include "support/random.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Words;

const AlgorithmTable kNoTable;

struct Method {
  std::string name;
  const Algorithm* algorithm;
};

const std::vector<Method>& methods() {
  static const std::vector<Method> all = [] {
    std::vector<Method> list;
    static std::vector<std::unique_ptr<HybridNtt>> hybrids;
    for (const KernelSet& set : kernel_sets()) {
      if ((platform::processor_features() & set.needs) != set.needs || !set.hybrid) continue;
      hybrids.push_back(std::make_unique<HybridNtt>(&set));
      list.push_back({std::string("HNT ") + set.name, hybrids.back().get()});
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

/// A residue modulo 2^(32 n) - sign, in n words and one above them.
class Residue {
 public:
  Residue(std::size_t n, int sign) : words_(n + 1, 0), sign_(sign) {}
  /// *this += x, or -= x.
  void add(const Words& x, bool negative) {
    const std::size_t n = words_.size() - 1;
    for (std::size_t at = 0, turn = 0; at < x.size(); at += n, ++turn) {
      const bool minus = negative != (sign_ < 0 && turn % 2 == 1);
      for (std::size_t i = 0; i < n && at + i < x.size(); ++i) add_word(i, x[at + i], minus);
    }
  }
  /// n words, or n + 1 for 2^(32 n) where the sign is -1.
  Words value() const {
    Words v(words_.begin(), words_.end());
    if (sign_ > 0 && std::all_of(v.begin(), v.end() - 1, [](Word w) { return w == ~0u; }))
      std::fill(v.begin(), v.end(), 0);
    return v;
  }

 private:
  void add_word(std::size_t at, Word word, bool minus) {
    const std::size_t n = words_.size() - 1;
    while (word != 0) {
      const Word old = words_[at];
      words_[at] = minus ? old - word : old + word;
      word = minus ? old < word : words_[at] < old;
      if (++at == n) {  // the carry stands for 2^(32 n), that is for the sign
        at = 0;
        if (sign_ < 0) minus = !minus;
      }
    }
  }
  Words words_;
  int sign_;
};

class SpectrumTest : public test::RandomTest {
 protected:
  Words operand(std::size_t most) {
    switch (rng_.below(8)) {
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
        return {};
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
    for (const Method& method : methods()) {
      const unsigned threads = 1 + static_cast<unsigned>(rng_.below(3));
      const std::size_t words = rng_.size(rep % 32 == 0 ? 300000 : 5000);
      const SpectrumShape shape = {words, rng_.below(4) ? words : rng_.size(words),
                                   1 + static_cast<unsigned>(rng_.below(4))};
      SCOPED_TRACE(method.name + ": " + std::to_string(words) + " words, sums of " +
                   std::to_string(shape.sum) + ", threads: " + std::to_string(threads));
      constexpr std::size_t kSpectra = 4;
      Plans plans(*method.algorithm, threads, shape, kSpectra + 1);
      Spectra& plan = *plans.plan;
      const std::size_t n = plan.wrap();
      ASSERT_GE(n, words);
      std::vector<Words> value(kSpectra);
      const auto transform = [&](std::size_t i) {
        // No product of two with even numbers may be longer than planned.
        value[i] = operand(i % 2 == 0 ? std::min(shape.shorter, n) : n);
        plan.forward(plans.spectrum[i], value[i].data(), value[i].size());
      };
      for (std::size_t i = 0; i < kSpectra; ++i) transform(i);
      for (int turn = 0; turn < 3; ++turn) {
        Residue expected(n, plan.wrap_sign());
        std::vector<Spectra::Term> terms(1 + rng_.below(shape.sum));
        std::size_t target = kSpectra;
        for (Spectra::Term& t : terms) {
          const std::size_t i = rng_.below(kSpectra / 2) * 2;
          const std::size_t j = rng_.below(3) == 0 ? i : rng_.below(kSpectra);
          t = {&plans.spectrum[i], &plans.spectrum[j], rng_.below(2) == 1};
          if (rng_.below(2)) std::swap(t.a, t.b);
          if (rng_.below(4) == 0) target = rng_.below(2) ? i : j;
          expected.add(product(value[i], value[j]), t.negative);
        }
        Spectrum s = plans.spectrum[target];
        plan.multiply(s, terms);
        Words out(n + 2, 0xFEEDFACE);
        const Word above = plan.inverse(out.data() + 1, n, s);
        ASSERT_EQ(out.front(), 0xFEEDFACE);
        ASSERT_EQ(out.back(), 0xFEEDFACE);
        out.erase(out.begin());
        out[n] = above;
        ASSERT_EQ(out, expected.value());
        if (target < kSpectra) transform(target);
      }
    }
  }
}

TEST_F(SpectrumTest, FewWordsOfAValueThatIsKnownToBeShort) {
  for (std::size_t rep = test::reps(100); rep-- != 0;) {
    for (const Method& method : methods()) {
      const unsigned threads = 1 + static_cast<unsigned>(rng_.below(2));
      const std::size_t words = 3 + rng_.size(rep % 16 == 0 ? 300000 : 3000);
      SCOPED_TRACE(method.name + ": " + std::to_string(words));
      Plans plans(*method.algorithm, threads, {words, words, 2}, 3);
      Spectra& plan = *plans.plan;
      const std::size_t n = plan.wrap(), count = 4 + rng_.below(n - 4);
      // (-x)(-y), and (x + 1) x - x x: as many wraps as there can be.
      const Words x = operand(count / 2 + 1), y = operand(count - count / 2 - 1);
      const auto minus = [&](const Words& v) {
        Residue r(n, plan.wrap_sign());
        r.add(v, true);
        Words negated = r.value();
        negated.resize(n);
        return negated;
      };
      for (const bool difference : {false, true}) {
        Residue expected(n, plan.wrap_sign());
        std::vector<Spectra::Term> terms;
        auto& s = plans.spectrum;
        if (difference) {
          const Words a = operand(n);
          plan.forward(s[0], a.data(), n == a.size() ? n : a.size());
          plan.forward(s[1], x.data(), x.size());
          terms = {{&s[0], &s[1]}, {&s[0], &s[1], true}};
        } else {
          const Words a = minus(x), b = minus(y);
          plan.forward(s[0], a.data(), n);
          plan.forward(s[1], b.data(), n);
          terms = {{&s[0], &s[1]}};
          expected.add(product(x, y), false);
        }
        plan.multiply(s[2], terms);
        Words out(count + 1, 0xFEEDFACE);
        EXPECT_EQ(plan.inverse(out.data(), count, s[2]), 0u);
        ASSERT_EQ(out.back(), 0xFEEDFACE);
        out.resize(count);
        Words exact = expected.value();
        exact.resize(count);
        ASSERT_EQ(out, exact);
      }
    }
  }
}

TEST_F(SpectrumTest, TakesNothingWhereMemoryIsShort) {
  test::Threads one(1);
  for (const Method& method : methods()) {
    SCOPED_TRACE(method.name);
    AlgorithmTable table;
    table.add(100000, method.algorithm);
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
    EXPECT_THROW(method.algorithm->make_spectra(context, shape, half), BufferTooSmallException);
  }
}

}  // namespace
}  // namespace nmp
