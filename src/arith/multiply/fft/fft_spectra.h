// Products in transform space by the floating-point FFT: see arith/multiply/spectrum.h. Plans are
// negacyclic.
#pragma once

#include <cstddef>

#include "arith/context.h"
#include "arith/multiply/fft/fft_kernels.h"
#include "arith/multiply/spectrum.h"

namespace nmp::fft {

/// Null where no transform is long enough.
Spectra* make_spectra(Context& context, const Kernels& kernels, const SpectrumShape& shape,
                      AlignedBufferC& memory);
SpectraNeed spectra_need(const SpectrumShape& shape, unsigned threads);

}  // namespace nmp::fft
