// Choosing a memory allocator on the console.
#pragma once

#include <optional>

#include "memory/allocator_choice.h"

namespace nmp {

/// "Select a Memory Allocator:", and then what the chosen one can be told; nothing typed keeps what
/// `current` says. Empty at the end of input.
std::optional<AllocatorChoice> choose_allocator(const AllocatorChoice& current);

}  // namespace nmp
