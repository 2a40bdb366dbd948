// One block of memory for one job, with fences on both sides.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "memory/aligned_buffer.h"
#include "memory/memory_allocator.h"

namespace nmp {

class MemoryBlock {
 public:
  /// Bytes that the fences take beside the block.
  static constexpr std::size_t kFenceBytes = 4096 + kBufferAlignment;

  /// Throws MemoryAllocationFailedException when the allocator cannot give that much.
  MemoryBlock(std::unique_ptr<MemoryAllocator> allocator, std::size_t bytes);
  /// Releases the memory without a look at the fences: something else has failed.
  ~MemoryBlock();
  MemoryBlock(const MemoryBlock&) = delete;
  MemoryBlock& operator=(const MemoryBlock&) = delete;

  /// A carver over the whole block.
  AlignedBufferC buffer() const { return AlignedBufferC(block_, bytes_); }
  /// What the system granted, in one line.
  const std::string& statement() const { return grant_.statement; }

  /// Gives the memory back. Throws AlgorithmFailedException "Memory buffer has been underrun." or
  /// "... overrun." where someone wrote past an end of it.
  void release();

 private:
  void free_memory();

  std::unique_ptr<MemoryAllocator> allocator_;
  MemoryGrant grant_;
  std::size_t bytes_;
  std::byte* block_;
};

}  // namespace nmp
