#include "shell/bbp_extractor.h"

#include "compute/status_display.h"
#include "foundation/console.h"
#include "tools/bbp/bbp_menu.h"
#include "tools/bbp/bbp_options.h"
#include "tools/bbp/bbp_report.h"

namespace numforge {
namespace {

void run(const BBPSession& session) {
  nmp::console::print_line();
  StatusDisplay status;
  status.stage("Summation");
  const BBPv2::Digits digits = session.run(&status);
  status.finish();
  nmp::console::print_line();
  for (const std::string& line : bbp_report(session, digits, status.total_seconds()))
    nmp::console::print_line(line);
  nmp::console::print_line();
}

}  // namespace

void run_bbp_action(nmp::CommandLine& line, const nmp::BuildProfile& profile) {
  if (line.at_end()) return bbp_extractor_menu(profile);
  run(parse_bbp(line));
}

void bbp_extractor_menu(const nmp::BuildProfile& profile) {
  BBPSession session(default_bbp_settings());
  if (bbp_menu(session, profile)) run(session);
}

}  // namespace numforge
