// Random operands that find faults: sizes drawn log-uniformly, words with long runs of 0 and ~0.
//
// NUMFORGE_SEED=n repeats a failure (the seed is in the failure's trace);
// NUMFORGE_TEST_SCALE=x multiplies the number of repetitions.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace nmp::test {

inline double scale() {
  const char* text = std::getenv("NUMFORGE_TEST_SCALE");
  return text ? std::atof(text) : 1.0;
}
/// Repetitions of a random test: `usual` times the scale, at least one.
inline std::size_t reps(std::size_t usual) {
  return std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(usual) * scale()));
}

class Rng {
 public:
  static Rng from_environment() {
    if (const char* text = std::getenv("NUMFORGE_SEED"))
      return Rng(std::strtoull(text, nullptr, 10));
    return Rng(
        static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
  }
  explicit Rng(std::uint64_t seed) : seed_(seed), engine_(seed) {}

  std::string trace() const { return "NUMFORGE_SEED=" + std::to_string(seed_); }
  std::uint64_t u64() { return engine_(); }
  std::uint64_t below(std::uint64_t n) { return engine_() % n; }
  /// 1 to most, log-uniformly: small sizes are where the cases are.
  std::size_t size(std::size_t most) {
    std::uniform_real_distribution<double> d(0.0, std::log(static_cast<double>(most) + 1));
    return std::min(most, std::max<std::size_t>(1, static_cast<std::size_t>(std::exp(d(engine_)))));
  }
  /// n words; a third of the time uniform, else runs of zeros, ones and noise. Top word not zero.
  std::vector<std::uint32_t> words(std::size_t n) {
    std::vector<std::uint32_t> w(n);
    if (below(3) == 0) {
      for (auto& x : w) x = static_cast<std::uint32_t>(u64());
    } else {
      for (std::size_t i = 0; i < n;) {
        const std::size_t run = std::min(n - i, size(n));
        const std::uint64_t kind = below(3);
        for (std::size_t j = 0; j < run; ++j)
          w[i + j] = kind == 0 ? 0u : kind == 1 ? ~0u : static_cast<std::uint32_t>(u64());
        i += run;
      }
    }
    if (w[n - 1] == 0) w[n - 1] = 1u + static_cast<std::uint32_t>(below(~0u));
    return w;
  }

 private:
  std::uint64_t seed_;
  std::mt19937_64 engine_;
};

/// A test with random operands; its failures name the seed.
class RandomTest : public ::testing::Test {
 protected:
  Rng rng_ = Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

}  // namespace nmp::test
