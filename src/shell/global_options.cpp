#include "shell/global_options.h"

#include <algorithm>
#include <limits>

#include "foundation/console.h"
#include "foundation/process_settings.h"
#include "platform/console.h"

namespace numforge {
namespace {

using nmp::CommandLine;

int integer(CommandLine& line) {
  const std::int64_t value = nmp::parse_integer(line.value());
  line.advance();
  return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

void set_pause(CommandLine& line) {
  nmp::ProcessSettings& settings = nmp::process_settings();
  settings.pause_mode = integer(line);
  if (settings.pause_mode < -1) settings.pause_on_fatal_error = false;
}

void set_priority(CommandLine& line) { nmp::process_settings().priority = integer(line); }

void set_colors(CommandLine& line) { nmp::console::enable_colors(integer(line) > 0); }

void set_personal_information(CommandLine& line) {
  const int value = integer(line);
  if (value != 0) nmp::process_settings().personal_information = value > 0;
}

void set_height(CommandLine& line) { nmp::platform::console_resize(80, integer(line)); }

void set_skip_warnings(CommandLine& line) {
  line.advance();
  nmp::process_settings().skip_warnings = true;
}

constexpr nmp::Option<> kOptions[] = {
    {"pause", "N", "wait for a key at exit: 1 always, -1 after a failure, -2 never", set_pause},
    {"priority", "N", "process priority from -2 (idle) to 3 (real-time); -1 at first",
     set_priority},
    {"colors", "N", "colours on (1) or off (0)", set_colors},
    {"PII", "N", "personal information in reports: 1 on, -1 off", set_personal_information},
    {"height", "N", "resize the console window to 80 columns and N rows", set_height},
    {"skip-warnings", "", "print no warnings", set_skip_warnings},
};

}  // namespace

nmp::OptionTable<> global_options() { return kOptions; }

void consume_global_options(CommandLine& line) {
  while (!line.at_end()) {
    const nmp::Option<>* option = nmp::find_option(global_options(), line.key());
    if (option == nullptr) return;
    option->apply(line);
  }
}

}  // namespace numforge
