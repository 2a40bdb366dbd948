// What the first word behind the global options starts.
#pragma once

#include "foundation/build_profile.h"
#include "foundation/command_line.h"

namespace numforge {

nmp::OptionTable<const nmp::BuildProfile> actions();

/// Runs the action that the current token names. An unknown word ends the program: "Invalid
/// Parameter: " and the word.
void run_action(nmp::CommandLine& line, const nmp::BuildProfile& profile);

}  // namespace numforge
