// The two ways into the BBP digit extractor.
#pragma once

#include "foundation/build_profile.h"
#include "foundation/command_line.h"

namespace numforge {

/// Runs what the rest of the line describes; with nothing left on the line the screen opens
/// instead.
void run_bbp_action(nmp::CommandLine& line, const nmp::BuildProfile& profile);

/// The settings screen, then the computation. Catches nothing.
void bbp_extractor_menu(const nmp::BuildProfile& profile);

}  // namespace numforge
