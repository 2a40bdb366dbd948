// The settings screen of the digit extractor and its menus.
#pragma once

#include "foundation/build_profile.h"
#include "tools/bbp/bbp_session.h"

namespace numforge {

/// Shows the screen until the user starts (true) or the input ends (false). Throws
/// InvalidParametersException "Invalid Algorithm" for an unknown formula.
bool bbp_menu(BBPSession& session, const nmp::BuildProfile& profile);

}  // namespace numforge
