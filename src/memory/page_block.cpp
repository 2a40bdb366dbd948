#include "memory/page_block.h"

#include "foundation/exceptions.h"
#include "platform/pages.h"

namespace nmp {

PageBlock::PageBlock(std::size_t bytes) : bytes_(aligned_bytes(bytes)) {
  platform::ErrorCode error = 0;
  address_ = platform::allocate_pages(bytes_, &error);
  if (address_ == nullptr)
    throw MemoryAllocationFailedException("PageBlock::PageBlock()", "Pages", bytes_);
}

PageBlock::~PageBlock() { platform::free_pages(address_, bytes_); }

}  // namespace nmp
