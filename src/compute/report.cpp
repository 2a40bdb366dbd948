#include "compute/report.h"

#include "foundation/console.h"
#include "foundation/file_io.h"
#include "foundation/format.h"

namespace numforge {
namespace {

constexpr std::size_t kLabelWidth = 28, kDigitsPerGroup = 10, kGroupsPerLine = 5;

std::string row(std::string label, const std::string& value) {
  label.resize(std::max(label.size() + 1, kLabelWidth), ' ');
  return label + value;
}

void add_radix(std::vector<std::string>& lines, const RadixReport& radix) {
  lines.push_back("");
  lines.push_back(radix.last_digits_label);
  std::string line;
  const std::uint64_t first = radix.digits - radix.last_digits.size();
  for (std::size_t i = 0; i < radix.last_digits.size(); i += kDigitsPerGroup) {
    line += radix.last_digits.substr(i, kDigitsPerGroup) + " ";
    const std::size_t end = std::min(i + kDigitsPerGroup, radix.last_digits.size());
    if ((i / kDigitsPerGroup) % kGroupsPerLine + 1 < kGroupsPerLine &&
        end < radix.last_digits.size())
      continue;
    lines.push_back(line + " :  " + nmp::with_commas(first + end));
    line.clear();
  }
  lines.push_back(row("Digit Hash:", std::to_string(radix.hash) + "  (1 - " +
                                         nmp::with_commas(radix.digits) + ", modulo 2^61 - 1)"));
  if (!radix.bbp_check.empty()) lines.push_back(row("BBP Check:", radix.bbp_check));
  if (radix.file.empty()) return;
  lines.push_back(row("File:", radix.file));
  if (radix.digits_per_file != 0)
    lines.push_back(row("Compressed Files:", nmp::with_commas(radix.files()) + "  (" +
                                                 nmp::with_commas(radix.digits_per_file) +
                                                 " digits per file)"));
  lines.push_back(row("Read back:", radix.verified ? "verified" : "not verified"));
}

}  // namespace

std::vector<std::string> JobReport::lines() const {
  std::vector<std::string> lines;
  lines.push_back(row("Program:", program));
  lines.push_back(row("Constant:", constant));
  lines.push_back(row("Algorithm:", algorithm));
  lines.push_back(row("Decimal Digits:", nmp::with_commas(decimal_digits)));
  lines.push_back(row("Hexadecimal Digits:", nmp::with_commas(hex_digits)));
  lines.push_back(row("Processor:", processor + "  [" + kernels + "]"));
  lines.push_back(row("Threads:", std::to_string(threads) + "  (" + framework + ")"));
  lines.push_back(row("Started:", started));
  lines.push_back("");
  lines.push_back(row("Memory Allocator:", allocator));
  lines.push_back(row("Memory Granted:", memory_granted));
  lines.push_back(row("Memory Needed:", nmp::exact_byte_size(memory_needed)));
  lines.push_back(row("Peak Memory Used:", nmp::exact_byte_size(memory_used)));
  lines.push_back("");
  for (const StageTime& stage : stages)
    lines.push_back(row(stage.name + ":", nmp::duration(stage.seconds)));
  lines.push_back(row("Total:", nmp::duration(total_seconds)));
  for (const RadixReport& radix : radixes) add_radix(lines, radix);
  if (!file.empty()) {
    lines.push_back("");
    lines.push_back(row("Report:", file));
  }
  return lines;
}

void print_report(const JobReport& report) {
  nmp::console::print_line();
  for (const std::string& line : report.lines()) nmp::console::print_line(line);
  nmp::console::print_line();
}

void write_report(const JobReport& report) {
  std::string text;
  for (const std::string& line : report.lines()) text += line + "\r\n";
  nmp::FileIO::write_text_file(report.file, text);
}

}  // namespace numforge
