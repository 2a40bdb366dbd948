#include "platform/numa.h"

#include <sched.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/syscall.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/pages.h"
#include "platform/posix/node_list.h"
#include "platform/posix/proc.h"

namespace nmp::platform {

const char* const kSpreadCallName = "mbind()";
const char* const kNodeQueryName = "move_pages()";

std::vector<unsigned> parse_node_list(const std::string& text) {
  constexpr unsigned long kMostNodes = 1 << 16;
  std::vector<unsigned> numbers;
  for (const char* at = text.c_str(); *at >= '0' && *at <= '9';) {
    char* end = nullptr;
    const unsigned long first = std::strtoul(at, &end, 10);
    const unsigned long last = *end == '-' ? std::strtoul(end + 1, &end, 10) : first;
    for (unsigned long n = first; n <= last && n < kMostNodes; ++n)
      numbers.push_back(static_cast<unsigned>(n));
    at = *end == ',' ? end + 1 : end;
    if (at == end) break;
  }
  return numbers;
}

std::vector<unsigned> memory_nodes() {
  const std::string label = "\nMems_allowed_list:\t", status = read_small_file("/proc/self/status");
  const std::size_t at = status.find(label);
  const std::vector<unsigned> allowed =
      parse_node_list(at == status.npos ? "" : status.substr(at + label.size()));
  std::vector<unsigned> nodes;
  for (const unsigned node :
       parse_node_list(read_small_file("/sys/devices/system/node/has_memory")))
    if (std::ranges::find(allowed, node) != allowed.end()) nodes.push_back(node);
  return nodes.empty() ? std::vector<unsigned>{0} : nodes;
}

ErrorCode bind_thread_to_node(unsigned node) {
#ifdef __linux__
  const std::vector<unsigned> processors = parse_node_list(
      read_small_file("/sys/devices/system/node/node" + std::to_string(node) + "/cpulist"));
  if (processors.empty()) return ENOENT;
  const int capacity = static_cast<int>(processors.back()) + 1;
  cpu_set_t* set = CPU_ALLOC(capacity);
  if (set == nullptr) return ENOMEM;
  const std::size_t bytes = CPU_ALLOC_SIZE(capacity);
  CPU_ZERO_S(bytes, set);
  for (const unsigned processor : processors) CPU_SET_S(processor, bytes, set);
  const ErrorCode error = ::sched_setaffinity(0, bytes, set) == 0 ? 0 : errno;
  CPU_FREE(set);
  return error;
#else
  (void)node;
  return ENOTSUP;
#endif
}

namespace {

bool prefer_node(char* address, std::size_t bytes, unsigned node) {
#ifdef SYS_mbind
  constexpr int kPreferred = 1;  // MPOL_PREFERRED: another node is better than none
  constexpr std::size_t kBits = 8 * sizeof(unsigned long);
  std::vector<unsigned long> mask(node / kBits + 1);
  mask[node / kBits] = 1ul << (node % kBits);
  return ::syscall(SYS_mbind, address, bytes, kPreferred, mask.data(), mask.size() * kBits + 1,
                   0) == 0;
#else
  (void)address, (void)bytes, (void)node;
  return false;
#endif
}

}  // namespace

SpreadPages allocate_spread(std::size_t bytes, std::size_t piece,
                            const std::vector<unsigned>& nodes, bool large) {
  SpreadPages pages{.bytes = bytes, .piece = piece, .large = large};
  pages.address =
      large ? allocate_large_pages(bytes, &pages.error) : allocate_pages(bytes, &pages.error);
  if (pages.address == nullptr) return pages;
  std::size_t next = 0;
  for (std::size_t offset = 0; offset < bytes; offset += piece) {
    const std::size_t size = std::min(piece, bytes - offset);
    if (!prefer_node(static_cast<char*>(pages.address) + offset, size,
                     nodes[next++ % nodes.size()]))
      pages.refused += (size + kNodePage - 1) / kNodePage;
  }
  return pages;
}

void free_spread(const SpreadPages& pages) { free_pages(pages.address, pages.bytes); }

bool nodes_of_pages(void* address, std::size_t count, int* nodes) {
#ifdef SYS_move_pages
  std::vector<void*> pages(count);
  for (std::size_t i = 0; i < count; ++i) pages[i] = static_cast<char*>(address) + i * kNodePage;
  // Without target nodes it moves nothing and tells where the pages are, or a negative error.
  if (::syscall(SYS_move_pages, 0, count, pages.data(), nullptr, nodes, 0) != 0) return false;
  for (std::size_t i = 0; i < count; ++i) nodes[i] = std::max(nodes[i], -1);
  return true;
#else
  (void)address, (void)count, (void)nodes;
  return false;
#endif
}

}  // namespace nmp::platform
