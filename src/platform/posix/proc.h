// Reading /proc.
#pragma once

#include <cstdint>
#include <string>

namespace nmp::platform {

/// A small file as a whole (they have no size beforehand); empty where it cannot be read.
std::string read_small_file(const std::string& path);
/// The number after `label` in /proc/self/status, or 0.
std::uint64_t proc_status_value(const std::string& label);

}  // namespace nmp::platform
