// The report of a finished job, on the console and beside the digits.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "compute/status_display.h"

namespace numforge {

/// What became of one radix.
struct RadixReport {
  std::string last_digits_label;  ///< "Last Decimal Digits:"
  std::string last_digits;
  std::uint64_t digits = 0;           ///< after the point; also the position of the last one
  std::uint64_t hash = 0;             ///< of all of them, as one integer modulo 2^61 - 1
  std::string file;                   ///< the only one or the first; empty: not written
  std::uint64_t digits_per_file = 0;  ///< 0: a text file
  bool verified = false;              ///< the file was read back and compared
  std::string bbp_check;  ///< outcome of the comparison with the digit extractor, if any

  /// Of a compressed set.
  std::uint64_t files() const { return (digits - 1) / digits_per_file + 1; }
};

struct JobReport {
  std::string program;  ///< name, version and build
  std::string constant, algorithm;
  std::uint64_t decimal_digits = 0, hex_digits = 0;
  std::string framework;
  unsigned threads = 1;
  std::string processor, kernels;  ///< name of the machine's processor; instruction set in use
  std::string started;             ///< local date and time
  std::string allocator, memory_granted;             ///< where the memory came from, and how
  std::uint64_t memory_needed = 0, memory_used = 0;  ///< bytes, the program itself included
  std::vector<StageTime> stages;
  double total_seconds = 0;
  std::vector<RadixReport> radixes;
  std::string file;  ///< where the report itself goes; empty: nowhere

  /// The lines of the report, without line ends.
  std::vector<std::string> lines() const;
};

void print_report(const JobReport& report);
/// Writes report.file. Throws FileException.
void write_report(const JobReport& report);

}  // namespace numforge
