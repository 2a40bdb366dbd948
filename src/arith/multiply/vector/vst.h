// The vector transform: products that are far larger than the caches, by number-theoretic
// transforms that pass over them in strips.
//
// Operands are cut into digits of 5 words, for 7 primes below 2^50, or for the longest ones into
// digits of 10 words, for 14 primes. Exact for every input: the loops are those of the hybrid NTT
// (hybrid_kernels.h), the passes are described in vector_plan.h.
#pragma once

#include <vector>

#include "arith/kernels/kernel_set.h"
#include "arith/multiply/algorithm.h"
#include "arith/multiply/hybrid/hybrid_plan.h"
#include "arith/multiply/vector/vector_plan.h"

namespace nmp {

/// Memory: one plane of 8 bytes a point for each prime and one more, so 3.2 bytes of scratch for a
/// byte of product times the rounding of the length (up to 4/3), squares a plane less; and buffers
/// that are small next to that.
class VectorTransform final : public Algorithm {
 public:
  /// `set` null: the set in force.
  explicit VectorTransform(const KernelSet* set = nullptr, vector::Limits limits = {});
  void prepare() const override;
  std::size_t scratch_bytes(std::size_t n, unsigned threads) const override;
  void multiply(Context& context, Word* c, const Word* a, std::size_t al, const Word* b,
                std::size_t bl, AlignedBufferC scratch) const override;

 private:
  /// Null where products go to the integer NTT, for want of fused multiply-add.
  const hybrid::Kernels* loops() const;
  std::size_t whole_bytes(std::uint64_t words, unsigned threads) const;
  std::size_t choose_pieces(std::size_t al, std::size_t bl, unsigned threads) const;
  void multiply_whole(Context& context, const hybrid::Kernels& loops, Word* c, const Word* a,
                      std::size_t al, const Word* b, std::size_t bl, AlignedBufferC scratch) const;
  void multiply_pieces(Context& context, const hybrid::Kernels& loops, Word* c, const Word* a,
                       std::size_t al, const Word* b, std::size_t bl, std::size_t pieces,
                       AlignedBufferC scratch) const;

  const KernelSet* const set_;
  const vector::Limits limits_;
  /// What any whole product takes of a length or a shorter one, in the order of lengths.
  std::vector<hybrid::Need> bounds_[vector::kFormatCount];
};

const Algorithm& vector_transform();

}  // namespace nmp
