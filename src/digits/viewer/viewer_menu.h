// The menu for one open file.
#pragma once

#include "digits/viewer/open_digits.h"
#include "parallel/context.h"

namespace nmp {

/// Shows the file and the choices, and runs choices until the input ends or an answer is none of
/// them. Failures as menu_digit_viewer says.
void file_menu(parallel::Context& context, OpenDigits& source);

}  // namespace nmp
