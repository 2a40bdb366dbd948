#include "platform/pages.h"

#include <windows.h>

#include <algorithm>

namespace nmp::platform {

void* allocate_pages(std::size_t bytes, ErrorCode* error) {
  void* address = VirtualAlloc(nullptr, std::max<std::size_t>(bytes, 1), MEM_RESERVE | MEM_COMMIT,
                               PAGE_READWRITE);
  *error = address ? 0 : GetLastError();
  return address;
}

void free_pages(void* address, std::size_t) {
  if (address != nullptr) VirtualFree(address, 0, MEM_RELEASE);
}

}  // namespace nmp::platform
