// Lists of numbers as the kernel writes them: "0-3,8".
#pragma once

#include <string>
#include <vector>

namespace nmp::platform {

/// The numbers, up to the first character that belongs to no list.
std::vector<unsigned> parse_node_list(const std::string& text);

}  // namespace nmp::platform
