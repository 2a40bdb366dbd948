// The hybrid NTT: number-theoretic transforms whose arithmetic is done by floating-point units.
//
// A product is made modulo three to five primes below 2^50 from digits of 64 to 112 bits and put
// together by the Chinese remainder theorem. Exact for every input: see hybrid_kernels.h for the
// bounds and hybrid_format.h for the digits and their capacity.
#pragma once

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/algorithm.h"

namespace nmp {

/// Memory: primes + 1 planes of 8 bytes a point: about 4 bytes of scratch for a byte of product
/// (3.4 to 4, by format) times the rounding of the length; short products take up to 10 for the
/// buffers of their columns.
class HybridNtt final : public Algorithm {
 public:
  /// `set` null: the set in force.
  explicit HybridNtt(const KernelSet* set = nullptr);
  void prepare() const override;
  std::size_t scratch_bytes(std::size_t n, unsigned threads) const override;
  void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override;
  Spectra* make_spectra(Context& context, const SpectrumShape& shape,
                        AlignedBufferC& memory) const override;
  SpectraNeed spectra_need(const SpectrumShape& shape, unsigned threads) const override;

 private:
  /// Null where products go to the integer NTT, for want of fused multiply-add.
  const hybrid::Kernels* loops() const;
  const KernelSet* const set_;
};

const Algorithm& hybrid_ntt();

}  // namespace nmp
