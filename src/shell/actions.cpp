#include "shell/actions.h"

#include <string_view>
#include <utility>

#include "compute/custom_compute.h"
#include "compute/job_config.h"
#include "digits/viewer/digit_viewer.h"
#include "foundation/exceptions.h"
#include "foundation/fatal.h"
#include "shell/bbp_extractor.h"
#include "shell/missing_tools.h"
#include "shell/program_text.h"

namespace numforge {
namespace {

using nmp::BuildProfile;
using nmp::CommandLine;

void custom(CommandLine& line, const BuildProfile& profile) {
  line.advance();
  run_custom_action(line, profile);
}

/// The settings objects that a configuration file may hold for tools which are not there.
constexpr std::pair<std::string_view, Tool> kMissingActions[] = {
    {"BenchIO", Tool::IoAnalysis}, {"StressTest", Tool::StressTester}};

[[noreturn]] void refuse_config(const std::string& message) {
  throw nmp::InvalidParametersException("config()", message);
}

void config(CommandLine& line, const BuildProfile& profile) {
  line.advance();
  if (line.at_end()) refuse_config("Please specify a config file.");
  const std::string path = config_path(line.raw());
  line.advance();
  if (!line.at_end()) nmp::fatal_exit("Invalid Parameter: " + line.key());
  const ConfigFile file(path);
  if (file.action() == "CustomCompute") return run_configured_job(file.settings(), profile);
  for (const auto& [key, tool] : kMissingActions)
    if (file.action() == key) refuse_config(missing_tool_text(tool));
  refuse_config("Invalid Action: " + file.action());
}

void bbp(CommandLine& line, const BuildProfile& profile) {
  line.advance();
  run_bbp_action(line, profile);
}

void about(CommandLine& line, const BuildProfile& profile) {
  line.advance();
  if (!line.at_end()) nmp::fatal_exit("Invalid Parameter: " + line.key());
  print_about(profile);
}

void digitviewer(CommandLine& line, const BuildProfile&) {
  line.advance();
  nmp::run_digit_viewer(line);
}

/// A tool that is not there: on the command line that is a failure.
template <Tool tool>
void missing(CommandLine&, const BuildProfile&) {
  throw nmp::InvalidParametersException("run_action()", missing_tool_text(tool));
}

constexpr nmp::Option<const BuildProfile> kActions[] = {
    {"custom", "", "compute a constant: custom NAME[:ARG] OPTION:VALUE ...", custom},
    {"config", "", "run the job of a configuration file: config FILE", config},
    {"bench", "", "Benchmark Pi (not in this version yet)", missing<Tool::BenchmarkPi>},
    {"stress", "", "Component Stress Tester (not in this version yet)",
     missing<Tool::StressTester>},
    {"benchio", "", "I/O Performance Analysis (not in this version yet)",
     missing<Tool::IoAnalysis>},
    {"bbp", "",
     "BBP Digit Extractor for Pi: bbp OPTION:VALUE ...; without options its screen opens", bbp},
    {"digitviewer", "", "look at digit files: digitviewer FILE CHOICE:VALUE ...", digitviewer},
    {"validate", "", "check a validation file (not in this version yet)",
     missing<Tool::Validation>},
    {"slave", "", "work for another instance of this program (not in this version yet)",
     missing<Tool::Slave>},
    {"about", "", "about this program", about},
};

}  // namespace

nmp::OptionTable<const BuildProfile> actions() { return kActions; }

void run_action(CommandLine& line, const BuildProfile& profile) {
  const nmp::Option<const BuildProfile>* action = nmp::find_option(actions(), line.key());
  if (action == nullptr) nmp::fatal_exit("Invalid Parameter: " + line.key());
  action->apply(line, profile);
}

}  // namespace numforge
