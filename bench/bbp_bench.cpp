// The modes of the digit extractor in every instruction set, against plain 128-bit integers.
//
//   bbp_bench [seconds=PER_LINE]
//
// One line for each formula and offset: millions of evaluations (one piece of one term, to 192
// bits) per second on one core, and how many times that is of the plain implementation, which takes
// the remainder of a 128-bit product for every square and a 128-bit quotient for every word. All of
// a line is timed in turn, round after round, and the fastest of each counts, so that other work on
// the machine hits all alike.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "platform/processor.h"
#include "tools/bbp/bbp_v2.h"

namespace {

using numforge::BBPFormula;
using numforge::BBPMode;
using numforge::BBPPlan;
using numforge::FractionFloat;
using numforge::Region;
__extension__ using Uint128 = unsigned __int128;

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// What one would write first.
void add_plain(const BBPPlan& plan, const Region& region, FractionFloat& sum) {
  const BBPFormula& f = plan.terms_of();
  FractionFloat value(sum.words());
  for (std::uint64_t k = region.s(); k < region.e(); ++k) {
    for (unsigned i = 0; i < f.pieces; ++i) {
      const std::uint64_t d = f.piece[i].a * k + f.piece[i].b;
      const std::uint64_t e =
          4 * plan.offset - f.step * k + static_cast<std::uint64_t>(f.piece[i].c);
      std::uint64_t x = 1;
      for (int bit = 63 - __builtin_clzll(e); bit >= 0; --bit) {
        x = static_cast<std::uint64_t>(static_cast<Uint128>(x) * x % d);
        if ((e >> bit) & 1) x = 2 * x % d;
      }
      for (std::size_t w = sum.words(); w-- > 0;) {
        const Uint128 dividend = static_cast<Uint128>(x) << 64;
        value.data()[w] = static_cast<std::uint64_t>(dividend / d);
        x = static_cast<std::uint64_t>(dividend % d);
      }
      const bool negative = (f.piece[i].sign < 0) != (f.alternating && k % 2 != 0);
      negative ? sum.subtract(value) : sum.add(value);
    }
  }
}

struct Contestant {
  std::string name;
  std::uint64_t terms;  ///< of one run
  std::function<void(const BBPPlan&, const Region&, FractionFloat&)> run;
  double best = std::numeric_limits<double>::infinity();  ///< seconds per evaluation
};

std::vector<Contestant> contestants() {
  std::vector<Contestant> all = {{"plain", 256, add_plain}};
  for (const numforge::BBPKernelSet& set : numforge::bbp_kernel_sets()) {
    if (!can_run(set)) continue;
    for (const BBPMode mode : {BBPMode::C, BBPMode::B, BBPMode::A}) {
      const bool integers = mode == BBPMode::C;
      if (integers != (set.kernels == nullptr)) continue;
      const std::string letter(1, static_cast<char>('A' + static_cast<unsigned>(mode)));
      all.push_back({letter + " " + (integers ? "" : set.name), integers ? 1024u : 8192u,
                     [mode, &set](const BBPPlan& plan, const Region& region, FractionFloat& sum) {
                       numforge::BBPv2::add_terms_in_mode(mode, plan, region, set, sum);
                     }});
    }
  }
  return all;
}

void measure(unsigned formula, std::uint64_t offset, double seconds) {
  const BBPPlan plan = numforge::plan_bbp(formula, offset, 32);
  std::vector<Contestant> all = contestants();
  const double end = now() + seconds;
  for (std::uint64_t round = 0; round < 5 || now() < end; ++round) {
    for (Contestant& one : all) {
      const std::uint64_t s = plan.modular_terms / 2 + 16384 * (round % 16);
      FractionFloat sum(plan.fraction_words());
      const double start = now();
      one.run(plan, Region(s, s + one.terms), sum);
      const auto evaluations = static_cast<double>(one.terms * plan.terms_of().pieces);
      one.best = std::min(one.best, (now() - start) / evaluations);
    }
  }
  std::printf("%u  %18llu", formula, static_cast<unsigned long long>(offset));
  for (const Contestant& one : all)
    std::printf("  %7.2f (%5.1f)", 1e-6 / one.best, all[0].best / one.best);
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  double seconds = 1;
  for (int i = 1; i < argc; ++i)
    if (std::string(argv[i]).rfind("seconds=", 0) == 0) seconds = std::atof(argv[i] + 8);
#ifndef NDEBUG
  std::printf("Assertions are on: these times mean nothing.\n");
#endif
  std::printf("%s\nMillions of evaluations per second (times plain)\n",
              nmp::platform::processor_name().c_str());
  std::printf("F              offset");
  for (const Contestant& one : contestants()) std::printf("  %-15s", one.name.c_str());
  std::printf("\n");
  for (unsigned formula = 0; formula < numforge::kBBPFormulas; ++formula)
    for (const unsigned log : {20u, 30u, 40u, 46u - (formula == 0)})
      measure(formula, std::uint64_t{1} << log, seconds);
  return 0;
}
