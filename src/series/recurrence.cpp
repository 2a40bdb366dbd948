#include "series/recurrence.h"

#include <algorithm>
#include <array>

#include "arith/hash61.h"
#include "foundation/progress.h"
#include "parallel/context.h"

namespace nmp::BinarySplitting {
namespace {

constexpr std::uint64_t kTermsPerPoll = 1 << 20;
/// Terms that are worth a task, and the most ranges to cut into.
constexpr std::uint64_t kTermsPerTask = 1 << 13;
constexpr std::size_t kMostTasks = 256;

Residues merged(const Residues& left, const Residues& right) {
  using namespace hash61;
  return {add(multiply(left.P, right.Q), multiply(left.R, right.P)), multiply(left.Q, right.Q),
          multiply(left.R, right.R)};
}

Residues term_by_term(const Series& series, std::uint64_t a, std::uint64_t b) {
  Residues sum;
  for (std::uint64_t k = a + 1; k <= b; ++k) {
    if (k % kTermsPerPoll == 0) throw_if_interrupted();
    sum = merged(sum, series.residues(k));
  }
  return sum;
}

}  // namespace

Residues range_residues(Context& context, const Series& series, std::uint64_t a, std::uint64_t b) {
  const auto tasks =
      static_cast<std::size_t>(std::clamp<std::uint64_t>((b - a) / kTermsPerTask, 1, kMostTasks));
  const std::uint64_t step = (b - a) / tasks + 1;
  std::array<Residues, kMostTasks> parts;
  context.threads.parallel_for(0, tasks, 1, [&](std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i) {
      const std::uint64_t from = std::min(b, a + step * i);
      parts[i] = term_by_term(series, from, std::min(b, from + step));
    }
  });
  Residues sum = parts[0];
  for (std::size_t i = 1; i < tasks; ++i) sum = merged(sum, parts[i]);
  return sum;
}

}  // namespace nmp::BinarySplitting
