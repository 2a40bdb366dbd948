#include "shell/main_menu.h"

#include "compute/custom_compute.h"
#include "digits/viewer/digit_viewer.h"
#include "foundation/console.h"
#include "shell/bbp_extractor.h"
#include "shell/missing_tools.h"
#include "shell/program_text.h"

namespace numforge {
namespace {

namespace console = nmp::console;

struct Line {
  char color;
  const char* text;
  bool ends_group;
};

constexpr Line kLines[] = {
    {'T', "  0         Benchmark Pi  (all in ram)", false},
    {'T', "  1         Component Stress Tester", false},
    {'T', "  2         Run I/O Performance Analysis", true},
    {'Y', "  3         Custom Compute a Constant", false},
    {'Y', "                -   Compute other constants (e, Golden Ratio, etc...)", false},
    {'Y', "                -   Choose your own settings (use disk for large computations)", true},
    {'G', "  4         BBP Digit Extractor for Pi", false},
    {'G', "  5         Digit Viewer", true},
    {'t', "  6         Advanced Options", false},
    {'t', "  7         About", true},
};

void print_missing(Tool tool) { console::print_line("\n" + missing_tool_text(tool)); }

}  // namespace

void main_menu(const nmp::BuildProfile& profile) {
  console::print_line("\n\n" + nmp::program_title(profile) + "\n");
  for (const Line& line : kLines) {
    console::print_line(line.color, line.text);
    if (line.ends_group) console::print_line();
  }
  console::print_line('w', "Enter your choice:");
  switch (console::read_integer("option: ").value_or(-1)) {
    case 0:
      return print_missing(Tool::BenchmarkPi);
    case 1:
      return print_missing(Tool::StressTester);
    case 2:
      return print_missing(Tool::IoAnalysis);
    case 3:
      return custom_compute_menu(profile);
    case 4:
      return bbp_extractor_menu(profile);
    case 5:
      return nmp::menu_digit_viewer();
    case 6:
      return print_missing(Tool::AdvancedOptions);
    case 7:
      return print_about(profile);
    default:
      return;
  }
}

}  // namespace numforge
