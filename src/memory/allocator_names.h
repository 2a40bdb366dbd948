// The names under which a job asks for its memory.
#pragma once

#include <span>
#include <string_view>

namespace nmp {

struct AllocatorName {
  const char* key;           ///< "malloc"
  const char* display_name;  ///< "C malloc()"
};
std::span<const AllocatorName> allocator_names();

/// Throws InvalidParametersException "Invalid Memory Allocator:" and the name when it is unknown.
const AllocatorName& allocator_by_name(std::string_view key);

}  // namespace nmp
