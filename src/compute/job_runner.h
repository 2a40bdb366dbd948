// Runs a Custom Compute job in memory, from its record to its report.
#pragma once

#include <cstdint>
#include <optional>

#include "compute/job.h"

namespace numforge {

/// Bytes of memory that a job needs.
struct JobNeeds {
  std::uint64_t program;  ///< what the program itself holds
  std::uint64_t block;    ///< what the job takes from its allocator
  std::uint64_t memory() const { return program + block; }
};
/// Throws InvalidParametersException for a job that has no size, or one beyond all counters.
JobNeeds job_needs(const Job& job);
/// Bytes of the digit files that the job writes.
std::uint64_t output_bytes(const Job& job);

/// Computes, converts, checks, writes, reads back and reports. Throws what ends the job, among it
/// InvalidParametersException "64-bit is required to use more than 2GB of memory." past the
/// program's limit, and a plain sentence past the memory of the machine; no file under a final name
/// is then incomplete. `shown_block`: the block as a menu has shown it; a job that turns out to
/// need more says so and goes on.
void run_job(Job job, std::optional<std::uint64_t> shown_block = std::nullopt);

}  // namespace numforge
