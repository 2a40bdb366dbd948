// Memory in whole pages, straight from the system. Nothing here throws.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/error.h"

namespace nmp::platform {

/// What users of the system call these pages: "mmap()", "WinAPI VirtualAlloc()".
extern const char* const kPageAllocatorName;

/// Reserves `bytes` of zeroed pages, at least 64-byte aligned, with large pages where the system
/// grants them without being asked twice. Null with *error set when it cannot.
void* allocate_pages(std::size_t bytes, ErrorCode* error);
void free_pages(void* address, std::size_t bytes);
/// Whether allocate_pages asks for large pages for `bytes`, and the system may give them.
bool has_transparent_large_pages(std::size_t bytes);

/// Size of the large pages that must be asked for, a power of two; 0 where there are none.
std::size_t large_page_size();
/// The same as allocate_pages from those alone; `bytes` is a multiple of their size.
void* allocate_large_pages(std::size_t bytes, ErrorCode* error);

/// Tries once to keep pages in physical memory for as long as they live. kTooMany: fewer might do.
enum class LockResult { kLocked, kTooMany, kRefused };
LockResult lock_pages(void* address, std::size_t bytes);

/// The permission without which large and locked pages cannot be had.
struct PagePermission {
  bool granted = true;
  const char* name = "";              ///< of the system
  std::vector<const char*> failures;  ///< calls that should not have failed: lines for the user
};
/// Acquired at the first call, and remembered.
const PagePermission& page_permission();

}  // namespace nmp::platform
