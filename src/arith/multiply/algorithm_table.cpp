#include "arith/multiply/algorithm_table.h"

#include <algorithm>
#include <optional>

#include "arith/multiply/basecase/basecase.h"
#include "arith/multiply/fft/fft.h"
#include "arith/multiply/hybrid/hybrid_ntt.h"
#include "arith/multiply/ntt32/ntt32.h"
#include "arith/multiply/ntt64/ntt64.h"
#include "arith/multiply/vector/vst.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

RegisteredAlgorithm record_of(const Algorithm& algorithm) {
  return {algorithm.id,          algorithm.name,     algorithm.tag,
          algorithm.description, algorithm.max_size, &algorithm};
}

const RegisteredAlgorithm* find_registered(std::string_view id) {
  for (const RegisteredAlgorithm& record : algorithm_registry())
    if (id == record.id) return &record;
  return nullptr;
}

}  // namespace

std::span<const RegisteredAlgorithm> algorithm_registry() {
  static const RegisteredAlgorithm registry[] = {
      record_of(basecase_karatsuba()),
      record_of(ntt32()),
      record_of(ntt64()),
      record_of(floating_point_fft()),
      record_of(vector_transform()),
      record_of(hybrid_ntt()),
  };
  return registry;
}

void AlgorithmTable::add(std::uint64_t threshold, const Algorithm* algorithm) {
  constexpr const char* kFunction = "AlgorithmTable::add()";
  if (!algorithm) return;
  if (!entries_.empty() && entries_.back().threshold >= threshold)
    throw StringException(kFunction, "Thresholds must be increasing.");
  if (threshold > algorithm->max_size / kUnit)
    throw StringException(kFunction, "Thresholds is larger than maximum size.");
  entries_.push_back({threshold, algorithm});
}

const Algorithm& AlgorithmTable::get_algorithm(std::uint64_t n) const {
  for (const Entry& entry : entries_)
    if (entry.threshold >= n) return *entry.algorithm;
  std::optional<std::uint64_t> limit;
  if (!entries_.empty()) limit = entries_.back().threshold;
  throw LimitExceededException("AlgorithmTable::get_algorithm()",
                               "No multiplication algorithm takes a product of this many words.", n,
                               limit);
}

const Algorithm& AlgorithmTable::get_algorithm(std::uint64_t n, unsigned threads,
                                               std::size_t scratch) const {
  const auto words = static_cast<std::size_t>(n);
  for (const Entry& entry : entries_) {
    if (entry.threshold >= n && entry.algorithm->scratch_bytes(words, threads) <= scratch)
      return *entry.algorithm;
  }
  return get_algorithm(n);
}

void AlgorithmTable::load(std::span<const TuningEntry> list) {
  for (const TuningEntry& entry : list) {
    const RegisteredAlgorithm* record = find_registered(entry.id);
    if (!record) {
      console::print_line(std::string("Skipping unknown algorithm: ") + entry.id);
    } else if (!record->instance) {
      console::print_line("Warning: " + name_ + " does not support: \"" + entry.id + '"');
    } else {
      add(entry.threshold >> 5, record->instance);
    }
  }
}

void AlgorithmTable::prepare(std::uint64_t n) const {
  for (const Entry& entry : entries_) {
    entry.algorithm->prepare();
    if (entry.threshold >= n) break;
  }
}

std::size_t AlgorithmTable::scratch_bytes(std::uint64_t n, unsigned threads) const {
  return get_algorithm(n).scratch_bytes(static_cast<std::size_t>(n), threads);
}

}  // namespace nmp
