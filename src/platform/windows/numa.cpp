#include "platform/numa.h"

// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <algorithm>

#include "platform/pages.h"

namespace nmp::platform {

const char* const kSpreadCallName = "VirtualAllocExNuma()";
const char* const kNodeQueryName = "QueryWorkingSetEx()";

std::vector<unsigned> memory_nodes() {
  std::vector<unsigned> nodes;
  ULONG highest = 0;
  if (GetNumaHighestNodeNumber(&highest))
    for (ULONG node = 0; node <= highest; ++node) {
      ULONGLONG available = 0;
      if (GetNumaAvailableMemoryNodeEx(static_cast<USHORT>(node), &available) && available != 0)
        nodes.push_back(node);
    }
  return nodes.empty() ? std::vector<unsigned>{0} : nodes;
}

ErrorCode bind_thread_to_node(unsigned node) {
  GROUP_AFFINITY processors{};
  if (!GetNumaNodeProcessorMaskEx(static_cast<USHORT>(node), &processors)) return GetLastError();
  return SetThreadGroupAffinity(GetCurrentThread(), &processors, nullptr) ? 0 : GetLastError();
}

namespace {

/// The system prefers a node per region, so every piece is a region of its own, side by side.
char* reserve_pieces(SpreadPages& pages, const std::vector<unsigned>& nodes) {
  auto* start = static_cast<char*>(VirtualAlloc(nullptr, pages.bytes, MEM_RESERVE, PAGE_NOACCESS));
  if (start == nullptr) return nullptr;
  VirtualFree(start, 0, MEM_RELEASE);  // its place is what was wanted
  std::size_t next = 0;
  for (std::size_t offset = 0; offset < pages.bytes; offset += pages.piece) {
    const std::size_t size = std::min(pages.piece, pages.bytes - offset);
    if (VirtualAllocExNuma(GetCurrentProcess(), start + offset, size, MEM_RESERVE | MEM_COMMIT,
                           PAGE_READWRITE, nodes[next++ % nodes.size()]))
      continue;
    pages.error = GetLastError();
    for (std::size_t taken = 0; taken < offset; taken += pages.piece)
      VirtualFree(start + taken, 0, MEM_RELEASE);
    return nullptr;
  }
  return start;
}

}  // namespace

SpreadPages allocate_spread(std::size_t bytes, std::size_t piece,
                            const std::vector<unsigned>& nodes, bool) {
  SpreadPages pages{.bytes = bytes, .piece = piece};
  constexpr int kAttempts = 4;  // another thread may take a place that was just given back
  for (int attempt = 0; attempt < kAttempts && pages.address == nullptr; ++attempt)
    pages.address = reserve_pieces(pages, nodes);
  if (pages.address != nullptr) {
    pages.error = 0;
    return pages;
  }
  pages.piece = bytes;
  pages.refused = (bytes + kNodePage - 1) / kNodePage;
  pages.address = allocate_pages(bytes, &pages.error);
  return pages;
}

void free_spread(const SpreadPages& pages) {
  if (pages.address == nullptr) return;
  for (std::size_t offset = 0; offset < pages.bytes; offset += pages.piece)
    VirtualFree(static_cast<char*>(pages.address) + offset, 0, MEM_RELEASE);
}

bool nodes_of_pages(void* address, std::size_t count, int* nodes) {
  std::vector<PSAPI_WORKING_SET_EX_INFORMATION> pages(count);
  for (std::size_t i = 0; i < count; ++i)
    pages[i].VirtualAddress = static_cast<char*>(address) + i * kNodePage;
  if (!K32QueryWorkingSetEx(GetCurrentProcess(), pages.data(),
                            static_cast<DWORD>(count * sizeof pages[0])))
    return false;
  for (std::size_t i = 0; i < count; ++i) {
    const auto& attributes = pages[i].VirtualAttributes;
    nodes[i] = attributes.Valid ? static_cast<int>(attributes.Node) : -1;
  }
  return true;
}

}  // namespace nmp::platform
