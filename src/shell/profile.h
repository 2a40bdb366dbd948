// The profile of the program that is being linked; each program has one source that defines it.
#pragma once

#include "foundation/build_profile.h"

namespace numforge {

extern const nmp::BuildProfile kProfile;

}  // namespace numforge
