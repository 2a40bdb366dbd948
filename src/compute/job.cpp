#include "compute/job.h"

#include <algorithm>
#include <bit>

#include "compute/equivalent_digits.h"
#include "compute/job_failures.h"
#include "compute/writable_folder.h"
#include "constants/catalogue.h"
#include "digits/ncd_format.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "foundation/process_settings.h"
#include "memory/allocator_choice.h"
#include "platform/processor.h"

namespace numforge {

NF_REGISTER_EXCEPTION(ModeNotSupportedException)
NF_REGISTER_EXCEPTION(ConfigLoadException)

namespace {

[[noreturn]] void refuse(const char* function, const std::string& message) {
  throw nmp::InvalidParametersException(function, message);
}

std::uint64_t at_least_zero(std::int64_t value) {
  return value < 0 ? 0 : static_cast<std::uint64_t>(value);
}

bool too_few_for_a_file(std::uint64_t digits) {
  return digits != 0 && digits < kMinimumDigitsPerFile;
}

}  // namespace

Job make_job(std::string_view constant, std::string_view argument,
             const nmp::BuildProfile& profile) {
  const ConstantCatalogueEntry& entry = constant_by_key(constant);
  Job job;
  job.profile = &profile;
  job.constant = entry.key;
  job.argument = parse_argument(entry, argument);
  job.algorithm = algorithm_menu(entry).algorithms.front().key;
  job.task_decomposition =
      std::min(kMaximumTaskDecomposition, std::bit_ceil(nmp::platform::logical_processors()));
  job.swap_memory = std::min(profile.ram_only_limit, profile.swap_memory_cap);
  set_decimal_digits(job, kDefaultDecimalDigits);
  return job;
}

void set_decimal_digits(Job& job, std::int64_t digits) {
  job.decimal_digits = at_least_zero(digits);
  job.hex_digits = hex_digits_of(job.decimal_digits);
}

void set_hex_digits(Job& job, std::int64_t digits) {
  job.hex_digits = at_least_zero(digits);
  job.decimal_digits = decimal_digits_of(job.hex_digits);
}

void enable_hex_digits(Job& job, bool enabled) {
  job.hex_digits = enabled ? hex_digits_of(job.decimal_digits) : 0;
}

void set_algorithm(Job& job, std::string_view key) {
  job.algorithm = algorithm_by_key(constant_by_key(job.constant), key).key;
}

void set_output_path(Job& job, std::string path) {
  if (!make_writable(path)) refuse("set_output_path()", "Path is not writable.");
  job.output_path = std::move(path);
}

void set_digits_per_file(Job& job, std::int64_t digits) {
  job.digits_per_file = digits < 0 ? kOneFile : static_cast<std::uint64_t>(digits);
  if (too_few_for_a_file(job.digits_per_file)) nmp::print_warning("Too few digits for file.");
}

void set_mode(Job& job, std::string_view name) {
  if (name == "ram") {
    job.mode = Mode::Ram;
  } else if (name == "swap") {
    job.mode = Mode::Swap;
  } else {
    refuse("set_mode()", "Invalid Command: " + std::string(name));
  }
}

void set_allocator(Job& job, std::string description) {
  job.allocator = nmp::parse_allocator(description).description();
}

void set_framework(Job& job, std::string description) {
  (void)nmp::parallel::canonical_description(description);
  job.framework = std::move(description);
}

void set_task_decomposition(Job& job, std::int64_t tasks) {
  if (tasks < 1 || tasks > std::int64_t{kMaximumTaskDecomposition})
    refuse("set_task_decomposition()", "Task decomposition must be between 1 and 65536.");
  job.task_decomposition = static_cast<std::uint32_t>(tasks);
}

void set_swap_memory(Job& job, std::int64_t bytes) {
  job.swap_memory = std::min(at_least_zero(bytes), job.profile->swap_memory_cap);
}

void set_minimum_io(Job& job, std::int64_t bytes) {
  job.minimum_io = static_cast<std::uint64_t>(
      std::clamp<std::int64_t>(bytes, 4096, std::numeric_limits<std::int32_t>::max()));
}

void set_bytes_per_seek(Job& job, std::int64_t bytes) {
  job.bytes_per_seek = std::max<std::uint64_t>(at_least_zero(bytes), 1);
}

const char* mode_key(Mode mode) { return mode == Mode::Ram ? "ram" : "swap"; }
const char* mode_name(Mode mode) { return mode == Mode::Ram ? "Ram Only" : "Swap Mode"; }

std::string digit_format_text(const Job& job) {
  if (!job.output_enable) return "Digit Output Disabled";
  if (job.digits_per_file == 0) return "None - Write digits to a text file.";
  if (job.digits_per_file == kOneFile) return "Compress digits into one .ncd file.";
  return "Compress with " + nmp::with_commas(job.digits_per_file) + " digits per file.";
}

bool too_few_to_compress(const Job& job) {
  return too_few_for_a_file(job.decimal_digits) || too_few_for_a_file(job.hex_digits);
}

void settle_output_format(Job& job) {
  if (!job.output_enable || job.digits_per_file == 0 || !too_few_to_compress(job)) return;
  nmp::print_warning("Digits per file below minimum: Disabling compression.");
  job.digits_per_file = 0;
}

void validate(const Job& job) {
  constexpr const char* kHere = "validate()";
  const ConstantCatalogueEntry& constant = constant_by_key(job.constant);
  if (!is_available(job.constant)) refuse(kHere, unavailable_text(constant));
  algorithm_by_key(constant, job.algorithm);
  if (job.decimal_digits == 0 && job.hex_digits == 0)
    refuse(kHere, "The number of digits to compute must be at least 1.");
  if (job.bbp_check && (job.constant != "pi" || job.hex_digits == 0))
    refuse(kHere, "-bbp:1 checks the last hexadecimal digits of Pi; this job has none.");
  if (job.mode == Mode::Swap)
    throw ModeNotSupportedException(
        kHere, "Swap Mode cannot run in this version yet. Please choose Ram Only (-mode:ram).");
  if (!job.output_enable) return;
  if (job.digits_per_file != 0 && job.digits_per_file < nmp::kLeastDigitsPerFile)
    refuse(kHere, "Invalid Digits per File");
  if (!make_writable(job.output_path)) refuse(kHere, "Path is not writable.");
}

}  // namespace numforge
