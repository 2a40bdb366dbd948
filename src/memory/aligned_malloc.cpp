#include "memory/aligned_malloc.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "foundation/exceptions.h"

namespace nmp {
namespace {

struct Header {
  void* raw;
  std::size_t size;
};
constexpr std::size_t kGuardBytes = sizeof(std::uint32_t);
constexpr std::size_t kHeaderBytes = sizeof(Header) + kGuardBytes;

// Nothing around a block is aligned, its end least of all.
std::uint32_t guard_at(const std::byte* at) {
  std::uint32_t guard;
  std::memcpy(&guard, at, kGuardBytes);
  return guard;
}
void put_guard(std::byte* at, std::uint32_t guard) { std::memcpy(at, &guard, kGuardBytes); }

}  // namespace

void* aligned_malloc(std::size_t size, std::size_t alignment) {
  alignment = std::max<std::size_t>(alignment, 4);
  if (!std::has_single_bit(alignment))
    throw InvalidParametersException("aligned_malloc()", "Alignment must be a power of two.");
  constexpr std::size_t kMost =
      std::numeric_limits<std::size_t>::max() - kHeaderBytes - kGuardBytes;
  if (alignment > kMost || size > kMost - alignment) throw std::bad_alloc();
  void* const raw = std::malloc(size + alignment + kHeaderBytes + kGuardBytes);
  if (raw == nullptr) throw std::bad_alloc();

  const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(raw);
  const std::uintptr_t aligned = ((start + kHeaderBytes) & ~(alignment - 1)) + alignment;
  std::byte* const p = static_cast<std::byte*>(raw) + (aligned - start);
  const Header header{raw, size};
  std::memcpy(p - kHeaderBytes, &header, sizeof header);
  put_guard(p - kGuardBytes, kUnderrunGuard);
  put_guard(p + size, kOverrunGuard);
  return p;
}

void aligned_free(void* block) {
  constexpr const char* kHere = "aligned_free()";
  if (block == nullptr) return;
  const auto* p = static_cast<const std::byte*>(block);
  if (guard_at(p - kGuardBytes) != kUnderrunGuard)
    throw AlgorithmFailedException(kHere, "Memory buffer has been underrun.");
  Header header;
  std::memcpy(&header, p - kHeaderBytes, sizeof header);
  if (guard_at(p + header.size) != kOverrunGuard)
    throw AlgorithmFailedException(kHere, "Memory buffer has been overrun.");
  std::free(header.raw);
}

}  // namespace nmp
