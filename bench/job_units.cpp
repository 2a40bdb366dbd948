// How long and how much memory do n digits take, measured in products of two n-digit numbers?
//
//   job_units PROGRAM [DIGITS...] [-- JOB OPTIONS]
//   job_units PROGRAM constants DIGITS [-- JOB OPTIONS]
//
// The second form computes every constant by every algorithm, one run each, and states their cost
// in radix conversions (with their check) of the same length too.
//
// U(n) is the time of one mpn_mul_n of GMP for two numbers of n decimal digits, on one thread. A
// machine's speed divides out of (time of Pi) / U(n), nearly: both are measured in turn in one run,
// and the fastest of each counts. Digits may carry K, M or B.
#include <gmp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

struct Run {
  double wall = 0;     ///< seconds
  double cpu = 0;      ///< seconds, user and system
  double peak = 0;     ///< MiB
  std::string output;  ///< what it printed
};

/// Runs `body` in a process of its own whose standard output is the result's. This process stays
/// small that way: the peak of a child counts the pages of its parent at the fork.
template <typename Body>
Run in_child(Body body) {
  int ends[2];
  if (pipe(ends) != 0) std::exit((std::perror("pipe"), 2));
  std::fflush(stdout);
  Run run;
  const double start = now();
  const pid_t child = fork();
  if (child < 0) std::exit((std::perror("fork"), 2));
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    body();
    std::fflush(stdout);
    _exit(0);
  }
  close(ends[1]);
  char buffer[4096];
  for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;) {
    run.output.append(buffer, static_cast<std::size_t>(n));
  }
  close(ends[0]);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  run.wall = now() - start;
  const auto seconds = [](timeval t) {
    return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
  };
  run.cpu = seconds(usage.ru_utime) + seconds(usage.ru_stime);
  run.peak = static_cast<double>(usage.ru_maxrss) / 1024;
  if (status != 0) {
    std::printf("%s\nThe program failed, status %d.\n", run.output.c_str(), status);
    std::exit(1);
  }
  return run;
}

/// Seconds of the fastest of several products of two numbers of `digits` decimal digits.
double product_seconds(std::uint64_t digits) {
  const Run run = in_child([digits] {
    const double bits = static_cast<double>(digits) * std::log2(10.0);
    const auto limbs = static_cast<mp_size_t>(bits / GMP_NUMB_BITS) + 1;
    std::mt19937_64 random(7);
    std::vector<mp_limb_t> a(limbs), b(limbs), c(2 * limbs);
    for (auto& limb : a) limb = static_cast<mp_limb_t>(random());
    for (auto& limb : b) limb = static_cast<mp_limb_t>(random());
    double best = std::numeric_limits<double>::infinity();
    const double start = now();
    for (int i = 0; i < 3 || (i < 1000 && now() - start < 0.5); ++i) {
      const double before = now();
      mpn_mul_n(c.data(), a.data(), b.data(), limbs);
      best = std::min(best, now() - before);
    }
    std::printf("%.9g", best);
  });
  return std::atof(run.output.c_str());
}

Run compute(const std::string& program, const std::string& constant, std::uint64_t digits,
            const std::vector<std::string>& options) {
  return in_child([&] {
    std::vector<std::string> words = {program,  "pause:-2", "colors:0", "priority:0",
                                      "custom", constant,   "-od:0"};
    words.push_back("-dec:" + std::to_string(digits));
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char*> arguments;
    for (auto& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (!std::freopen("/dev/null", "r", stdin)) _exit(2);
    execv(program.c_str(), arguments.data());
    std::perror(program.c_str());
    _exit(2);
  });
}

/// The stages of the program's report, in order: "Division:      0.123 seconds", or for long ones
/// "Series:   2 minutes  3.500 seconds  ( 123.500 seconds )".
std::vector<std::pair<std::string, double>> stages(const std::string& report) {
  static const std::regex line(R"(^([^\s:][^:]*):\s{4,}(?:.*\s)?([0-9,]+\.[0-9]+) seconds[\s)]*$)");
  std::vector<std::pair<std::string, double>> found;
  // The run's own lines come before.
  std::istringstream lines(
      report.substr(std::min(report.rfind("Peak Memory Used:"), report.size())));
  for (std::string text; std::getline(lines, text);) {
    std::smatch match;
    if (!std::regex_match(text, match, line)) continue;
    std::string seconds = match[2];
    std::erase(seconds, ',');
    found.emplace_back(match[1], std::stod(seconds));
  }
  return found;
}

void measure(const std::string& program, std::uint64_t digits,
             const std::vector<std::string>& options) {
  Run best;
  best.wall = std::numeric_limits<double>::infinity();
  double unit = best.wall, worst = 0;
  const double start = now();
  int runs = 0;
  for (; runs < 2 || (runs < 9 && now() - start < 5); ++runs) {
    unit = std::min(unit, product_seconds(digits));
    const Run run = compute(program, "pi", digits, options);
    worst = std::max(worst, run.wall);
    if (run.wall < best.wall) best = run;
  }
  std::string shown;
  for (const auto& option : options) shown += " " + option;
  std::printf("\npi, %llu digits%s\n", static_cast<unsigned long long>(digits), shown.c_str());
  std::printf("  U       %10.6f s   one %llu-digit product, GMP %s\n", unit,
              static_cast<unsigned long long>(digits), gmp_version);
  std::printf("  wall    %10.3f s   %7.1f U   (slowest of %d: %.3f s)\n", best.wall,
              best.wall / unit, runs, worst);
  std::printf("  cpu     %10.3f s   %7.1f U\n", best.cpu, best.cpu / unit);
  std::printf("  memory  %10.1f MiB %7.1f bytes per digit\n", best.peak,
              best.peak * 1048576 / static_cast<double>(digits));
  for (const auto& [name, seconds] : stages(best.output)) {
    std::printf("    %-44s %9.3f s %7.1f U\n", name.c_str(), seconds, seconds / unit);
  }
}

struct Algorithm {
  const char* constant;
  const char* key;
  double figure;  ///< the catalogue's difficulty; 0: it has none
};
constexpr Algorithm kAlgorithms[] = {
    {"sqrt:2", "newton", 1.46},
    {"goldenratio", "newton", 1.46},
    {"e", "exp(1)", 3.88},
    {"e", "exp(-1)", 3.88},
    {"pi", "chudnovsky", 13.2},
    {"pi", "ramanujan", 19.9},
    {"log:2", "machin-primary", 35.7},
    {"log:2", "machin-secondary", 0},
    {"log:3", "machin-primary", 0},
    {"log:4294967291", "machin-primary", 0},
    {"zeta3", "wedeniwski", 62.8},
    {"zeta3", "az", 65.7},
    {"catalan", "pilehrood-short", 78.0},
    {"catalan", "guillera2019", 105},
    {"catalan", "pilehrood-long", 0},
    {"catalan", "guillera2008", 0},
    {"catalan", "lupas", 0},
    {"catalan", "huvent", 0},
    {"lemniscate", "agm-pi", 60.4},
    {"lemniscate", "gauss", 124},
    {"lemniscate", "sebah", 154},
    {"gamma", "brent-refined", 383},
    {"gamma", "brent-original", 574},
};

/// A row of the table of constants: computing alone, without conversion and output.
void measure(const Algorithm& algorithm, const std::string& program, std::uint64_t digits,
             std::vector<std::string> options) {
  const double unit = product_seconds(digits);
  options.push_back(std::string("-algorithm:") + algorithm.key);
  const Run run = compute(program, algorithm.constant, digits, options);
  double computing = 0, conversion = 0;
  for (const auto& [name, seconds] : stages(run.output)) {
    if (name == "Radix Conversion" || name == "Conversion Check") {
      conversion += seconds;
    } else if (name != "Output" && name != "Output Check" && name != "Total") {
      computing += seconds;
    }
  }
  char figure[16] = "";
  if (algorithm.figure != 0) std::snprintf(figure, sizeof figure, "%.4g", algorithm.figure);
  std::printf("| %s | %s | %.2f s | %.1f | %s | %.1f | %.0f MiB |\n", algorithm.constant,
              algorithm.key, computing, computing / conversion, figure, computing / unit, run.peak);
  std::fflush(stdout);
}

void measure_constants(const std::string& program, std::uint64_t digits,
                       const std::vector<std::string>& options) {
  std::printf("\n%llu digits\n\n", static_cast<unsigned long long>(digits));
  std::printf("| constant | algorithm | time | in conversions | figure | in U | peak memory |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (const Algorithm& algorithm : kAlgorithms) measure(algorithm, program, digits, options);
}

std::uint64_t number(const char* text) {
  char* end = nullptr;
  const std::uint64_t value = std::strtoull(text, &end, 10);
  switch (*end | 0x20) {
    case 'k':
      return value * 1000;
    case 'm':
      return value * 1000000;
    case 'b':
      return value * 1000000000;
  }
  return value;
}

void print_machine() {
  std::ifstream file("/proc/cpuinfo");
  std::string line, name = "unknown processor";
  while (std::getline(file, line)) {
    if (line.rfind("model name", 0) == 0) {
      name = line.substr(line.find(':') + 2);
      break;
    }
  }
  const char* isa = std::getenv("NUMFORGE_ISA");
  std::printf("machine   %s, %ld logical processors\ncompiler  %s\nisa       %s\n", name.c_str(),
              sysconf(_SC_NPROCESSORS_ONLN), __VERSION__, isa ? isa : "the best there is");
#ifndef NDEBUG
  std::printf("*** Assertions are on: these figures say nothing about a release. ***\n");
#endif
}

}  // namespace

int main(int count, char** words) {
  if (count < 2) {
    std::fprintf(stderr, "Usage: job_units PROGRAM [constants] [DIGITS...] [-- JOB OPTIONS]\n");
    return 2;
  }
  std::vector<std::uint64_t> sizes;
  std::vector<std::string> options;
  const bool constants = count > 2 && std::string(words[2]) == "constants";
  int i = constants ? 3 : 2;
  for (; i < count && std::string(words[i]) != "--"; ++i) sizes.push_back(number(words[i]));
  for (++i; i < count; ++i) options.push_back(words[i]);
  if (sizes.empty()) sizes = {1000000, 10000000};
  print_machine();
  if (options.empty()) options = {"-PF:none"};  // one thread, as the unit has
  for (const std::uint64_t digits : sizes)
    constants ? measure_constants(words[1], digits, options) : measure(words[1], digits, options);
}
