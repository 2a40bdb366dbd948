// Digits per second of each stage that a digit file passes, beside a copy of as many bytes.
//
// Buffers are larger than the caches, as files are. "items" are digits; "bytes" are what the stage
// reads and writes. Run with --benchmark_min_time=... and take the best of several runs.

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "digits/digit_counts.h"
#include "digits/digit_text.h"
#include "digits/digit_words.h"

namespace nmp {
namespace {

constexpr std::size_t kDigits = 19 * 16 * (std::size_t{1} << 17);  // 40 million

struct Data {
  explicit Data(unsigned radix)
      : digits(kDigits), text(kDigits), words(kDigits / digits_per_word(radix)) {
    std::mt19937 random(radix);
    for (auto& digit : digits) digit = static_cast<std::uint8_t>(random() % radix);
    digits_to_text(digits.data(), kDigits, radix, text.data());
    pack_digits(digits.data(), words.size(), radix, words.data());
  }
  std::vector<std::uint8_t> digits;
  std::vector<char> text;
  std::vector<std::uint64_t> words;
};

/// Calls stage(data, radix) once per round; `bytes` per digit are moved.
template <typename Stage>
void run(benchmark::State& state, double bytes, Stage stage) {
  const unsigned radix = static_cast<unsigned>(state.range(0));
  Data data(radix);
  for (auto _ : state) {
    stage(data, radix);
    benchmark::ClobberMemory();
  }
  const double digits = static_cast<double>(state.iterations()) * kDigits;
  if (bytes == 0) bytes = 1.0 / digits_per_word(radix) * 8;
  state.counters["digits"] = benchmark::Counter(digits, benchmark::Counter::kIsRate);
  state.counters["bytes"] = benchmark::Counter(digits * bytes, benchmark::Counter::kIsRate);
}

void copy(benchmark::State& state) {
  run(state, 2,
      [](Data& data, unsigned) { std::memcpy(data.text.data(), data.digits.data(), kDigits); });
}
void pack(benchmark::State& state) {
  run(state, 1.5, [](Data& data, unsigned radix) {
    pack_digits(data.digits.data(), data.words.size(), radix, data.words.data());
  });
}
void unpack(benchmark::State& state) {
  run(state, 1.5, [](Data& data, unsigned radix) {
    unpack_words(data.words.data(), data.words.size(), radix, data.digits.data());
  });
}
void hash_packed(benchmark::State& state) {
  run(state, 0, [](Data& data, unsigned radix) {
    benchmark::DoNotOptimize(hash_words(data.words.data(), data.words.size(), radix));
  });
}
void stats_packed(benchmark::State& state) {
  run(state, 0, [](Data& data, unsigned radix) {
    DigitCounts counts(radix);
    append_words(counts, data.words.data(), data.words.size());
    benchmark::DoNotOptimize(counts);
  });
}
void stats_digits(benchmark::State& state) {
  run(state, 1, [](Data& data, unsigned radix) {
    DigitCounts counts(radix);
    counts.append(data.digits.data(), kDigits);
    benchmark::DoNotOptimize(counts);
  });
}
void stats_text(benchmark::State& state) {
  run(state, 1, [](Data& data, unsigned radix) {
    constexpr std::size_t kBlock = std::size_t{1} << 16;
    DigitCounts counts(radix);
    for (std::size_t i = 0; i < kDigits; i += kBlock) {
      text_to_digits(data.text.data() + i, kBlock, radix, data.digits.data());
      counts.append(data.digits.data(), kBlock);
    }
    benchmark::DoNotOptimize(counts);
  });
}

BENCHMARK(copy)->Arg(10);
BENCHMARK(pack)->Arg(10)->Arg(16);
BENCHMARK(unpack)->Arg(10)->Arg(16);
BENCHMARK(hash_packed)->Arg(10)->Arg(16);
BENCHMARK(stats_packed)->Arg(10)->Arg(16);
BENCHMARK(stats_digits)->Arg(10)->Arg(16);
BENCHMARK(stats_text)->Arg(10)->Arg(16);

}  // namespace
}  // namespace nmp

BENCHMARK_MAIN();
