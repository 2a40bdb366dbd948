// The menu that opens when the command line names no action.
#pragma once

#include "foundation/build_profile.h"

namespace numforge {

/// Shows the menu once, runs the one choice and returns. Catches nothing.
void main_menu(const nmp::BuildProfile& profile);

}  // namespace numforge
