#include "digits/digit_kernels.h"

#include <string_view>

namespace nmp {

const DigitKernels& digit_kernels(const KernelSet& set) {
  static const DigitKernels avx512 = [] {
    DigitKernels loops = kDigitKernelsAvx2;
    loops.unpack_decimal = kDigitKernelsAvx512.unpack_decimal;
    return loops;
  }();
  const std::string_view name = set.name;
  if (name == "avx512") return avx512;
  return name == "avx2" ? kDigitKernelsAvx2 : kDigitKernelsGeneric;
}

const DigitKernels& digit_kernels() {
  static const DigitKernels& chosen = digit_kernels(kernels());
  return chosen;
}

}  // namespace nmp
