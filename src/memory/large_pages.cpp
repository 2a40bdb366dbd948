#include "memory/large_pages.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "foundation/exceptions.h"
#include "platform/pages.h"

namespace nmp {

int large_page_exponent() {
  static const int exponent = static_cast<int>(std::bit_width(platform::large_page_size())) - 1;
  return exponent;
}

LargePageRegion round_to_large_pages(std::size_t bytes, unsigned alignment_exponent,
                                     int page_exponent) {
  constexpr int kBits = std::numeric_limits<std::size_t>::digits;
  const unsigned exponent =
      std::max(alignment_exponent, static_cast<unsigned>(std::max(page_exponent, 0)));
  const auto refuse = [&] {
    throw MemoryAllocationFailedException("round_to_large_pages()", "Large Pages", bytes);
  };
  if (exponent >= kBits) refuse();
  // What is rounded up to the alignment, the larger of the two, is a multiple of both.
  const std::size_t unit = std::size_t{1} << exponent;
  if (bytes > std::numeric_limits<std::size_t>::max() - unit) refuse();
  return {(bytes + unit - 1) / unit * unit, exponent};
}

}  // namespace nmp
