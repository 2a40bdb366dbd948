// The primes of the vector transform: those of the hybrid NTT and more of the same kind.
#pragma once

#include "arith/multiply/hybrid/hybrid_field.h"

namespace nmp::vector {

struct Fields {
  const hybrid::Field* field[hybrid::kWidePrimes];
  hybrid::WideGarner garner;
};

/// Built by the first caller with each set of kernels.
const Fields& fields(const hybrid::Kernels& kernels);

}  // namespace nmp::vector
