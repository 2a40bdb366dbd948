// Memory limits of control groups (containers, service managers).
#pragma once

#include <cstdint>
#include <string>

namespace nmp::platform {

/// Bytes that the groups listed in `groups` (the text of /proc/self/cgroup) allow, read below
/// `mount`; the largest number where nothing limits.
std::uint64_t control_group_limit(const std::string& groups, const std::string& mount);

}  // namespace nmp::platform
