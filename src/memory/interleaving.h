// Spreading memory over the nodes of a machine, and looking where it landed.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "memory/memory_allocator.h"

namespace nmp {

/// Bytes of each piece: whole large pages, and at most a few thousand pieces, of which the system
/// keeps a list.
std::size_t interleaving_piece(std::size_t bytes);

/// Memory that lies by pieces on `nodes` in turn; with settings.numa_bind, touched by threads on
/// these nodes and checked. Diagnostics go to `tell`, a line each.
MemoryGrant allocate_interleaved(const AllocatorSettings& settings, std::size_t bytes,
                                 const std::vector<unsigned>& nodes,
                                 const std::function<void(const std::string&)>& tell);
void release_interleaved(const MemoryGrant& grant);

/// Pages by the node they were meant for and the one they lie on.
class PlacementCount {
 public:
  /// `landed` are the nodes of consecutive pages, -1 for those that lie nowhere.
  void add(unsigned intended, std::span<const int> landed);
  /// "12 pages intended for node 0 landed on node 1 instead."
  std::vector<std::string> complaints() const;

 private:
  struct Misplaced {
    unsigned intended;
    int landed;
    std::size_t pages;
  };
  std::vector<Misplaced> misplaced_;
};

}  // namespace nmp
