// The registered algorithm "N32": an exact transform in 32-bit integers.
//
// The words themselves are the digits. Products are formed modulo three primes below 2^31 and put
// together by the Chinese remainder theorem. A second opinion that shares nothing with the other
// transforms, and needs neither 64-bit products nor floating point.
#pragma once

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/algorithm.h"

namespace nmp {

/// Memory: four planes of 4 bytes for each word of the product, times the rounding of the length to
/// 2^k or 3 * 2^k; six planes where a long operand is cut into pieces.
class Ntt32 final : public Algorithm {
 public:
  /// `set` null: the set in force.
  explicit Ntt32(const KernelSet* set = nullptr);
  void prepare() const override;
  std::size_t scratch_bytes(std::size_t n, unsigned threads) const override;
  void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override;

 private:
  const KernelSet* const set_;
};

const Algorithm& ntt32();

}  // namespace nmp
