// What the allocators of pages share.
#pragma once

#include <cstddef>
#include <string>

#include "memory/memory_allocator.h"

namespace nmp {

/// What of `bytes` was granted in large pages, in words: "2.00 MiB each", "transparent", "none".
std::string large_page_words(std::size_t bytes, bool asked, bool granted);

/// Locks the pages where that was asked for, and completes their statement.
void lock_grant(const AllocatorSettings& settings, MemoryGrant& grant);

/// `bytes` of pages: large ones where they are asked for and to be had, else whatever there is.
MemoryGrant allocate_page_grant(const AllocatorSettings& settings, std::size_t bytes);

}  // namespace nmp
