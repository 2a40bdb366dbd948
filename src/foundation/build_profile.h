// Everything in which the programs built from this tree differ.
//
// Each program links one source that defines its profile; main() passes it down. No other code asks
// which program it is in.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace nmp {

/// Use the algorithm `id` for products of up to `threshold` bits.
struct TuningLine {
  const char* id;
  std::uint64_t threshold;
};

struct BuildProfile {
  const char* tag;                ///< "00-x86"
  const char* label;              ///< "Legacy x86"
  std::uint64_t ram_only_limit;   ///< bytes that a job without disks may use
  std::uint64_t swap_memory_cap;  ///< bytes that a Swap Mode job may be given
  std::span<const TuningLine> tuning;
};

/// "0.1.0".
const char* program_version();
/// "numforge 0.1.0  (Legacy x86, 00-x86)".
std::string program_title(const BuildProfile& profile);

}  // namespace nmp
