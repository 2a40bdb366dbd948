#include "compute/custom_compute.h"

#include "compute/custom_compute_menu.h"
#include "compute/job_config.h"
#include "compute/job_options.h"
#include "compute/job_runner.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace numforge {

void run_custom_action(nmp::CommandLine& line, const nmp::BuildProfile& profile) {
  if (line.at_end()) return custom_compute_menu(profile);
  run_job(parse_job(line, profile));
}

void run_configured_job(const nmp::config::Object& settings, const nmp::BuildProfile& profile) {
  Job job;
  try {
    job = job_from_config(settings, profile);
    validate(job);
  } catch (const nmp::StringException& e) {
    nmp::console::print_line('R', "\n" + located_message(e));
    constexpr const char* kSummary = "Cannot run computation with these parameters.";
    throw nmp::InvalidParametersException("run_configured_job()", kSummary);
  }
  run_job(job);
}

void custom_compute_menu(const nmp::BuildProfile& profile) { CustomComputeMenu(profile).run(); }

}  // namespace numforge
