// Statistics of a range of any reader's digits, by all threads.
#pragma once

#include <cstdint>
#include <functional>

#include "digits/digit_counts.h"
#include "digits/digit_sink.h"
#include "parallel/context.h"

namespace nmp {

/// Told on the caller's thread, a few times a second and once at the end, of the statistics of the
/// range's beginning.
using StatsWatcher = std::function<void(const DigitCounts& so_far)>;

/// The statistics of the digits [begin, end). Threads take blocks of fixed length, whose statistics
/// are put together in their order; memory is bounded whatever the range. Throws what the reader
/// throws, and InterruptedException when the user stops the program.
DigitCounts range_stats(parallel::Context& context, DigitReader& reader, std::uint64_t begin,
                        std::uint64_t end, const StatsWatcher& watch = {});

}  // namespace nmp
