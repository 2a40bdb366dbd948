// The powers that the radix conversion multiplies by, and the check that they are right.
//
// Powers of ten are kept as powers of five: the twos are shifts, and leaving them out makes each
// power 30 % shorter.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/context.h"
#include "arith/word.h"
#include "digits/radix_split.h"
#include "memory/aligned_buffer.h"

namespace nmp::CBRv2 {

/// The residue of radix^exponent modulo 2^61 - 1 by modular exponentiation, for comparison.
/// AlgorithmFailedException "Radix is less than 2." for such a radix.
std::uint64_t CheckP(std::uint64_t radix, std::uint64_t exponent);

/// Throws AlgorithmFailedException "Power Hash Mismatch", and shows both residues on the console,
/// unless words[0, length) has the residue of radix^exponent.
void CheckS(Context& context, std::uint64_t radix, std::uint64_t exponent, const Word* words,
            std::size_t length);

/// Words of room that `power_of_5` needs at its target: what squaring writes before it is trimmed.
std::size_t power_of_5_room(std::uint64_t exponent);
/// Bytes of scratch for `power_of_5`.
std::size_t power_of_5_scratch(const Context& context, std::uint64_t exponent);
/// target = 5^exponent, not yet checked; returns its length. `target` holds
/// power_of_5_room(exponent).
std::size_t power_of_5(Context& context, std::uint64_t exponent, Word* target,
                       AlignedBufferC scratch);

/// A power of five as the nodes of one level use it.
struct Power {
  const Word* words = nullptr;
  std::size_t length = 0;
  std::uint64_t exponent = 0;
};

/// One power per level of the tree, each the square of the one below it. Owns no memory. Transforms
/// of the powers are made where they are used (radix_product.h).
class PowerTable {
 public:
  static constexpr unsigned kMaxLevels = 40;

  /// Bytes that the table of this tree takes from `storage`, and scratch while it is built.
  static std::size_t storage_bytes(const Split& split);
  static std::size_t scratch_bytes(const Context& context, const Split& split);

  /// Carves the powers off the front of `storage`, which the caller keeps, builds and checks them.
  PowerTable(Context& context, const Split& split, AlignedBufferC& storage, AlignedBufferC scratch);

  /// The power for a node of `level` (1 and up) of a tree. AlgorithmFailedException "Mismatching
  /// exponents." when this table was built for another one.
  const Power& for_level(const Split& split, unsigned level) const;

 private:
  void nmp_CBRv2_ci_btrf_build_table(Context& context, const Split& split, AlignedBufferC& storage,
                                     AlignedBufferC scratch);

  Power powers_[kMaxLevels];
};

}  // namespace nmp::CBRv2
