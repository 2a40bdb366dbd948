#include <new>

#include "foundation/exceptions.h"
#include "memory/aligned_buffer.h"
#include "memory/aligned_malloc.h"
#include "memory/memory_allocator.h"

namespace nmp {
namespace {

class MallocAllocator : public MemoryAllocator {
 public:
  MemoryGrant allocate(std::size_t bytes) const override {
    try {
      return {.address = aligned_malloc(bytes, kBufferAlignment),
              .bytes = bytes,
              .statement = "Large pages: left to the C library, locked: none"};
    } catch (const std::bad_alloc&) {
      throw MemoryAllocationFailedException("MallocAllocator::allocate()", "C malloc()", bytes);
    }
  }
  void release(const MemoryGrant& grant) const override { aligned_free(grant.address); }
};

}  // namespace

std::unique_ptr<MemoryAllocator> make_malloc_allocator(const AllocatorSettings&) {
  return std::make_unique<MallocAllocator>();
}

}  // namespace nmp
