#include "compute/custom_compute.h"

#include <optional>
#include <string>

#include "compute/job_options.h"
#include "compute/job_runner.h"
#include "constants/catalogue_menu.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace numforge {
namespace {

namespace console = nmp::console;

/// The choices of the person; nothing when they leave or the input ends.
std::optional<Job> ask_for_job(const nmp::BuildProfile& profile) {
  const std::optional<ConstantChoice> choice = choose_constant();
  if (!choice) return std::nullopt;
  const bool has_argument = takes_number(*choice->constant);
  Job job = make_job(choice->constant->key,
                     has_argument ? std::to_string(choice->argument) : std::string(), profile);
  set_algorithm(job, choice->algorithm->key);
  console::print_line();
  const std::optional<std::int64_t> digits =
      console::read_integer("Decimal Digits: ", static_cast<std::int64_t>(job.decimal_digits));
  if (!digits) return std::nullopt;
  set_decimal_digits(job, *digits);
  return job;
}

}  // namespace

void run_custom_action(nmp::CommandLine& line, const nmp::BuildProfile& profile) {
  if (line.at_end()) return custom_compute_menu(profile);
  run_job(parse_job(line, profile));
}

void custom_compute_menu(const nmp::BuildProfile& profile) {
  console::print_line("\n\nCustom Compute a Constant\n");
  try {
    if (const std::optional<Job> job = ask_for_job(profile)) run_job(*job);
  } catch (const nmp::InterruptedException&) {
    throw;  // ends the program, not just the menu's round
  } catch (const nmp::Exception& e) {
    e.print();
    console::wait_for_key();
  }
}

}  // namespace numforge
