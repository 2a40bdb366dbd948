// The floating-point FFT: products of a few thousand bits to some ten million.
//
// Operands are cut into balanced digits of 7 to 20 bits and convolved by complex transforms in
// doubles, with as many bits as a proven error bound lets through (fft_plan.h). Rounding gives the
// exact coefficients, so every instruction set gives the same words. Should the operands' digits
// happen to be larger than digits by chance are, a length is taken that holds for any digits.
#pragma once

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/algorithm.h"

namespace nmp {

/// Memory: two planes of 16 bytes a point, a point holding two digits of the product: 8 to 10 bytes
/// of scratch for a byte of product up to a million bits, 12 at 2^24 and 18 at 2^34.
class FloatingPointFft final : public Algorithm {
 public:
  /// `set` null: the set in force.
  explicit FloatingPointFft(const KernelSet* set = nullptr);
  void prepare() const override;
  std::size_t scratch_bytes(std::size_t n, unsigned threads) const override;
  void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override;
  Spectra* make_spectra(Context& context, const SpectrumShape& shape,
                        AlignedBufferC& memory) const override;
  SpectraNeed spectra_need(const SpectrumShape& shape, unsigned threads) const override;

 private:
  /// Null where doubles are not rounded as the proof wants: products go to the integer NTT.
  const fft::Kernels* loops() const;
  const KernelSet* const set_;
};

const Algorithm& floating_point_fft();

}  // namespace nmp
