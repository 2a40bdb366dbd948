// The record of one Custom Compute job, and the rules that its values obey.
//
// The command line and the menu both fill it through the setters below, which refuse what can be
// refused at once; `validate` refuses what depends on several values, when the job starts.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "foundation/build_profile.h"
#include "memory/allocator_choice.h"
#include "parallel/context.h"

namespace numforge {

enum class Mode { Ram, Swap };

/// digits_per_file: everything in one compressed file.
inline constexpr std::uint64_t kOneFile = std::numeric_limits<std::uint64_t>::max();
inline constexpr std::uint64_t kMinimumDigitsPerFile = 1'000'000;
inline constexpr std::uint32_t kMaximumTaskDecomposition = 65'536;
inline constexpr std::uint64_t kDefaultDecimalDigits = 1'000'000;

struct Job {
  const nmp::BuildProfile* profile = nullptr;

  std::string constant;              ///< catalogue key
  std::uint64_t argument = 0;        ///< as the catalogue's checks return it
  std::string algorithm;             ///< catalogue key
  std::uint64_t decimal_digits = 0;  ///< behind the point; 0: none are written
  std::uint64_t hex_digits = 0;

  std::string output_path;  ///< folder; empty: the current one
  bool output_enable = true;
  std::uint64_t digits_per_file = 0;  ///< 0: text file; kOneFile; else a count
  bool verify = true;
  bool bbp_check = false;  ///< compare the last hexadecimal digits with the digit extractor's

  Mode mode = Mode::Ram;
  std::string allocator{nmp::kDefaultAllocator};
  std::string framework{nmp::parallel::kDefaultFramework};
  std::uint32_t task_decomposition = 1;

  // Swap Mode only.
  std::uint64_t swap_memory = 0;  ///< bytes; 0: not chosen
  std::string swap;               ///< swap disk configuration as typed
  std::uint64_t minimum_io = 4096;
  std::uint64_t bytes_per_seek = 1 << 20;  ///< what a seek costs, in bytes read meanwhile
  bool parallel_access = false;            ///< whether disks serve several threads at once
  bool checkpointing = true;
  std::string post_checkpoint_command;
};

/// The job that `custom NAME:ARG` starts from. Throws InvalidParametersException for an unknown
/// constant or a refused argument.
Job make_job(std::string_view constant, std::string_view argument,
             const nmp::BuildProfile& profile);

/// Decimal digits; the hexadecimal count follows: floor(digits * log16(10)). Negative counts as 0.
void set_decimal_digits(Job& job, std::int64_t digits);
/// Hexadecimal digits; the decimal count follows: floor(digits * log10(16)).
void set_hex_digits(Job& job, std::int64_t digits);
/// Hexadecimal digits on, as many as the decimal ones are worth, or off.
void enable_hex_digits(Job& job, bool enabled);
/// Throws InvalidParametersException "Invalid Algorithm: " for a key that is not the constant's.
void set_algorithm(Job& job, std::string_view key);
/// Creates the folder where it does not exist and writes a small file there. Throws
/// InvalidParametersException "Path is not writable.".
void set_output_path(Job& job, std::string path);
/// Negative means one file. Warns about counts that are too small.
void set_digits_per_file(Job& job, std::int64_t digits);
/// "ram" or "swap", else InvalidParametersException "Invalid Command: ".
void set_mode(Job& job, std::string_view name);
/// Throws InvalidParametersException for an unknown allocator or framework.
void set_allocator(Job& job, std::string description);
void set_framework(Job& job, std::string description);
/// 1 to 65,536, else InvalidParametersException.
void set_task_decomposition(Job& job, std::int64_t tasks);
/// Swap Mode: cut to the program's cap.
void set_swap_memory(Job& job, std::int64_t bytes);
/// Swap Mode: clamped to 4,096 to 2,147,483,647 bytes.
void set_minimum_io(Job& job, std::int64_t bytes);
/// Swap Mode: at least 1.
void set_bytes_per_seek(Job& job, std::int64_t bytes);

/// The keys of configuration files: "ram", "swap"; and the names of menus: "Ram Only", "Swap Mode".
const char* mode_key(Mode mode);
const char* mode_name(Mode mode);
/// "Compress with 1,000,000 digits per file.", and so on.
std::string digit_format_text(const Job& job);

/// Whether either radix has digits, but too few for a compressed file.
bool too_few_to_compress(const Job& job);
/// Switches compression off, with a warning, for a job with too few digits to compress. To be
/// called when the job starts, before `validate`.
void settle_output_format(Job& job);
/// Throws InvalidParametersException with a plain sentence when the job cannot start as it is, and
/// its subclass ModeNotSupportedException where another mode might.
void validate(const Job& job);

}  // namespace numforge
