#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>

#include "platform/posix/control_group.h"
#include "platform/posix/proc.h"
#include "platform/process.h"

namespace nmp::platform {
namespace {

constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

/// A limit file holds a number or "max".
std::uint64_t limit_in(const std::string& path) {
  const std::string text = read_small_file(path);
  if (text.empty() || text[0] < '0' || text[0] > '9') return kNoLimit;
  return std::strtoull(text.c_str(), nullptr, 10);
}

/// The smallest limit of a group and the groups around it, up to the root of the hierarchy. Inside
/// a container the own path may not exist below the mount; the root then holds the limit.
std::uint64_t limit_of_group(const std::string& root, std::string group, const std::string& name) {
  std::uint64_t limit = limit_in(root + "/" + name);
  while (group.size() > 1) {
    limit = std::min(limit, limit_in(root + group + "/" + name));
    group.resize(group.rfind('/'));
  }
  return limit;
}

}  // namespace

std::string read_small_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::uint64_t proc_status_value(const std::string& label) {
  const std::string status = "\n" + read_small_file("/proc/self/status");
  const std::size_t at = status.find("\n" + label);
  if (at == status.npos) return 0;
  return std::strtoull(status.c_str() + at + 1 + label.size(), nullptr, 10);
}

std::uint64_t control_group_limit(const std::string& groups, const std::string& mount) {
  std::uint64_t limit = kNoLimit;
  std::istringstream lines(groups);
  for (std::string line; std::getline(lines, line);) {
    // "number:controllers:path"; version 2 is the line whose number is 0 and names no controllers.
    const std::size_t first = line.find(':'), second = line.find(':', first + 1);
    if (first == line.npos || second == line.npos) continue;
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    const std::string path = line.substr(second + 1);
    if (path.empty() || path[0] != '/') continue;
    if (controllers == ",,") {
      limit = std::min(limit, limit_of_group(mount, path, "memory.max"));
    } else if (controllers.find(",memory,") != controllers.npos) {
      limit = std::min(limit, limit_of_group(mount + "/memory", path, "memory.limit_in_bytes"));
    }
  }
  return limit;
}

std::uint64_t peak_memory() {
  // Large pages that were asked for by name are counted apart, without a peak.
  const std::uint64_t kilobytes = proc_status_value("VmHWM:") + proc_status_value("HugetlbPages:");
  if (kilobytes != 0) return kilobytes * 1024;
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

std::uint64_t physical_memory() {
  const std::uint64_t machine = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                                static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  return std::min(machine,
                  control_group_limit(read_small_file("/proc/self/cgroup"), "/sys/fs/cgroup"));
}

}  // namespace nmp::platform
