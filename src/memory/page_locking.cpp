#include "memory/page_locking.h"

#include <string>

#include "foundation/console.h"

namespace nmp {

std::size_t lock_piecewise(std::byte* address, std::size_t bytes, const LockAttempt& attempt) {
  switch (attempt(address, bytes)) {
    case platform::LockResult::kLocked:
      return bytes;
    case platform::LockResult::kRefused:
      return 0;
    case platform::LockResult::kTooMany:
      break;
  }
  if (bytes < kLockGrain) return 0;
  const std::size_t half = bytes / 2;
  const std::size_t first = lock_piecewise(address, half, attempt);
  return first + lock_piecewise(address + half, bytes - half, attempt);
}

std::size_t lock_memory(void* address, std::size_t bytes) {
  require_page_permission();
  return lock_piecewise(static_cast<std::byte*>(address), bytes, platform::lock_pages);
}

void require_page_permission() {
  static const bool once = [] {
    const platform::PagePermission& permission = platform::page_permission();
    for (const char* failure : permission.failures) console::print_line('Y', failure);
    if (permission.granted) return true;
    console::print_line('Y', std::string("Unable to acquire the permission, \"") + permission.name +
                                 "\".\nLarge pages and page locking may not be possible.\n"
                                 "Expect larger performance penalties from Meltdown mitigation.");
    return false;
  }();
  (void)once;
}

}  // namespace nmp
