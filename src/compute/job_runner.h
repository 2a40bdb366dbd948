// Runs a Custom Compute job in memory, from its record to its report.
#pragma once

#include "compute/job.h"

namespace numforge {

/// Computes, converts, checks, writes, reads back and reports. Throws what ends the job, among it
/// InvalidParametersException "64-bit is required to use more than 2GB of memory." past the
/// program's limit, and a plain sentence past the memory of the machine; no file under a final name
/// is then incomplete.
void run_job(Job job);

}  // namespace numforge
