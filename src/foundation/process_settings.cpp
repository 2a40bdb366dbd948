#include "foundation/process_settings.h"

#include <string>

#include "foundation/console.h"

namespace nmp {
namespace {
constinit ProcessSettings settings;  // usable before main(): a failing registration reads it
}

ProcessSettings& process_settings() { return settings; }

void print_warning(std::string_view text) {
  if (settings.skip_warnings) return;
  console::print_line('Y', "Warning: " + std::string(text));
}

}  // namespace nmp
