#include "compute/custom_compute_menu.h"

#include <string>

#include "compute/job_dialogues.h"
#include "compute/job_failures.h"
#include "compute/precision.h"
#include "constants/catalogue.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace numforge {
namespace {

namespace console = nmp::console;

constexpr std::size_t kValueColumn = 32;

/// A label, padded to the column of the values, and its value.
void line(std::string label, char color, const std::string& value) {
  label.resize(std::max(kValueColumn, label.size() + 1), ' ');
  console::print('w', label);
  console::print_line(color, value);
}

std::string enabled(bool on) { return on ? "Enabled" : "Disabled"; }

}  // namespace

CustomComputeMenu::CustomComputeMenu(const nmp::BuildProfile& profile)
    : job_(make_job("pi", "", profile)) {}

void CustomComputeMenu::show() {
  const ConstantCatalogueEntry& constant = constant_by_key(job_.constant);
  const AlgorithmEntry& algorithm = algorithm_by_key(constant, job_.algorithm);
  console::print_line("\n\nCustom Compute a Constant\n");
  line("  1     Constant:", constant.color, result_name(constant, job_.argument));
  line("  2     Algorithm:", 'G',
       long_name(constant, algorithm, job_.argument,
                 words_for_digits(job_.decimal_digits, job_.hex_digits)));
  line("  3     Decimal Digits:", 'G', nmp::with_commas(job_.decimal_digits));
  line("  4     Hexadecimal Digits:", job_.hex_digits ? 'G' : 'R',
       job_.hex_digits ? nmp::with_commas(job_.hex_digits) : "Disabled");
  console::print_line();
  line("  5     Output To:", 'Y', job_.output_path.empty() ? "Default Path" : job_.output_path);
  line("  6     Digit Format:", 'Y', digit_format_text(job_));
  line("  7     Verify Output:", job_.verify ? 'G' : 'R', enabled(job_.verify));
  console::print_line();
  line("  8     Computation Mode:", 'T', mode_name(job_.mode));
  line("  9     Multi-Threading:", 'T',
       nmp::parallel::canonical_description(job_.framework) + "  ->  " +
           std::to_string(job_.task_decomposition) +
           (job_.task_decomposition == 1 ? " task" : " tasks"));
  show_memory();
  console::print_line("\n 20/21   Load/Save Configuration File");
  console::print_line("\n  0     Start Computation!\n");
}

void CustomComputeMenu::show_memory() {
  if (job_.mode == Mode::Swap) {
    line(" 10     Checkpointing:", 'T',
         enabled(job_.checkpointing) +
             (job_.post_checkpoint_command.empty() ? "" : "  +  Post-Checkpoint Command"));
    line(" 11     Far Memory Config:", 'T', job_.swap.empty() ? "Default Path" : job_.swap);
    line(" 12     Far Memory Tuning:", 'T',
         nmp::byte_size(job_.bytes_per_seek) + " per seek, " +
             (job_.parallel_access ? "parallel" : "sequential") + " access");
  }
  console::print_line();
  needs_.reset();
  std::string why;
  try {
    needs_ = job_needs(job_);
  } catch (const nmp::StringException& e) {
    why = e.message();
  }
  const bool swap = job_.mode == Mode::Swap;
  const std::string memory = swap     ? nmp::exact_byte_size(job_.swap_memory)
                             : needs_ ? nmp::exact_byte_size(needs_->memory())
                                      : why;
  line(swap ? " 13     Logical Memory Needed:" : " 10     Logical Memory Needed:",
       needs_ || swap ? 'Y' : 'R', memory);
  const std::uint64_t output = output_bytes(job_);
  line("        Logical Disk Needed:", 'Y',
       nmp::byte_size(0) + (output == 0 ? "" : "  +  " + nmp::byte_size(output) + " for output"));
  if (!swap && needs_ && needs_->memory() > job_.profile->ram_only_limit)
    console::print_line('R', "        64-bit is required to use more than 2GB of memory.");
}

void CustomComputeMenu::start() { needs_ ? run_job(job_, needs_->block) : run_job(job_); }

CustomComputeMenu::Next CustomComputeMenu::choose_ram_only(std::int64_t option) {
  if (option == 10)
    ask_allocator(job_);
  else
    console::print_line("Invalid input.");
  return Next::kShowAgain;
}

CustomComputeMenu::Next CustomComputeMenu::choose_swap_mode(std::int64_t option) try {
  switch (option) {
    case 10:
      ask_checkpointing(job_);
      break;
    case 11:
      ask_far_memory(job_);
      break;
    case 12:
      ask_far_memory_tuning(job_);
      break;
    case 13:
      ask_swap_memory(job_);
      break;
    default:
      console::print_line("Invalid input.");
  }
  return Next::kShowAgain;
} catch (const ModeNotSupportedException& e) {
  console::print_line('R', "\n" + e.message());
  return Next::kShowAgain;
}

CustomComputeMenu::Next CustomComputeMenu::choose(std::int64_t option) {
  switch (option) {
    case 0:
      start();
      return Next::kLeave;
    case 1:
      ask_constant(job_);
      break;
    case 2:
      ask_algorithm(job_);
      break;
    case 3:
      ask_decimal_digits(job_);
      break;
    case 4:
      enable_hex_digits(job_, job_.hex_digits == 0);
      break;
    case 5:
      ask_output_path(job_);
      break;
    case 6:
      ask_digit_format(job_);
      break;
    case 7:
      job_.verify = !job_.verify;
      break;
    case 8:
      ask_mode(job_, needs_);
      break;
    case 9:
      ask_multi_threading(job_);
      break;
    case 20:
      ask_to_load(job_);
      break;
    case 21:
      ask_to_save(job_);
      break;
    default:
      return job_.mode == Mode::Ram ? choose_ram_only(option) : choose_swap_mode(option);
  }
  return Next::kShowAgain;
}

CustomComputeMenu::Next CustomComputeMenu::round() {
  show();
  const std::optional<std::int64_t> option = console::read_integer("option: ");
  if (!option) return Next::kLeave;
  const Job before = job_;
  try {
    return choose(*option);
  } catch (const ModeChangeException& change) {
    job_.mode = change.mode;
  } catch (const nmp::InterruptedException&) {
    throw;  // ends the program, not just the round
  } catch (const nmp::Exception& e) {
    job_ = before;
    e.print();
    console::wait_for_key();
  }
  return Next::kShowAgain;
}

void CustomComputeMenu::run() {
  while (round() == Next::kShowAgain) {
  }
}

}  // namespace numforge
