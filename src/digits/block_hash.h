// The residue modulo 2^61 - 1 of digits that come in whole blocks, by the vector loops.
#pragma once

#include <cstddef>
#include <cstdint>

#include "digits/stats_kernels.h"

namespace nmp::stats {

class BlockHash {
 public:
  /// `radix` is 10 or 16; `kernels` must outlive this.
  BlockHash(const Kernels& kernels, unsigned radix);

  /// Appends digits[0, kBlock), each below the radix, on the right of what hashes to `hash`.
  std::uint64_t append(std::uint64_t hash, const std::uint8_t* digits) const;

 private:
  static constexpr std::size_t kGroups = kBlock / kGroup;

  std::uint64_t decimal(const std::uint8_t* digits) const;
  std::uint64_t hex(const std::uint8_t* digits) const;

  const Kernels& kernels_;
  const bool decimal_;
  const std::uint64_t block_weight_;
  std::uint64_t weights_[kGroups];  ///< as sum_decimal wants them
};

}  // namespace nmp::stats
