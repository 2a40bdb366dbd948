// The three ways to sum terms, which differ in the divisors that they can take.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tools/bbp/bbp_formula.h"

namespace numforge {

namespace bbp {
struct Kernels;
}

enum class BBPMode : unsigned { A, B, C };
inline constexpr unsigned kBBPModes = 3;

struct BBPModeInfo {
  const char* name;
  const char* limit_text;
  const char* speed;
  std::uint64_t limit;  ///< largest divisor
};
inline constexpr BBPModeInfo kBBPModeInfo[kBBPModes] = {
    {"Mode A", "2^49 - 1", "Fastest", (std::uint64_t{1} << 49) - 1},
    {"Mode B", "2^51 - 1", "30% slower", (std::uint64_t{1} << 51) - 1},
    {"Mode C", "2^61 - 1", "2.5x slower", (std::uint64_t{1} << 61) - 1},
};

/// A set of modes, one bit for each.
using BBPModeSet = unsigned;
constexpr BBPModeSet mode_bit(BBPMode mode) { return 1u << static_cast<unsigned>(mode); }
inline constexpr BBPModeSet kAllBBPModes = (1u << kBBPModes) - 1;

/// The loops of modes A and B for one set of processor instructions; without a table neither mode
/// is available.
struct BBPKernelSet {
  const char* name;  ///< what NUMFORGE_ISA accepts
  unsigned needs;    ///< platform::Feature bits
  const bbp::Kernels* kernels;

  BBPModeSet modes() const { return kernels != nullptr ? kAllBBPModes : mode_bit(BBPMode::C); }
};

/// All sets, best first; the last one runs anywhere.
std::span<const BBPKernelSet> bbp_kernel_sets();
bool can_run(const BBPKernelSet& set);
/// The set of that name, or for an empty name the best one for this processor. Throws
/// InvalidParametersException for a name that is unknown or that this processor cannot run.
const BBPKernelSet& find_bbp_kernels(std::string_view name);
/// The set that the environment variable NUMFORGE_ISA names, else the best one.
const BBPKernelSet& bbp_kernels();

}  // namespace numforge
