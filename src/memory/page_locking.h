// Keeping memory in physical memory.
#pragma once

#include <cstddef>
#include <functional>

#include "platform/pages.h"

namespace nmp {

/// Ranges below this are not split any further.
inline constexpr std::size_t kLockGrain = 1048576;

/// One attempt to lock a range.
using LockAttempt = std::function<platform::LockResult(std::byte* address, std::size_t bytes)>;

/// Locks as much of a range as `attempt` allows, by halves, and returns how many bytes that is.
std::size_t lock_piecewise(std::byte* address, std::size_t bytes, const LockAttempt& attempt);

/// The same with the system's own attempt, having asked for the permission.
std::size_t lock_memory(void* address, std::size_t bytes);

/// Acquires the permission for large and locked pages; without it the user is told so, once.
void require_page_permission();

}  // namespace nmp
