#include "memory/interleaving.h"

#include <algorithm>
#include <mutex>
#include <system_error>
#include <thread>

#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "memory/large_pages.h"
#include "memory/page_allocator.h"
#include "memory/page_locking.h"

namespace nmp {
namespace {

constexpr const char* kName = "Node Interleaving";

using platform::kNodeGrain;
using platform::kNodePage;
using platform::SpreadPages;
using Tell = std::function<void(const std::string&)>;

std::size_t round_up(std::size_t value, std::size_t unit) {
  return (value + unit - 1) / unit * unit;
}

/// Calls body(piece's first byte, its bytes) for every piece that belongs to node number `turn` of
/// `turns`.
template <typename Body>
void for_pieces(const SpreadPages& pages, std::size_t turn, std::size_t turns, Body body) {
  for (std::size_t k = turn; k * pages.piece < pages.bytes; k += turns) {
    const std::size_t offset = k * pages.piece;
    body(static_cast<char*>(pages.address) + offset, std::min(pages.piece, pages.bytes - offset));
  }
}

/// The first write to a page decides where it lies: near the thread, where nothing else was said.
void touch_from_nodes(const SpreadPages& pages, const std::vector<unsigned>& nodes,
                      const Tell& tell) {
  std::mutex telling;
  const auto touch = [&](std::size_t turn, bool bind) {
    if (bind && platform::bind_thread_to_node(nodes[turn]) != 0) {
      const std::lock_guard lock(telling);
      tell("Thread " + std::to_string(turn) + " failed to bind to node " +
           std::to_string(nodes[turn]));
    }
    for_pieces(pages, turn, nodes.size(), [](volatile char* at, std::size_t bytes) {
      for (std::size_t i = 0; i < bytes; i += kNodePage) at[i] = 0;
    });
  };
  std::vector<std::thread> threads;
  for (std::size_t turn = 0; turn < nodes.size(); ++turn) {
    try {
      threads.emplace_back(touch, turn, true);
    } catch (const std::system_error&) {
      touch(turn, false);  // without a thread for it; this one must not stay bound
    }
  }
  for (std::thread& thread : threads) thread.join();
}

void check_placement(const SpreadPages& pages, const std::vector<unsigned>& nodes,
                     const Tell& tell) {
  constexpr std::size_t kBatch = 4096;
  PlacementCount count;
  std::vector<int> landed(kBatch);
  bool known = true;
  for (std::size_t turn = 0; turn < nodes.size(); ++turn)
    for_pieces(pages, turn, nodes.size(), [&](char* at, std::size_t bytes) {
      for (std::size_t left = round_up(bytes, kNodePage) / kNodePage; known && left > 0;) {
        const std::size_t n = std::min(left, kBatch);
        known = platform::nodes_of_pages(at, n, landed.data());
        if (known) count.add(nodes[turn], {landed.data(), n});
        at += n * kNodePage;
        left -= n;
      }
    });
  if (!known) tell(std::string(platform::kNodeQueryName) + " error");
  for (const std::string& complaint : count.complaints()) tell(complaint);
}

class InterleaveAllocator : public MemoryAllocator {
 public:
  explicit InterleaveAllocator(const AllocatorSettings& settings) : settings_(settings) {}

  MemoryGrant allocate(std::size_t bytes) const override {
    return allocate_interleaved(settings_, bytes, platform::memory_nodes(),
                                [](const std::string& line) { console::print_line('Y', line); });
  }
  void release(const MemoryGrant& grant) const override { release_interleaved(grant); }

 private:
  AllocatorSettings settings_;
};

}  // namespace

std::size_t interleaving_piece(std::size_t bytes) {
  constexpr std::size_t kMostPieces = 4096;
  return std::max(round_up(bytes / kMostPieces, kNodeGrain), kNodeGrain);
}

void PlacementCount::add(unsigned intended, std::span<const int> landed) {
  for (const int node : landed) {
    if (node == static_cast<int>(intended)) continue;
    const auto same = [&](const Misplaced& m) {
      return m.intended == intended && m.landed == node;
    };
    const auto found = std::ranges::find_if(misplaced_, same);
    if (found == misplaced_.end()) {
      misplaced_.push_back({intended, node, 1});
    } else {
      ++found->pages;
    }
  }
}

std::vector<std::string> PlacementCount::complaints() const {
  std::vector<std::string> lines;
  for (const Misplaced& m : misplaced_) {
    const std::string where = m.landed < 0 ? "nowhere" : "node " + std::to_string(m.landed);
    lines.push_back(std::to_string(m.pages) + " pages intended for node " +
                    std::to_string(m.intended) + " landed on " + where + " instead.");
  }
  return lines;
}

MemoryGrant allocate_interleaved(const AllocatorSettings& settings, std::size_t bytes,
                                 const std::vector<unsigned>& nodes, const Tell& tell) {
  MemoryGrant grant;
  if (nodes.size() == 1) {
    grant = allocate_page_grant(settings, bytes);
    grant.statement = "Interleaved: no, there is one memory node; " + grant.statement;
    lock_grant(settings, grant);
    return grant;
  }
  const std::size_t piece = interleaving_piece(bytes);
  SpreadPages& spread = grant.spread;
  // Pieces are multiples of any usual large page.
  if (settings.large_pages && large_page_exponent() >= 0 &&
      kNodeGrain % platform::large_page_size() == 0) {
    require_page_permission();
    const std::size_t whole = round_to_large_pages(bytes, 0, large_page_exponent()).bytes;
    spread = platform::allocate_spread(whole, piece, nodes, true);
  }
  if (spread.address == nullptr)
    spread = platform::allocate_spread(round_up(bytes, kNodePage), piece, nodes, false);
  if (spread.address == nullptr)
    throw MemoryAllocationFailedException("allocate_interleaved()", kName, bytes);
  grant.address = spread.address;
  grant.bytes = spread.bytes;
  if (spread.refused != 0)
    tell(std::string(kName) + ": " + platform::kSpreadCallName +
         " error: " + std::to_string(spread.refused) + " pages");
  if (settings.numa_bind) {
    touch_from_nodes(spread, nodes, tell);
    check_placement(spread, nodes, tell);
  }
  grant.statement = "Interleaved: " + std::to_string(nodes.size()) + " nodes, pieces of " +
                    byte_size(spread.piece) +
                    "; Large pages: " + large_page_words(bytes, settings.large_pages, spread.large);
  lock_grant(settings, grant);
  return grant;
}

void release_interleaved(const MemoryGrant& grant) {
  if (grant.spread.address != nullptr) {
    platform::free_spread(grant.spread);
  } else {
    platform::free_pages(grant.address, grant.bytes);
  }
}

std::unique_ptr<MemoryAllocator> make_interleave_allocator(const AllocatorSettings& settings) {
  return std::make_unique<InterleaveAllocator>(settings);
}

}  // namespace nmp
