#include "memory/allocator_names.h"

#include <string>

#include "foundation/exceptions.h"

namespace nmp {

std::span<const AllocatorName> allocator_names() {
  static constexpr AllocatorName kNames[] = {
      {"malloc", "C malloc()"},
      {"mmap", "WinAPI VirtualAlloc()"},
      {"interleave", "Node Interleaving"},
  };
  return kNames;
}

const AllocatorName& allocator_by_name(std::string_view key) {
  for (const AllocatorName& name : allocator_names())
    if (name.key == key) return name;
  throw InvalidParametersException("allocator_by_name()",
                                   "Invalid Memory Allocator: " + std::string(key));
}

}  // namespace nmp
