// The inner loops of digit statistics for processors that have more than the baseline.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nmp::stats {

/// Digits that the loops take at a time: counters of one byte and sums of 64 bits last that long.
inline constexpr std::size_t kBlock = 4096;
/// Digits that are joined to one number.
inline constexpr std::size_t kGroup = 16;
inline constexpr std::size_t kMostLanes = 8;

// Groups come in the order in which packing leaves them: with L lanes, lane e of step s is group
// L s + (e mod 2) L / 2 + e / 2 of the block.
struct Kernels {
  std::size_t lanes;  ///< 64-bit numbers of a vector
  /// counts[v] += digits equal to v among kBlock of them, v < radix, which is 10 or 16.
  void (*count)(const std::uint8_t* digits, unsigned radix, std::uint64_t* counts);
  /// With a, b the first and last eight digits of a group and w1 2^32 + w0 its weight, w0 < 2^30
  /// and w1 < 2^31: sums[0..3][lane] = sum of a w0, a w1, b w0, b w1 over the groups of a lane.
  void (*sum_decimal)(const std::uint8_t* digits, const std::uint64_t* weights,
                      std::uint64_t (*sums)[kMostLanes]);
  /// hashes[lane] = the groups of a lane by Horner's rule, modulo 2^61 - 1 but below 2^63: a step
  /// weighs 16^(16 lanes).
  void (*hash_hex)(const std::uint8_t* digits, std::uint64_t* hashes);
  /// As in digit_text.h.
  bool (*text_to_digits)(const char* text, std::size_t count, unsigned radix, std::uint8_t* digits);
};
extern const Kernels kKernelsAvx2, kKernelsAvx512;

/// The loops of the named instruction set; null for the portable way.
const Kernels* find_kernels(const char* set);
/// Those of the set in force (arith/kernels/kernel_set.h).
const Kernels* kernels();

}  // namespace nmp::stats
