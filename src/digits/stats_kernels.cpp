#include "digits/stats_kernels.h"

#include <string_view>

#include "arith/kernels/kernel_set.h"

namespace nmp::stats {

const Kernels* find_kernels(const char* set) {
  const std::string_view name = set;
  if (name == "avx512") return &kKernelsAvx512;
  if (name == "avx2") return &kKernelsAvx2;
  return nullptr;
}

const Kernels* kernels() {
  static const Kernels* const chosen = find_kernels(nmp::kernels().name);
  return chosen;
}

}  // namespace nmp::stats
