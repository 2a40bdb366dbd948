// Memory nodes: machines whose processors have memory of their own each. Nothing here throws.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/error.h"

namespace nmp::platform {

/// Nodes whose memory this process may use, in ascending order; at least one.
std::vector<unsigned> memory_nodes();

/// Lets the calling thread run on the processors of one node only.
ErrorCode bind_thread_to_node(unsigned node);

/// Pages are counted in this size here, whatever the system gives.
inline constexpr std::size_t kNodePage = 4096;
/// Pieces of memory that go to one node are multiples of this: a large page.
inline constexpr std::size_t kNodeGrain = std::size_t{2} << 20;

/// Memory whose piece number k, of `piece` bytes, is to come from node nodes[k % nodes.size()].
struct SpreadPages {
  void* address = nullptr;
  std::size_t bytes = 0, piece = 0;
  bool large = false;       ///< of large pages
  std::size_t refused = 0;  ///< pages for which the system would not take the wish
  ErrorCode error = 0;      ///< why there is no memory
};
SpreadPages allocate_spread(std::size_t bytes, std::size_t piece,
                            const std::vector<unsigned>& nodes, bool large);
void free_spread(const SpreadPages& pages);
/// The call that failed where `refused` counts pages.
extern const char* const kSpreadCallName;

/// On which nodes `count` pages lie, from `address` on; -1 for one that lies nowhere yet. False
/// where the system does not tell.
bool nodes_of_pages(void* address, std::size_t count, int* nodes);
/// The call behind it.
extern const char* const kNodeQueryName;

}  // namespace nmp::platform
