// Runs a Custom Compute job in memory, from its record to its report.
#pragma once

#include <cstdint>

#include "compute/job.h"

namespace numforge {

/// Bytes of the one block that a job which passes `validate` takes from the system, for all its
/// numbers and scratch. Throws InvalidParametersException "64-bit is required to use more than 2GB
/// of memory." past the program's limit, and a plain sentence past the memory of the machine.
std::uint64_t memory_needs(const Job& job);

/// Computes, converts, checks, writes, reads back and reports. Throws what ends the job; no file
/// under a final name is then incomplete.
void run_job(Job job);

}  // namespace numforge
