// The command line's way to fill a job: NAME[:ARG] OPTION:VALUE ...
#pragma once

#include "compute/job.h"
#include "foundation/command_line.h"

namespace numforge {

nmp::OptionTable<Job> job_options();

/// Reads the constant and every option up to the end of the line, in order. Throws what the job's
/// setters throw; "Option -M is not supported for this mode." and its like for options of the other
/// mode. An unknown option ends the program: "Invalid Parameter: " and its key.
Job parse_job(nmp::CommandLine& line, const nmp::BuildProfile& profile);

}  // namespace numforge
