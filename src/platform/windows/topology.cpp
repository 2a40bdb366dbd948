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

}  // namespace nmp::platform
