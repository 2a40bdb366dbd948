#include "arith/kernels/kernel_set.h"

#include <string>

#include "arith/multiply/hybrid/hybrid_kernels.h"
#include "arith/multiply/ntt32/ntt32_kernels.h"
#include "foundation/exceptions.h"
#include "platform/process.h"
#include "platform/processor.h"

namespace nmp {
namespace {

constexpr unsigned kAvx2Set = platform::kAvx2 | platform::kFma | platform::kBmi2;
constexpr KernelSet kSets[] = {
    {"avx512", kAvx2Set | platform::kAvx512, &hybrid::kKernelsAvx512, nullptr, &n32::kKernelsAvx2},
    {"avx2", kAvx2Set, &hybrid::kKernelsAvx2, nullptr, &n32::kKernelsAvx2},
    {"generic", 0, nullptr, nullptr, &n32::kKernelsGeneric},
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
