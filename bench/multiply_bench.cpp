// Every registered multiplier, and the dispatcher of numforge-x64, against GMP's mpn_mul_n.
//
//   multiply_bench [from=LIMBS] [to=LIMBS] [steps=PER_OCTAVE] [only=ID,ID,...] [square]
//                  [framework=DESCRIPTION] [csv=FILE]
//
// One line for each size: GMP's time and how many times faster than that each multiplier is (below
// 1: slower). All of a line is timed in turn, round after round, and the fastest of each counts, so
// that other work on the machine hits all alike. `all` is the dispatcher; `limit` is the time that
// the arithmetic of the hybrid NTT would take at the full rate of 4-lane floating-point units, over
// HNT's time. Sizes are limbs of 64 bits.
#include <gmp.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "arith/context.h"
#include "arith/kernels/kernel_set.h"
#include "arith/multiply/algorithm_table.h"
#include "memory/aligned_buffer.h"
#include "memory/memory_block.h"
#include "parallel/context.h"
#include "platform/processor.h"
#include "shell/profile.h"

namespace {

using nmp::Word;

/// A multiplier that is this many times slower than GMP is left out from there on.
constexpr double kHopeless = 30;
/// Seconds that the rounds of one line may take, and how many rounds there are at least.
constexpr double kSecondsPerLine = 0.4;
constexpr int kLeastRounds = 3;

struct Options {
  std::size_t from = 8, to = 1 << 20;
  double steps = 4;
  std::string only, framework = "none", csv;
  bool square = false;
};

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Memory as jobs get it, touched, and enough of it for the system to use large pages.
std::unique_ptr<nmp::MemoryBlock> touched(std::size_t bytes) {
  constexpr std::size_t kLargePages = std::size_t{4} << 20;
  auto block = std::make_unique<nmp::MemoryBlock>(nmp::make_page_allocator({}),
                                                  std::max(bytes, kLargePages));
  std::memset(block->buffer().ptr(), 0, block->buffer().bytes());
  return block;
}

/// The operands and results of one size.
struct Numbers {
  Numbers(std::size_t limbs, bool square) : a(2 * limbs), b(2 * limbs), c(4 * limbs) {
    std::mt19937_64 random(limbs);
    for (std::size_t i = 0; i < a.size(); ++i) {
      a[i] = static_cast<Word>(random()) | 1u;
      b[i] = square ? a[i] : static_cast<Word>(random()) | 1u;
    }
    second = square ? a.data() : b.data();
  }
  std::vector<Word> a, b, c;
  const Word* second;
};

/// Something that forms the product, with the fastest time so far.
class Contestant {
 public:
  virtual ~Contestant() = default;
  virtual void multiply(Numbers& numbers) = 0;

  /// Enough calls for the clock, timed together.
  void round(Numbers& numbers) {
    const double start = now();
    for (int i = 0; i < calls_; ++i) multiply(numbers);
    const double seconds = (now() - start) / calls_;
    best = std::min(best, seconds);
    calls_ = static_cast<int>(std::clamp(20e-6 / best, 1.0, 1000.0));
  }
  double best = std::numeric_limits<double>::infinity();

 private:
  int calls_ = 1;
};

class Gmp : public Contestant {
 public:
  void multiply(Numbers& n) override {
    const auto limbs = static_cast<mp_size_t>(n.a.size() / 2);
    const auto at = [](const Word* words) { return reinterpret_cast<const mp_limb_t*>(words); };
    auto* out = reinterpret_cast<mp_limb_t*>(n.c.data());
    if (n.second == n.a.data()) return mpn_sqr(out, at(n.a.data()), limbs);
    mpn_mul_n(out, at(n.a.data()), at(n.second), limbs);
  }
};

class Ours : public Contestant {
 public:
  Ours(nmp::Context& context, const nmp::Algorithm* algorithm, std::size_t limbs)
      : context_(context), algorithm_(algorithm) {
    const std::size_t n = 4 * limbs;
    bytes_ = algorithm ? algorithm->scratch_bytes(n, context.threads.threads())
                       : nmp::multiply_scratch(context, n);
    scratch_ = touched(bytes_);
  }
  void multiply(Numbers& n) override {
    const nmp::AlignedBufferC scratch(scratch_->buffer().ptr(), bytes_);
    const std::size_t length = n.a.size();
    if (algorithm_)
      algorithm_->multiply(context_, n.c.data(), n.a.data(), length, n.second, length, scratch);
    else
      nmp::multiply(context_, n.c.data(), n.a.data(), length, n.second, length, scratch);
  }

 private:
  nmp::Context& context_;
  const nmp::Algorithm* algorithm_;  ///< null: the dispatcher
  std::size_t bytes_ = 0;
  std::unique_ptr<nmp::MemoryBlock> scratch_;
};

/// Clock rate as the floating-point units show it: two fused multiply-adds to a cycle, which is
/// steadier on a shared machine than a chain of additions.
double cycles_per_second() {
  if (!(nmp::platform::processor_features() & nmp::platform::kFma)) return 0;
  double best = 0;
  for (int i = 0; i < 30; ++i) {
    constexpr int kSteps = 500000;
    const double start = now();
    for (int k = 0; k < kSteps; ++k)
      asm volatile(
          "vfmadd231pd %%ymm0, %%ymm0, %%ymm1\n\tvfmadd231pd %%ymm0, %%ymm0, %%ymm2\n\t"
          "vfmadd231pd %%ymm0, %%ymm0, %%ymm3\n\tvfmadd231pd %%ymm0, %%ymm0, %%ymm4\n\t"
          "vfmadd231pd %%ymm0, %%ymm0, %%ymm5\n\tvfmadd231pd %%ymm0, %%ymm0, %%ymm6\n\t"
          "vfmadd231pd %%ymm0, %%ymm0, %%ymm7\n\tvfmadd231pd %%ymm0, %%ymm0, %%ymm8" ::
              : "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8");
    best = std::max(best, 4.0 * kSteps / (now() - start));
  }
  return best;
}

/// The least seconds for a product of two numbers of `limbs` limbs: three transforms over three
/// primes of 64-bit digits at 9/32 cycles for a point and level, and 7 cycles a point for the rest.
double limit_seconds(std::size_t limbs, bool square, double rate) {
  const double points = 2.0 * static_cast<double>(limbs);
  return 3 * points * ((square ? 2 : 3) * std::log2(points) * 9 / 32 + 7) / rate;
}

Options parse(int count, char** words) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string word = words[i];
    const std::size_t equals = word.find('=');
    const std::string key = word.substr(0, equals);
    const std::string value = equals == word.npos ? "" : word.substr(equals + 1);
    if (key == "from")
      options.from = std::stoull(value);
    else if (key == "to")
      options.to = std::stoull(value);
    else if (key == "steps")
      options.steps = std::stod(value);
    else if (key == "only")
      options.only = "," + value + ",";
    else if (key == "framework")
      options.framework = value;
    else if (key == "csv")
      options.csv = value;
    else if (key == "square")
      options.square = true;
    else {
      std::fprintf(stderr, "multiply_bench: \"%s\" is not an option.\n", word.c_str());
      std::exit(2);
    }
  }
  return options;
}

void describe(const nmp::parallel::Context& threads, double rate) {
  std::printf("machine    %s, %u logical processors, %.2f GHz\n",
              nmp::platform::processor_name().c_str(), nmp::platform::logical_processors(),
              rate * 1e-9);
  std::printf("compiler   %s\nisa        %s\nframework  %s, %u threads\ngmp        %s\n",
              __VERSION__, nmp::kernels().name, threads.description().c_str(), threads.threads(),
              gmp_version);
#ifndef NDEBUG
  std::printf("*** Assertions are on: these figures say nothing about a release. ***\n");
#endif
}

}  // namespace

int main(int count, char** words) {
  const Options options = parse(count, words);
  const auto threads = nmp::parallel::make_context(options.framework);
  nmp::AlgorithmTable products;
  std::vector<nmp::TuningEntry> tuning;
  for (const nmp::TuningLine& line : numforge::kProfile.tuning)
    tuning.push_back({line.id, line.threshold});
  products.load(tuning);
  nmp::Context context{*threads, products};
  const double rate = cycles_per_second();
  describe(*threads, rate);

  struct Column {
    const char* id;
    const nmp::Algorithm* algorithm;
    bool hopeless = false;
  };
  std::vector<Column> columns;
  for (const nmp::RegisteredAlgorithm& entry : nmp::algorithm_registry()) {
    const std::string id = std::string(",") + entry.id + ",";
    if (entry.instance && (options.only.empty() || options.only.find(id) != options.only.npos))
      columns.push_back({entry.id, entry.instance});
  }
  columns.push_back({"all", nullptr});

  std::ofstream csv;
  if (!options.csv.empty()) csv.open(options.csv);
  std::printf("%10s %12s", "limbs", "gmp us");
  csv << "limbs,gmp";
  for (const Column& column : columns) {
    std::printf(" %8s", column.id);
    csv << ',' << column.id;
  }
  std::printf(" %8s\n", "limit");
  csv << '\n';

  double size = static_cast<double>(options.from);
  for (std::size_t last = 0; size <= static_cast<double>(options.to) * 1.0001;
       size *= std::exp2(1 / options.steps)) {
    const auto limbs = static_cast<std::size_t>(std::lround(size));
    if (limbs == last) continue;
    last = limbs;
    Numbers numbers(limbs, options.square);
    Gmp gmp;
    std::vector<std::unique_ptr<Ours>> ours(columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const nmp::Algorithm* algorithm = columns[i].algorithm;
      const bool fits = !algorithm || limbs * 128 <= algorithm->max_size;
      if (!columns[i].hopeless && fits) ours[i] = std::make_unique<Ours>(context, algorithm, limbs);
    }
    const double start = now();
    for (int round = 0; round < kLeastRounds || (round < 300 && now() - start < kSecondsPerLine);
         ++round) {
      gmp.round(numbers);
      for (auto& contestant : ours)
        if (contestant) contestant->round(numbers);
    }
    std::printf("%10zu %12.2f", limbs, gmp.best * 1e6);
    csv << limbs << ',' << gmp.best;
    double hybrid = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!ours[i]) {
        std::printf(" %8s", "");
        csv << ',';
        continue;
      }
      const double ratio = gmp.best / ours[i]->best;
      if (std::string(columns[i].id) == "HNT") hybrid = ours[i]->best;
      if (ratio * kHopeless < 1 && limbs > 1000) columns[i].hopeless = true;
      std::printf(" %8.2f", ratio);
      csv << ',' << ours[i]->best;
    }
    if (hybrid > 0 && rate > 0)
      std::printf(" %8.2f",
                  limit_seconds(limbs, options.square, rate) / hybrid / threads->threads());
    std::printf("\n");
    csv << '\n';
    std::fflush(stdout);
  }
}
