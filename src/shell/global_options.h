// The options that stand before the action and hold for the whole process.
#pragma once

#include "foundation/command_line.h"

namespace numforge {

nmp::OptionTable<> global_options();

/// Applies global options up to the first token that is none.
void consume_global_options(nmp::CommandLine& line);

}  // namespace numforge
