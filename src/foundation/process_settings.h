// What the command line's global options decide for the whole process.
//
// Written while the command line is read, by the main thread; only read afterwards.
#pragma once

#include <optional>
#include <string_view>

namespace nmp {

struct ProcessSettings {
  /// Above 0: wait for a key at exit, always. -1: only after a failure. Below: never. 0: decided
  /// at exit by whether the console window is the program's own.
  int pause_mode = 0;
  int priority = -1;  ///< as platform::set_priority takes it
  bool pause_on_fatal_error = true;
  /// Whether reports may hold what identifies the machine's owner; empty: each tool's own choice.
  std::optional<bool> personal_information;
  bool skip_warnings = false;
  bool own_console = false;  ///< the console window was opened for this program
};

ProcessSettings& process_settings();

/// Prints "Warning: " and the text, unless the user asked to skip warnings.
void print_warning(std::string_view text);

}  // namespace nmp
