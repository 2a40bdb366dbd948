// The inner loops over digits, as a table that each instruction set fills in.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/kernels/kernel_set.h"

namespace nmp {

/// Digits are bytes that hold values; words are as digit_words.h says, `words` of them. The packing
/// loops return whether every digit was below the radix, the unpacking one whether every word was
/// one of 19 digits.
struct DigitKernels {
  /// Bytes that one call of `count` may take: counters of 8 bits stay below 256.
  static constexpr std::size_t kMostCounted = 255 * 16;

  bool (*pack_decimal)(const std::uint8_t* digits, std::size_t words, std::uint64_t* packed);
  bool (*pack_hex)(const std::uint8_t* digits, std::size_t words, std::uint64_t* packed);
  bool (*unpack_decimal)(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits);
  void (*unpack_hex)(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits);
  /// counts[v] += digits equal to v, for v < radix and `size` <= kMostCounted digits.
  void (*count)(const std::uint8_t* digits, std::size_t size, unsigned radix,
                std::uint64_t* counts);
};

extern const DigitKernels kDigitKernelsGeneric;
extern const DigitKernels kDigitKernelsAvx2;

/// Those for the same instructions as a set of arithmetic loops.
const DigitKernels& digit_kernels(const KernelSet& set);
/// Those of the set in force. Throws as nmp::kernels() does.
const DigitKernels& digit_kernels();

}  // namespace nmp
