// Every registered multiplier against GMP's mpn_mul_n, balanced products, sizes a quarter of an
// octave apart so that a jump shows as a jump.
//
//   multiply_bench [--framework=KEY] [options of Google Benchmark]
//
// Names are ID/words per operand: --benchmark_filter=/1024/ picks a size. Counters: `vs_gmp` is
// GMP's time over ours (above 1 we are faster); `per_word_log` is our time over n log2 n, flat for
// an ideal transform.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "arith/context.h"
#include "arith/multiply/algorithm.h"
#include "arith/multiply/algorithm_table.h"
#include "memory/aligned_buffer.h"
#include "parallel/context.h"
#include "platform/processor.h"

namespace {

using nmp::Word;

constexpr std::size_t kFewestWords = 16;
constexpr std::size_t kMostWords = std::size_t{1} << 23;
/// Sizes at which a multiplier is this many times slower than GMP are left out, and all above.
constexpr double kHopeless = 20;

std::vector<Word> random_words(std::size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Word> words(n);
  for (Word& word : words) word = static_cast<Word>(random()) | 1u;
  return words;
}

struct AlignedFree {
  void operator()(void* p) const { ::operator delete (p, std::align_val_t{4096}); }
};

/// Operands, result and scratch of one product of two n-word numbers.
struct Product {
  Product(const nmp::Algorithm& algorithm, std::size_t n, nmp::Context& context)
      : algorithm(algorithm),
        context(context),
        a(random_words(n, 1)),
        b(random_words(n, 2)),
        c(2 * n),
        bytes(algorithm.scratch_bytes(2 * n, context.threads.threads())),
        scratch(::operator new (std::max<std::size_t>(bytes, 64), std::align_val_t{4096})) {}
  void operator()() {
    algorithm.multiply(context, c.data(), a.data(), a.size(), b.data(), b.size(),
                       nmp::AlignedBufferC(scratch.get(), bytes));
  }

  const nmp::Algorithm& algorithm;
  nmp::Context& context;
  std::vector<Word> a, b, c;
  std::size_t bytes;
  std::unique_ptr<void, AlignedFree> scratch;
};

/// Seconds of the fastest of several calls.
template <typename Call>
double best_seconds(Call call) {
  double best = 1e9, total = 0;
  for (int i = 0; i < 3 || (i < 200 && total < 0.02); ++i) {
    const auto start = std::chrono::steady_clock::now();
    call();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    best = std::min(best, time.count());
    total += time.count();
  }
  return best;
}

double gmp_seconds(std::size_t words) {
  const auto limbs = static_cast<mp_size_t>(words * nmp::kWordBits / GMP_NUMB_BITS);
  std::mt19937_64 random(3);
  std::vector<mp_limb_t> a(limbs), b(limbs), c(2 * limbs);
  for (auto& limb : a) limb = static_cast<mp_limb_t>(random());
  for (auto& limb : b) limb = static_cast<mp_limb_t>(random());
  return best_seconds([&] { mpn_mul_n(c.data(), a.data(), b.data(), limbs); });
}

/// n = 2^(k/4), rounded to an even number of words: GMP counts in pairs of them.
std::vector<std::size_t> sizes() {
  std::vector<std::size_t> found;
  for (int k = 4 * static_cast<int>(std::log2(kFewestWords));; ++k) {
    const auto n = 2 * static_cast<std::size_t>(std::lround(std::exp2(k / 4.0) / 2));
    if (n > kMostWords) return found;
    found.push_back(n);
  }
}

void add_benchmarks(const nmp::Algorithm& algorithm, nmp::Context& context,
                    const std::vector<std::pair<std::size_t, double>>& gmp) {
  for (const auto& [n, theirs] : gmp) {
    if (2 * n * std::uint64_t{nmp::kWordBits} > algorithm.max_size) return;
    if (Product trial(algorithm, n, context); best_seconds([&] { trial(); }) > kHopeless * theirs) {
      if (n > 1024) return;
      continue;
    }
    const std::string name = std::string(algorithm.id) + "/" + std::to_string(n);
    const auto body = [&algorithm, &context, n = n, theirs = theirs](benchmark::State& state) {
      Product product(algorithm, n, context);
      for ([[maybe_unused]] auto _ : state) product();
      using benchmark::Counter;
      const double work = static_cast<double>(n) * std::log2(static_cast<double>(n));
      state.counters["vs_gmp"] = Counter(theirs, Counter::kIsIterationInvariantRate);
      state.counters["per_word_log"] =
          Counter(work, Counter::Flags(Counter::kIsIterationInvariantRate | Counter::kInvert));
    };
    benchmark::RegisterBenchmark(name.c_str(), body)->UseRealTime()->MinTime(0.1);
  }
}

void describe(const nmp::parallel::Context& threads) {
  const char* isa = std::getenv("NUMFORGE_ISA");
  benchmark::AddCustomContext("machine", nmp::platform::processor_name());
  benchmark::AddCustomContext("compiler", __VERSION__);
  benchmark::AddCustomContext("isa", isa ? isa : "the best there is");
  benchmark::AddCustomContext("framework", threads.description());
  benchmark::AddCustomContext("threads", std::to_string(threads.threads()));
  benchmark::AddCustomContext("gmp", gmp_version);
#ifndef NDEBUG
  benchmark::AddCustomContext("***", "assertions are on: these figures say nothing of a release");
#endif
}

}  // namespace

int main(int count, char** words) {
  std::string framework = "none";
  std::vector<char*> rest;
  for (int i = 0; i < count; ++i) {
    const std::string word = words[i];
    if (word.rfind("--framework=", 0) == 0) {
      framework = word.substr(word.find('=') + 1);
    } else {
      rest.push_back(words[i]);
    }
  }
  int rest_count = static_cast<int>(rest.size());
  benchmark::Initialize(&rest_count, rest.data());
  if (benchmark::ReportUnrecognizedArguments(rest_count, rest.data())) return 2;

  const auto threads = nmp::parallel::make_context(framework);
  const nmp::AlgorithmTable products;  // each multiplier is called directly
  nmp::Context context{*threads, products};
  describe(*threads);
  std::vector<std::pair<std::size_t, double>> gmp;
  for (const std::size_t n : sizes()) gmp.emplace_back(n, gmp_seconds(n));
  for (const nmp::RegisteredAlgorithm& entry : nmp::algorithm_registry()) {
    if (entry.instance) add_benchmarks(*entry.instance, context, gmp);
  }
  benchmark::RunSpecifiedBenchmarks();
}
