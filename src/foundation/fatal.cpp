#include "foundation/fatal.h"

#include "foundation/console.h"
#include "foundation/process_settings.h"
#include "platform/process.h"

namespace nmp {

void fatal_exit() {
  console::flush();
  if (process_settings().pause_on_fatal_error) console::wait_for_key();
  platform::exit_process(1);
}

void fatal_exit(std::string_view message) {
  console::print_line('R', message);
  fatal_exit();
}

}  // namespace nmp
