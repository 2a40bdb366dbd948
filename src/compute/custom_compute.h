// The three ways into a Custom Compute job.
#pragma once

#include "foundation/build_profile.h"
#include "foundation/command_line.h"
#include "foundation/config/value.h"

namespace numforge {

/// Runs the job that the rest of the line describes: NAME[:ARG] OPTION:VALUE ... With nothing left
/// on the line the menu opens instead. Throws what refuses or ends the job.
void run_custom_action(nmp::CommandLine& line, const nmp::BuildProfile& profile);

/// Runs the job of a configuration file's settings object. Throws InvalidParametersException
/// "Cannot run computation with these parameters." after reporting what is wrong with them.
void run_configured_job(const nmp::config::Object& settings, const nmp::BuildProfile& profile);

/// The Custom Compute menu, until the user leaves it. Prints the failures of its own rounds.
void custom_compute_menu(const nmp::BuildProfile& profile);

}  // namespace numforge
