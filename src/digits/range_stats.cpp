#include "digits/range_stats.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "foundation/progress.h"

namespace nmp {
namespace {

/// Digits that a thread takes at a time, and blocks of a thread between two looks at the progress:
/// together some tens of milliseconds.
constexpr std::uint64_t kBlock = std::uint64_t{1} << 20;
constexpr std::size_t kBlocksPerThread = 32;
constexpr auto kBetweenLooks = std::chrono::milliseconds(200);

}  // namespace

DigitCounts range_stats(parallel::Context& context, DigitReader& reader, std::uint64_t begin,
                        std::uint64_t end, const StatsWatcher& watch) {
  using Clock = std::chrono::steady_clock;
  reader.require(begin, end - begin);
  DigitCounts total(reader.radix());
  std::vector<DigitCounts> blocks;
  Clock::time_point shown = Clock::now();
  while (begin < end) {
    const std::uint64_t left = end - begin, count = left / kBlock + (left % kBlock != 0 ? 1 : 0);
    blocks.assign(static_cast<std::size_t>(std::min<std::uint64_t>(
                      count, std::uint64_t{kBlocksPerThread} * context.threads())),
                  DigitCounts(reader.radix()));
    context.parallel_for(0, blocks.size(), 1, [&](std::size_t first, std::size_t last) {
      for (std::size_t i = first; i < last; ++i) {
        throw_if_interrupted();
        const std::uint64_t offset = i * kBlock;
        reader.load_stats(blocks[i], begin + offset, std::min(kBlock, left - offset));
      }
    });
    for (const DigitCounts& block : blocks) total.append(block);
    begin += std::min(left, blocks.size() * kBlock);
    if (!watch || Clock::now() - shown < kBetweenLooks) continue;
    watch(total);
    shown = Clock::now();
  }
  if (watch) watch(total);
  return total;
}

}  // namespace nmp
