#include "platform/pages.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "platform/posix/proc.h"

namespace nmp::platform {

const char* const kPageAllocatorName = "mmap()";

namespace {

constexpr std::size_t kLargePage = std::size_t{2} << 20;

std::size_t whole_pages(std::size_t bytes) {
  const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  return bytes == 0 ? page : (bytes + page - 1) / page * page;
}

void* map(std::size_t bytes) {
  void* address =
      ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return address == MAP_FAILED ? nullptr : address;
}

/// Maps a large page more than needed and gives back what sticks out on either side.
void* map_aligned(std::size_t bytes) {
  char* const start = static_cast<char*>(map(bytes + kLargePage));
  if (start == nullptr) return nullptr;
  const std::size_t before = (0 - reinterpret_cast<std::uintptr_t>(start)) % kLargePage;
  if (before != 0) ::munmap(start, before);
  if (before != kLargePage) ::munmap(start + before + bytes, kLargePage - before);
  return start + before;
}

}  // namespace

void* allocate_pages(std::size_t bytes, ErrorCode* error) {
  *error = 0;
  if (bytes > std::numeric_limits<std::size_t>::max() - 2 * kLargePage) {
    *error = ENOMEM;
    return nullptr;
  }
  const std::size_t size = whole_pages(bytes);
  void* address = size >= kLargePage ? map_aligned(size) : nullptr;
  if (address == nullptr) address = map(size);  // small, or too little room to align in
  if (address == nullptr) {
    *error = errno;
    return nullptr;
  }
#ifdef MADV_HUGEPAGE
  if (size >= kLargePage) ::madvise(address, size, MADV_HUGEPAGE);  // a wish; refusal is fine
#endif
  return address;
}

void free_pages(void* address, std::size_t bytes) {
  if (address != nullptr) ::munmap(address, whole_pages(bytes));
}

bool has_transparent_large_pages(std::size_t bytes) {
  const std::string modes = read_small_file("/sys/kernel/mm/transparent_hugepage/enabled");
  return bytes >= kLargePage && !modes.empty() && modes.find("[never]") == modes.npos;
}

std::size_t large_page_size() {
#ifdef MAP_HUGETLB
  static const std::size_t size = [] {
    const std::string label = "\nHugepagesize:", text = read_small_file("/proc/meminfo");
    const std::size_t at = text.find(label);
    if (at == text.npos) return std::size_t{0};
    return std::size_t{std::strtoul(text.c_str() + at + label.size(), nullptr, 10)} * 1024;
  }();
  return size;
#else
  return 0;
#endif
}

void* allocate_large_pages(std::size_t bytes, ErrorCode* error) {
#ifdef MAP_HUGETLB
  void* address = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_HUGETLB, -1, 0);
  *error = address == MAP_FAILED ? errno : 0;
  return address == MAP_FAILED ? nullptr : address;
#else
  (void)bytes;
  *error = ENOTSUP;
  return nullptr;
#endif
}

LockResult lock_pages(void* address, std::size_t bytes) {
  if (::mlock(address, bytes) == 0) return LockResult::kLocked;
  // Past the limit of this process (ulimit -l), or of what the machine has left.
  return errno == ENOMEM || errno == EAGAIN ? LockResult::kTooMany : LockResult::kRefused;
}

const PagePermission& page_permission() {
  static const PagePermission none_needed;
  return none_needed;
}

}  // namespace nmp::platform
