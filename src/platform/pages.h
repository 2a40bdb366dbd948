// Memory in whole pages, straight from the system.
#pragma once

#include <cstddef>

#include "platform/error.h"

namespace nmp::platform {

/// Reserves `bytes` of zeroed pages, at least 64-byte aligned, with large pages where the system
/// grants them without being asked twice. Null with *error set when it cannot.
void* allocate_pages(std::size_t bytes, ErrorCode* error);
void free_pages(void* address, std::size_t bytes);

}  // namespace nmp::platform
