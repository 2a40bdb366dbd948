// Products in the transform space of the hybrid NTT: see spectrum.h for what they promise.
//
// The plan wraps around cyclically. A spectrum holds one plane for each prime; `forward` transforms
// columns only, and the rows are transformed by the first product that needs them, while they are
// in the cache: one product that is used once costs what a plain product does.
#pragma once

#include <cstddef>

#include "arith/context.h"
#include "arith/multiply/hybrid/hybrid_kernels.h"
#include "arith/multiply/spectrum.h"

namespace nmp::hybrid {

/// Null where no transform is long enough: nothing is taken then.
Spectra* make_spectra(Context& context, const Kernels& kernels, const SpectrumShape& shape,
                      AlignedBufferC& memory);
SpectraNeed spectra_need(const SpectrumShape& shape, unsigned threads);

}  // namespace nmp::hybrid
