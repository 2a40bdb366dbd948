#include "shell/entry.h"

#include <cstdio>
#include <exception>

#include "foundation/command_line.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/fatal.h"
#include "foundation/process_settings.h"
#include "platform/console.h"
#include "platform/process.h"
#include "shell/actions.h"
#include "shell/global_options.h"
#include "shell/main_menu.h"
#include "shell/program_text.h"
#include "shell/system_check.h"

namespace numforge {
namespace {

namespace console = nmp::console;
using nmp::CommandLine;

void set_priority() {
  const nmp::platform::ErrorCode error =
      nmp::platform::set_priority(nmp::process_settings().priority);
  if (error != 0)
    nmp::print_warning("Unable to set the process priority: " + nmp::platform::error_text(error));
}

void run_body(CommandLine& line, const nmp::BuildProfile& profile) {
  consume_global_options(line);
  if (!line.at_end() && print_program_text(line.key(), profile)) return;
  nmp::platform::install_crash_handler();
  nmp::platform::install_interrupt_handler();
  set_priority();
  print_system_check();
  if (line.at_end()) {
    main_menu(profile);
  } else {
    run_action(line, profile);
  }
}

/// The outermost guard. True when the body succeeded.
bool run_guarded(CommandLine& line, const nmp::BuildProfile& profile) {
  try {
    run_body(line, profile);
    return true;
  } catch (const nmp::Exception& e) {
    e.print();
    // A computation that caught itself in an error.
    if (dynamic_cast<const nmp::AlgorithmFailedException*>(&e) != nullptr)
      console::print("\n" + std::string(nmp::kHardwareAdvice));
  } catch (const std::exception& e) {
    console::print_line('R', e.what());
  }
  return false;
}

bool output_intact() {
  console::flush();
  if (nmp::platform::console_ok()) return true;
  std::fputs("numforge: standard output could not be written.\n", stderr);
  return false;
}

void pause_at_exit(bool succeeded) {
  int pause = nmp::process_settings().pause_mode;
  if (pause == 0) pause = nmp::process_settings().own_console ? 1 : -1;
  if ((succeeded ? 1 : -1) <= pause) console::wait_for_key();
}

}  // namespace

int run_program(int argc, char** argv, const nmp::BuildProfile& profile) {
  nmp::process_settings().own_console = nmp::platform::console_is_own();
  CommandLine line(nmp::platform::arguments(argc, argv));
  if (nmp::process_settings().own_console) nmp::platform::console_resize(80, 25);

  bool succeeded = true;
  if (nmp::platform::debugger_attached()) {
    run_body(line, profile);  // bare: the debugger wants to see the exception
  } else {
    succeeded = run_guarded(line, profile);
  }
  succeeded = output_intact() && succeeded;
  pause_at_exit(succeeded);
  return succeeded ? 0 : 1;
}

}  // namespace numforge
