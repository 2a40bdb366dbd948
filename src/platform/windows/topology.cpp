#include <windows.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>

#include "platform/processor.h"

namespace nmp::platform {

unsigned logical_processors() {
  const std::vector<unsigned> groups = processor_groups();
  const unsigned all = std::accumulate(groups.begin(), groups.end(), 0u);
  if (groups.size() > 1) return all;  // masks speak of one group only
  DWORD_PTR ours = 0, machine = 0;
  if (!GetProcessAffinityMask(GetCurrentProcess(), &ours, &machine) || ours == 0) return all;
  return static_cast<unsigned>(std::popcount(std::uint64_t{ours}));
}

std::vector<unsigned> processor_groups() {
  std::vector<unsigned> groups;
  for (WORD group = 0; group < GetActiveProcessorGroupCount(); ++group)
    groups.push_back(std::max<unsigned>(1, GetActiveProcessorCount(group)));
  if (groups.empty()) groups.push_back(1);
  return groups;
}

struct PinnedThread::Saved {
  GROUP_AFFINITY before;
};

PinnedThread::PinnedThread(unsigned index) {
  // All processors of all groups, except where a mask holds the process to some of its only group.
  const std::vector<unsigned> groups = processor_groups();
  std::vector<std::uint64_t> masks;
  for (const unsigned count : groups)
    masks.push_back(count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1);
  DWORD_PTR ours = 0, machine = 0;
  if (groups.size() == 1 && GetProcessAffinityMask(GetCurrentProcess(), &ours, &machine) &&
      ours != 0)
    masks[0] = ours;
  unsigned all = 0;
  for (const std::uint64_t mask : masks) all += static_cast<unsigned>(std::popcount(mask));
  index %= all;
  WORD group = 0;
  for (unsigned count; index >= (count = static_cast<unsigned>(std::popcount(masks[group])));
       ++group)
    index -= count;
  std::uint64_t mask = masks[group];
  for (; index > 0; --index) mask &= mask - 1;
  GROUP_AFFINITY wanted = {}, before = {};
  wanted.Group = group;
  wanted.Mask = static_cast<KAFFINITY>(mask & (0 - mask));
  if (SetThreadGroupAffinity(GetCurrentThread(), &wanted, &before))
    saved_ = std::make_unique<Saved>(Saved{before});
}

PinnedThread::~PinnedThread() {
  if (saved_) SetThreadGroupAffinity(GetCurrentThread(), &saved_->before, nullptr);
}

}  // namespace nmp::platform
