#include "memory/memory_block.h"

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "foundation/exceptions.h"
#include "memory/aligned_malloc.h"

namespace nmp {
namespace {

constexpr std::size_t kFenceWords = kBufferAlignment / sizeof(std::uint32_t);

/// The line of memory before or after a block.
std::span<std::uint32_t, kFenceWords> fence_at(std::byte* at) {
  return std::span<std::uint32_t, kFenceWords>(reinterpret_cast<std::uint32_t*>(at), kFenceWords);
}

bool stands(std::byte* at, std::uint32_t guard) {
  return std::ranges::all_of(fence_at(at), [=](std::uint32_t word) { return word == guard; });
}

std::size_t with_fences(std::size_t bytes) {
  if (bytes > std::numeric_limits<std::size_t>::max() - MemoryBlock::kFenceBytes - kBufferAlignment)
    throw MemoryAllocationFailedException("MemoryBlock::MemoryBlock()", "Block", bytes);
  return aligned_bytes(bytes) + MemoryBlock::kFenceBytes;
}

}  // namespace

MemoryBlock::MemoryBlock(std::unique_ptr<MemoryAllocator> allocator, std::size_t bytes)
    : allocator_(std::move(allocator)),
      grant_(allocator_->allocate(with_fences(bytes))),
      bytes_(aligned_bytes(bytes)),
      // A page before it, of which the fence takes the end, keeps the block at the start of a page.
      block_(static_cast<std::byte*>(grant_.address) + kFenceBytes - kBufferAlignment) {
  std::ranges::fill(fence_at(block_ - kBufferAlignment), kUnderrunGuard);
  std::ranges::fill(fence_at(block_ + bytes_), kOverrunGuard);
}

MemoryBlock::~MemoryBlock() {
  try {
    free_memory();
  } catch (const Exception&) {
    // A damaged heap; the failure that is on its way tells more.
  }
}

void MemoryBlock::free_memory() {
  if (grant_.address == nullptr) return;
  const MemoryGrant grant = std::exchange(grant_, {});
  allocator_->release(grant);
}

void MemoryBlock::release() {
  constexpr const char* kHere = "MemoryBlock::release()";
  if (grant_.address == nullptr) return;
  const bool underrun = !stands(block_ - kBufferAlignment, kUnderrunGuard);
  const bool overrun = !stands(block_ + bytes_, kOverrunGuard);
  free_memory();
  if (underrun) throw AlgorithmFailedException(kHere, "Memory buffer has been underrun.");
  if (overrun) throw AlgorithmFailedException(kHere, "Memory buffer has been overrun.");
}

}  // namespace nmp
