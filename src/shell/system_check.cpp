#include "shell/system_check.h"

#include <algorithm>
#include <string>
#include <vector>

#include "foundation/console.h"
#include "foundation/process_settings.h"
#include "platform/processor.h"

namespace numforge {
namespace {

namespace console = nmp::console;

void check_processor_groups(const std::vector<unsigned>& groups) {
  if (std::ranges::adjacent_find(groups, std::not_equal_to<>()) == groups.end()) return;
  std::string text =
      "Imbalanced processor groups detected.\n"
      "This may lead to suboptimal performance.\n";
  for (std::size_t i = 0; i < groups.size(); ++i)
    text += "    Group " + std::to_string(i) + ": " + std::to_string(groups[i]) + " cores\n";
  nmp::print_warning(text);
}

}  // namespace

void print_system_check() {
  console::print_line("\nChecking processor/OS features...\n");
  console::print_line("Required Features:");
  console::print_line("    none\n");

  const std::string vendor = nmp::platform::processor_vendor();
  const std::string name = nmp::platform::processor_name();
  const bool recognised = vendor == "GenuineIntel" || vendor == "AuthenticAMD";
  console::print_line("Processor:");
  console::print_line("    " + (recognised ? vendor : "Unrecognised vendor " + vendor));
  if (!name.empty()) console::print_line("    " + name);
  console::print_line();

  check_processor_groups(nmp::platform::processor_groups());
}

}  // namespace numforge
