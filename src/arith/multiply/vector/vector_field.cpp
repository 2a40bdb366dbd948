#include "arith/multiply/vector/vector_field.h"

namespace nmp::vector {
namespace {

using hybrid::Field;
using hybrid::kMaxPrimes;
using hybrid::kWidePrimes;

struct BuiltFields : Fields {
  explicit BuiltFields(const hybrid::Kernels& kernels) {
    const hybrid::Fields& shared = hybrid::fields(kernels);
    for (unsigned k = 0; k < kWidePrimes; ++k) {
      if (k >= kMaxPrimes) hybrid::build(more[k - kMaxPrimes], hybrid::kPrimes[k], kernels);
      field[k] = k < kMaxPrimes ? &shared.field[k] : &more[k - kMaxPrimes];
      const Field& f = *field[k];
      garner.mod[k] = f.mod;
      for (unsigned i = 0; i < kWidePrimes; ++i)
        garner.inverse[i][k] = i < k ? f.centred(f.power(field[i]->p, f.p - 2)) : 0;
    }
  }
  Field more[kWidePrimes - kMaxPrimes];
};

}  // namespace

const Fields& fields(const hybrid::Kernels& kernels) {
  if (&kernels == &hybrid::kKernelsAvx512) {
    static const BuiltFields built(hybrid::kKernelsAvx512);
    return built;
  }
  static const BuiltFields built(hybrid::kKernelsAvx2);
  return built;
}

}  // namespace nmp::vector
