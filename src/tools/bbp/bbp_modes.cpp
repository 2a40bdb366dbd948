#include "tools/bbp/bbp_modes.h"

#include <string>

#include "foundation/exceptions.h"
#include "platform/process.h"
#include "platform/processor.h"
#include "tools/bbp/bbp_kernels.h"

namespace numforge {
namespace {

constexpr unsigned kAvx2Set = nmp::platform::kAvx2 | nmp::platform::kFma | nmp::platform::kBmi2;
constexpr BBPKernelSet kSets[] = {
    {"avx512", kAvx2Set | nmp::platform::kAvx512, &bbp::kKernelsAvx512},
    {"avx2", kAvx2Set, &bbp::kKernelsAvx2},
    {"generic", 0, nullptr},
};

[[noreturn]] void refuse(const std::string& message) {
  throw nmp::InvalidParametersException("find_bbp_kernels()", message);
}

}  // namespace

std::span<const BBPKernelSet> bbp_kernel_sets() { return kSets; }

bool can_run(const BBPKernelSet& set) {
  return (nmp::platform::processor_features() & set.needs) == set.needs;
}

const BBPKernelSet& find_bbp_kernels(std::string_view name) {
  std::string known;
  for (const BBPKernelSet& set : kSets) {
    if (name.empty() ? can_run(set) : name == set.name) {
      if (can_run(set)) return set;
      refuse("This processor does not have the instructions of \"" + std::string(name) + "\".");
    }
    known += (known.empty() ? "\"" : ", \"") + std::string(set.name) + "\"";
  }
  refuse("Unknown instruction set \"" + std::string(name) +
         "\" in NUMFORGE_ISA. Known sets: " + known + ".");
}

const BBPKernelSet& bbp_kernels() {
  static const BBPKernelSet& chosen = find_bbp_kernels(nmp::platform::environment("NUMFORGE_ISA"));
  return chosen;
}

}  // namespace numforge
