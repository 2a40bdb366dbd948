#include "arith/kernels/kernel_set.h"

#include <cfloat>
#include <string>

#include "arith/multiply/fft/fft_kernels.h"
#include "arith/multiply/hybrid/hybrid_kernels.h"
#include "arith/multiply/ntt32/ntt32_kernels.h"
#include "foundation/exceptions.h"
#include "platform/process.h"
#include "platform/processor.h"

namespace nmp {
namespace {

constexpr unsigned kAvx2Set = platform::kAvx2 | platform::kFma | platform::kBmi2;
// The proof of the FFT wants every double rounded once, which x87 registers do not do.
constexpr const fft::Kernels* kPlainFft = FLT_EVAL_METHOD == 0 ? &fft::kKernelsGeneric : nullptr;
constexpr KernelSet kSets[] = {
    {"avx512", kAvx2Set | platform::kAvx512, &hybrid::kKernelsAvx512, &fft::kKernelsAvx512,
     &n32::kKernelsAvx2},
    {"avx2", kAvx2Set, &hybrid::kKernelsAvx2, &fft::kKernelsAvx2, &n32::kKernelsAvx2},
    {"generic", 0, nullptr, kPlainFft, &n32::kKernelsGeneric},
};

bool can_run(const KernelSet& set) {
  return (platform::processor_features() & set.needs) == set.needs;
}

}  // namespace

std::span<const KernelSet> kernel_sets() { return kSets; }

const KernelSet& find_kernels(std::string_view name) {
  std::string known;
  for (const KernelSet& set : kSets) {
    if (name.empty() ? can_run(set) : name == set.name) {
      if (can_run(set)) return set;
      throw InvalidParametersException(
          "find_kernels()",
          "This processor does not have the instructions of \"" + std::string(name) + "\".");
    }
    known += (known.empty() ? "\"" : ", \"") + std::string(set.name) + "\"";
  }
  throw InvalidParametersException("find_kernels()",
                                   "Unknown instruction set \"" + std::string(name) +
                                       "\" in NUMFORGE_ISA. Known sets: " + known + ".");
}

const KernelSet& kernels() {
  static const KernelSet& chosen = find_kernels(platform::environment("NUMFORGE_ISA"));
  return chosen;
}

}  // namespace nmp
