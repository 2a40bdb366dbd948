// Shapes of memory that is made of large pages.
#pragma once

#include <cstddef>

namespace nmp {

/// Base-2 logarithm of the system's large page size, -1 where it has none. Asked once.
int large_page_exponent();

struct LargePageRegion {
  std::size_t bytes;
  unsigned alignment_exponent;
};
/// A region for `bytes` at a multiple of 2^`alignment_exponent`: both are rounded up to large pages
/// of 2^`page_exponent` bytes (-1: not at all), and then the region to its alignment. Throws
/// MemoryAllocationFailedException for sizes past the address range.
LargePageRegion round_to_large_pages(std::size_t bytes, unsigned alignment_exponent,
                                     int page_exponent);

}  // namespace nmp
