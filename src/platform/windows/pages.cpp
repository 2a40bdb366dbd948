#include "platform/pages.h"

// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <algorithm>

namespace nmp::platform {

const char* const kPageAllocatorName = "WinAPI VirtualAlloc()";

namespace {

void* allocate(std::size_t bytes, DWORD more, ErrorCode* error) {
  void* address = VirtualAlloc(nullptr, std::max<std::size_t>(bytes, 1),
                               MEM_RESERVE | MEM_COMMIT | more, PAGE_READWRITE);
  *error = address ? 0 : GetLastError();
  return address;
}

/// Room in the working set for `bytes` more. The system locks no more pages than fit there.
bool grow_working_set(HANDLE process, std::size_t bytes) {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  if (!K32GetProcessMemoryInfo(process, &counters, sizeof counters)) return false;
  constexpr std::size_t kSlack = 1 << 20;
  const std::size_t size = counters.WorkingSetSize + bytes + kSlack;
  return SetProcessWorkingSetSize(process, size, size) != 0;
}

LockResult lock_in(HANDLE process, void* address, std::size_t bytes) {
  if (VirtualLock(address, bytes)) return LockResult::kLocked;
  const bool grown = grow_working_set(process, bytes);
  if (VirtualLock(address, bytes)) return LockResult::kLocked;
  return grown && GetLastError() == ERROR_WORKING_SET_QUOTA ? LockResult::kTooMany
                                                            : LockResult::kRefused;
}

PagePermission acquire_permission() {
  PagePermission permission{.granted = false, .name = "SeLockMemoryPrivilege"};
  HANDLE token = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token))
    return permission;
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!LookupPrivilegeValueW(nullptr, L"SeLockMemoryPrivilege", &wanted.Privileges[0].Luid)) {
    permission.failures.push_back("LookupPrivilegeValue error");
  } else if (!AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr)) {
    permission.failures.push_back("AdjustTokenPrivileges error");
  } else {
    // The call also succeeds where the user does not hold the privilege.
    permission.granted = GetLastError() == ERROR_SUCCESS;
  }
  if (!CloseHandle(token)) permission.failures.push_back("Unable to close handle");
  return permission;
}

}  // namespace

void* allocate_pages(std::size_t bytes, ErrorCode* error) { return allocate(bytes, 0, error); }

void free_pages(void* address, std::size_t) {
  if (address != nullptr) VirtualFree(address, 0, MEM_RELEASE);
}

bool has_transparent_large_pages(std::size_t) { return false; }

std::size_t large_page_size() { return GetLargePageMinimum(); }

void* allocate_large_pages(std::size_t bytes, ErrorCode* error) {
  return allocate(bytes, MEM_LARGE_PAGES, error);
}

LockResult lock_pages(void* address, std::size_t bytes) {
  return lock_in(GetCurrentProcess(), address, bytes);
}

const PagePermission& page_permission() {
  static const PagePermission permission = acquire_permission();
  return permission;
}

}  // namespace nmp::platform
