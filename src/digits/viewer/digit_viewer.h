// The two ways into the digit viewer.
#pragma once

#include <string>

#include "foundation/command_line.h"

namespace nmp {

/// Asks for a file and what to do with it until the user leaves. On a terminal the failure of a
/// choice is shown and the menu goes on; elsewhere it is thrown.
void menu_digit_viewer();

/// What the command line asks of the viewer.
struct ViewerRequest;
OptionTable<ViewerRequest> viewer_options();

/// Runs what the rest of the line describes: FILE CHOICE:VALUE ... Choices run in their order,
/// after all of them have been read. FILE alone opens its menu, nothing at all the whole dialogue.
/// An unknown choice ends the program: "Invalid Parameter: " and its key.
void run_digit_viewer(CommandLine& line);

}  // namespace nmp
