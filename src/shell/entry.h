// The program from its first line to its last.
#pragma once

#include "foundation/build_profile.h"

namespace numforge {

/// Prepares the console, runs what the arguments ask for and waits for a key where the pause rule
/// says so. Returns the exit code: 0 when everything went well, else 1.
int run_program(int argc, char** argv, const nmp::BuildProfile& profile);

}  // namespace numforge
