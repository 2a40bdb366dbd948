// What the program says about itself: banner, About, help and version.
#pragma once

#include <string>
#include <string_view>

#include "foundation/build_profile.h"

namespace numforge {

void print_about(const nmp::BuildProfile& profile);

/// Answers "--help", "-h", "help" and "--version"; false for any other word.
bool print_program_text(std::string_view word, const nmp::BuildProfile& profile);

}  // namespace numforge
