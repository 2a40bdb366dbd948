#include "compute/job_dialogues.h"

#include <string>

#include "compute/job_config.h"
#include "compute/job_failures.h"
#include "compute/precision.h"
#include "constants/catalogue_menu.h"
#include "foundation/console.h"
#include "foundation/format.h"
#include "memory/allocator_menu.h"

namespace numforge {
namespace {

namespace console = nmp::console;

/// The row of a list that the person picks, counted from 0; nothing for anything else.
std::optional<std::size_t> choose_row(std::size_t rows, std::string_view prompt = "option: ") {
  const std::optional<std::int64_t> choice = console::read_integer(prompt, -1);
  if (!choice || *choice < 0 || *choice >= static_cast<std::int64_t>(rows)) return std::nullopt;
  return static_cast<std::size_t>(*choice);
}

std::string row(std::size_t number, std::string_view text, std::string_view note = "") {
  std::string line = "  " + std::to_string(number) + "     " + std::string(text);
  line.resize(std::max<std::size_t>(line.size() + 2, 24), ' ');
  return line + std::string(note);
}

/// A line of text; nothing when nothing was typed.
std::optional<std::string> ask_text(std::string_view question, std::string_view prompt) {
  console::print_line("\n" + std::string(question));
  std::optional<std::string> answer = console::read_line(prompt);
  if (answer && answer->empty()) answer.reset();
  return answer;
}

std::optional<std::string> ask_config_path() {
  return ask_text("Enter path of configuration file. (the .cfg extension can be omitted)",
                  "Path: ");
}

}  // namespace

void ask_constant(Job& job) {
  const std::optional<ConstantChoice> choice =
      choose_constant(words_for_digits(job.decimal_digits, job.hex_digits));
  if (!choice) return;
  job.constant = choice->constant->key;
  job.argument = choice->argument;
  job.algorithm = choice->algorithm->key;
}

void ask_algorithm(Job& job) {
  if (const AlgorithmEntry* choice =
          choose_algorithm(constant_by_key(job.constant), job.argument,
                           words_for_digits(job.decimal_digits, job.hex_digits)))
    job.algorithm = choice->key;
}

void ask_decimal_digits(Job& job) {
  const bool hex = job.hex_digits != 0;
  console::print_line("\nEnter the number of decimal digits. (suffixes K, M, B and T are known)");
  const std::optional<std::int64_t> digits =
      console::read_integer("Decimal Digits: ", static_cast<std::int64_t>(job.decimal_digits));
  if (!digits) return;
  set_decimal_digits(job, *digits);
  enable_hex_digits(job, hex);
}

void ask_output_path(Job& job) {
  console::print_line("\nEnter the folder for the digits. (enter nothing for the default path)");
  if (std::optional<std::string> path = console::read_line("Path: "))
    set_output_path(job, std::move(*path));
}

void ask_digit_format(Job& job) {
  console::print_line("\n\nSelect an Output Format:\n");
  console::print_line("  0     Disable digit output. Don't write digits to disk.");
  console::print_line("  1     Write to a text file. Do not compress.");
  console::print_line("  2     Compress digits into a single .ncd file.");
  console::print_line("  3     Compress digits into multiple .ncd files with a user-specified");
  console::print_line("        number of digits per file.\n");
  const std::optional<std::size_t> choice = choose_row(4);
  if (!choice) return;
  if (*choice >= 2 && too_few_to_compress(job))
    return console::print_line("\n\nToo few digits to compress.\n");
  std::int64_t digits_per_file = *choice == 2 ? -1 : 0;
  if (*choice == 3) {
    const std::optional<std::int64_t> typed = console::read_integer("Digits per file: ");
    if (!typed) return;
    digits_per_file = std::max<std::int64_t>(*typed, 0);
  }
  job.output_enable = *choice != 0;
  if (job.output_enable) set_digits_per_file(job, digits_per_file);
}

void ask_mode(const Job& job, const std::optional<JobNeeds>& needs) {
  console::print_line("\n\nSelect a Mode:\n");
  console::print_line("Option      Mode            Memory      Disk Memory\n");
  const auto print_mode = [](const char* name, std::string memory, const std::string& disk) {
    std::string line = name;
    line.resize(28, ' ');
    memory.resize(12, ' ');
    console::print_line(line + memory + disk);
  };
  print_mode(" 1      Ram Only",
             job.mode == Mode::Ram && needs ? nmp::byte_size(needs->memory()) : "Not Supported",
             nmp::byte_size(0));
  print_mode(" 2      Swap Mode", nmp::byte_size(job.swap_memory), "Not Supported");
  console::print_line(
      "\n    *Disk usage varies with the amount of memory that is being used.\n"
      "     Swap Mode can be set up and saved by this version, but not run yet.\n");
  const std::optional<std::int64_t> choice = console::read_integer("option: ", 0);
  if (choice == 1) throw ModeChangeException{Mode::Ram};
  if (choice == 2) throw ModeChangeException{Mode::Swap};
}

void ask_multi_threading(Job& job) {
  const std::vector<nmp::parallel::FrameworkName> names = nmp::parallel::framework_names();
  console::print_line("\n\nSelect a Parallel Framework:\n");
  for (std::size_t i = 0; i < names.size(); ++i)
    console::print_line(row(i, names[i].key, names[i].title));
  console::print_line();
  const std::optional<std::size_t> choice = choose_row(names.size());
  if (!choice) return;
  std::string description(names[*choice].key);
  if (names[*choice].threaded) {
    const std::optional<std::int64_t> threads =
        console::read_integer("Threads (0 = all logical processors): ", 0);
    if (!threads) return;
    if (*threads != 0) description += ":" + std::to_string(*threads);
  }
  set_framework(job, std::move(description));
  if (const std::optional<std::int64_t> tasks = console::read_integer(
          "Task Decomposition: ", static_cast<std::int64_t>(job.task_decomposition)))
    set_task_decomposition(job, *tasks);
}

void ask_allocator(Job& job) {
  if (const std::optional<nmp::AllocatorChoice> choice =
          nmp::choose_allocator(nmp::parse_allocator(job.allocator)))
    job.allocator = choice->description();
}

void ask_checkpointing(Job& job) {
  console::print_line("\n" + row(0, "Disable") + "\n" + row(1, "Enable") + "\n");
  const std::optional<std::size_t> choice = choose_row(2);
  if (!choice) return;
  job.checkpointing = *choice == 1;
  if (!job.checkpointing) return;
  console::print_line("\nCommand to run after each checkpoint. (enter nothing for none)");
  job.post_checkpoint_command = console::read_line("Command: ").value_or("");
}

void ask_far_memory(Job& job) {
  if (std::optional<std::string> text = ask_text("Enter the swap disk configuration.", "Swap: "))
    job.swap = std::move(*text);
}

void ask_far_memory_tuning(Job& job) {
  console::print_line("\nBytes that the disks could read in the time of one seek.");
  const std::optional<std::int64_t> bytes =
      console::read_integer("Bytes per Seek: ", static_cast<std::int64_t>(job.bytes_per_seek));
  if (!bytes) return;
  set_bytes_per_seek(job, *bytes);
  console::print_line("\nAccess from several threads at once:\n" + row(0, "Disable") + "\n" +
                      row(1, "Enable") + "\n");
  if (const std::optional<std::size_t> choice = choose_row(2)) job.parallel_access = *choice == 1;
}

void ask_swap_memory(Job& job) {
  console::print_line("\nEnter the bytes of memory to use.");
  if (const std::optional<std::int64_t> bytes =
          console::read_integer("Memory: ", static_cast<std::int64_t>(job.swap_memory)))
    set_swap_memory(job, *bytes);
}

void ask_to_load(Job& job) {
  if (const std::optional<std::string> path = ask_config_path())
    job = load_job(config_path(*path), *job.profile);
}

void ask_to_save(const Job& job) {
  const std::optional<std::string> path = ask_config_path();
  if (!path) return;
  save_job(job, config_path(*path));
  console::print_line("\nSaved: " + config_path(*path));
}

}  // namespace numforge
