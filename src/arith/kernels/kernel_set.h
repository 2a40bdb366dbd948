// Which inner loops this process uses: one family for each set of processor instructions.
#pragma once

#include <span>
#include <string_view>

namespace nmp {

namespace fft {
struct Kernels;
}
namespace hybrid {
struct Kernels;
}
namespace n32 {
struct Kernels;
}

/// Inner loops that are all compiled for the same instructions. A null table means that the set has
/// none of its own and the operation takes its portable way. Every set gives the same words.
struct KernelSet {
  const char* name;               ///< what NUMFORGE_ISA accepts: "generic", "avx2", "avx512"
  unsigned needs;                 ///< platform::Feature bits, every one of them required
  const hybrid::Kernels* hybrid;  ///< loops of the hybrid NTT
  const fft::Kernels* fft;        ///< loops of the floating-point FFT
  const n32::Kernels* ntt32;      ///< loops of the 32-bit NTT; never null
};

/// All sets, best first; the last one runs anywhere.
std::span<const KernelSet> kernel_sets();

/// The set of that name, or for an empty name the best one for this processor. Throws
/// InvalidParametersException for a name that is unknown or that this processor cannot run.
const KernelSet& find_kernels(std::string_view name);

/// The set in force: the one that the environment variable NUMFORGE_ISA names, else the best one.
/// Chosen at the first call; throws as `find_kernels` does.
const KernelSet& kernels();

}  // namespace nmp
