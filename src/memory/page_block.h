// One block of memory for one job, straight from the system.
#pragma once

#include <cstddef>

#include "memory/aligned_buffer.h"

namespace nmp {

/// Owns whole pages. They cost physical memory only once they are touched.
class PageBlock {
 public:
  /// Throws MemoryAllocationFailedException when the system refuses.
  explicit PageBlock(std::size_t bytes);
  ~PageBlock();
  PageBlock(const PageBlock&) = delete;
  PageBlock& operator=(const PageBlock&) = delete;

  /// A carver over the whole block.
  AlignedBufferC buffer() const { return AlignedBufferC(address_, bytes_); }

 private:
  void* address_;
  std::size_t bytes_;
};

}  // namespace nmp
