// Where the memory of a job comes from.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "platform/numa.h"

namespace nmp {

/// What the user asked of an allocator. Each kind knows some of it.
struct AllocatorSettings {
  bool large_pages = false;   ///< pages that the system sets aside for those who ask
  bool locked_pages = false;  ///< never to be swapped out
  bool numa_bind = true;      ///< threads on the nodes touch their pages first, and look
};

/// Memory as the system gave it.
struct MemoryGrant {
  void* address = nullptr;
  std::size_t bytes = 0;         ///< at least what was asked for
  std::string statement;         ///< one line: "Large pages: none, locked: 1.5 GiB of 2.0 GiB"
  platform::SpreadPages spread;  ///< for memory on several nodes
};

class MemoryAllocator {
 public:
  virtual ~MemoryAllocator() = default;
  /// `bytes`, not initialised, at a multiple of kBufferAlignment. Throws
  /// MemoryAllocationFailedException.
  virtual MemoryGrant allocate(std::size_t bytes) const = 0;
  /// Gives the memory back to where it came from. Throws where the allocator's own guards are gone.
  virtual void release(const MemoryGrant& grant) const = 0;
};

/// "malloc": the C heap, through aligned_malloc().
std::unique_ptr<MemoryAllocator> make_malloc_allocator(const AllocatorSettings& settings);
/// "mmap": pages from the system.
std::unique_ptr<MemoryAllocator> make_page_allocator(const AllocatorSettings& settings);
/// "interleave": pages that lie on all memory nodes by turns.
std::unique_ptr<MemoryAllocator> make_interleave_allocator(const AllocatorSettings& settings);

}  // namespace nmp
