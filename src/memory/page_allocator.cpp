#include "memory/page_allocator.h"

#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "memory/aligned_buffer.h"
#include "memory/large_pages.h"
#include "memory/page_locking.h"
#include "platform/pages.h"

namespace nmp {

std::string large_page_words(std::size_t bytes, bool asked, bool granted) {
  if (granted) return byte_size(platform::large_page_size()) + " each";
  const std::string instead = platform::has_transparent_large_pages(bytes) ? "transparent" : "none";
  return asked ? "not granted (" + instead + " instead)" : instead;
}

void lock_grant(const AllocatorSettings& settings, MemoryGrant& grant) {
  grant.statement += ", locked: ";
  if (!settings.locked_pages) {
    grant.statement += "none";
    return;
  }
  const std::size_t locked = lock_memory(grant.address, grant.bytes);
  grant.statement += byte_size(locked) + " of " + byte_size(grant.bytes);
}

MemoryGrant allocate_page_grant(const AllocatorSettings& settings, std::size_t bytes) {
  MemoryGrant grant;
  platform::ErrorCode error = 0;
  if (settings.large_pages && large_page_exponent() >= 0) {
    require_page_permission();
    constexpr unsigned kAlignment = 6;
    static_assert(kBufferAlignment == 1u << kAlignment);
    grant.bytes = round_to_large_pages(bytes, kAlignment, large_page_exponent()).bytes;
    grant.address = platform::allocate_large_pages(grant.bytes, &error);
  }
  const bool large = grant.address != nullptr;
  if (!large) {
    grant.bytes = bytes;
    grant.address = platform::allocate_pages(bytes, &error);
  }
  if (grant.address == nullptr)
    throw MemoryAllocationFailedException("allocate_page_grant()", platform::kPageAllocatorName,
                                          bytes);
  grant.statement = "Large pages: " + large_page_words(bytes, settings.large_pages, large);
  return grant;
}

namespace {

class PageAllocator : public MemoryAllocator {
 public:
  explicit PageAllocator(const AllocatorSettings& settings) : settings_(settings) {}
  MemoryGrant allocate(std::size_t bytes) const override {
    MemoryGrant grant = allocate_page_grant(settings_, bytes);
    lock_grant(settings_, grant);
    return grant;
  }
  void release(const MemoryGrant& grant) const override {
    platform::free_pages(grant.address, grant.bytes);
  }

 private:
  AllocatorSettings settings_;
};

}  // namespace

std::unique_ptr<MemoryAllocator> make_page_allocator(const AllocatorSettings& settings) {
  return std::make_unique<PageAllocator>(settings);
}

}  // namespace nmp
