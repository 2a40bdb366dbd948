// The command line's way to set up the digit extractor.
#pragma once

#include "foundation/command_line.h"
#include "tools/bbp/bbp_session.h"

namespace numforge {

nmp::OptionTable<BBPSettings> bbp_options();

/// Reads every option up to the end of the line; what is not given keeps its default. An unknown
/// option ends the program: "Invalid Parameter: " and its key. Throws InvalidParametersException
/// for an unknown mode and what BBPSession::update_settings throws.
BBPSession parse_bbp(nmp::CommandLine& line);

}  // namespace numforge
