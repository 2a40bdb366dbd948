// Blocks of the C heap with guards on both sides, which tell when a block was overrun.
//
// Around a block at p of `size` bytes lie, without padding:
//
//   p - 4 - 2 * w   the address that malloc() gave, w = sizeof(void*) bytes
//   p - 4 - w       `size`, w bytes
//   p - 4           kUnderrunGuard, 32 bits
//   p + size        kOverrunGuard, 32 bits, wherever that falls
#pragma once

#include <cstddef>
#include <cstdint>

namespace nmp {

inline constexpr std::uint32_t kUnderrunGuard = 0x4BD0187D;
inline constexpr std::uint32_t kOverrunGuard = 0x0559CFE4;

/// `size` bytes at a multiple of `alignment`, which is raised to 4. Throws
/// InvalidParametersException "Alignment must be a power of two." and std::bad_alloc.
void* aligned_malloc(std::size_t size, std::size_t alignment);

/// Releases a block; null is fine. Throws AlgorithmFailedException "Memory buffer has been
/// underrun." or "Memory buffer has been overrun." and keeps the block where a guard has changed.
void aligned_free(void* p);

}  // namespace nmp
