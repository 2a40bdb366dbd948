#include "digits/digit_kernels.h"

#include <string_view>

namespace nmp {

const DigitKernels& digit_kernels(const KernelSet& set) {
  const std::string_view name = set.name;
  return name == "generic" ? kDigitKernelsGeneric : kDigitKernelsAvx2;
}

const DigitKernels& digit_kernels() {
  static const DigitKernels& chosen = digit_kernels(kernels());
  return chosen;
}

}  // namespace nmp
