#include "digits/viewer/viewer_menu.h"

#include <algorithm>
#include <optional>

#include "digits/viewer/choices.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"

namespace nmp {
namespace {

/// Sets of one file for everything may state a size that no file can have.
constexpr std::uint64_t kMostDigitsPerFile = std::uint64_t{1} << 63;

void print_row(const char* label, const std::string& value) {
  console::print('w', label);
  console::print_line('G', value);
}

void print_summary(const OpenDigits& source) {
  const DigitReader& reader = *source.reader;
  console::print_line(source.set != nullptr ? "\n\nCompressed Digit File" : "\n\nText File");
  console::print_line();
  print_row("File:                        ", printable(source.path, 200));
  print_row("Radix:                       ", std::to_string(reader.radix()));
  print_row("First Digits:                ", printable(reader.first_digits()) + ".");
  print_row("Digits after Decimal Place:  ", with_commas(reader.total_digits()));
  if (source.set == nullptr) return;
  const std::uint64_t per_file = source.set->digits_per_file();
  print_row("Digits per File:             ", per_file < kMostDigitsPerFile
                                                 ? with_commas(per_file)
                                                 : "Unknown - Extended File Format");
  console::print_line("Search paths:");
  for (const std::string& folder : source.set->search_paths())
    console::print_line("    " + (folder.empty() ? "." : printable(folder, 200)));
}

void print_choices(bool is_set) {
  console::print_line("\nWhat would you like to do?\n");
  console::print_line("  0     View a small range of digits.");
  console::print_line("  1     Compute Stats (Digit Counts + Hash).");
  console::print_line("  2     Extract digits into a .txt file.");
  console::print_line("  3     Compress digits 1 - N into one or more .ncd files.");
  console::print_line("  4     Compress a subset of digits into .ncd files.");
  if (!is_set) return;
  console::print("  5     Add search directory.");
  console::print_line('t', " (if .ncd files are in multiple paths)");
}

/// A count; negative answers are none.
std::optional<std::uint64_t> ask(const char* prompt, std::uint64_t usual) {
  const auto answer = console::read_integer(
      prompt, static_cast<std::int64_t>(std::min<std::uint64_t>(usual, kMostDigitsPerFile - 1)));
  if (!answer) return std::nullopt;
  return *answer < 0 ? 0 : static_cast<std::uint64_t>(*answer);
}

std::optional<DigitSpan> ask_span(const OpenDigits& source) {
  const auto first = ask("    From: ", 1);
  if (!first) return std::nullopt;
  const auto last = ask("    To  : ", source.reader->total_digits());
  if (!last) return std::nullopt;
  return DigitSpan{*first, *last};
}

/// All ones for a negative answer: everything in one file.
std::optional<std::uint64_t> ask_digits_per_file() {
  const auto answer = console::read_integer("Digits per file (-1 for a single file): ", -1);
  if (!answer) return std::nullopt;
  return *answer < 0 ? kSingleFile : static_cast<std::uint64_t>(*answer);
}

std::optional<std::string> ask_base() {
  return console::read_line("Name of the files (without their number and .ncd): ");
}

// Each choice: false when the input has ended.

bool view(const OpenDigits& source) {
  console::print_line("\n\nView a Range of Digits\n");
  const auto first = ask("Starting Digit: ", 1);
  if (!first) return false;
  const auto count = ask("Digits to View: ", 100);
  if (!count) return false;
  console::print_line();
  // The sum may pass 64 bits; an empty range is refused.
  view_range(source, {*first, *count > ~*first ? ~std::uint64_t{0} : *first + *count - 1});
  return true;
}

bool stats(parallel::Context& context, const OpenDigits& source) {
  console::print_line("\n\nCompute Stats\n");
  const auto span = ask_span(source);
  if (!span) return false;
  console::print_line();
  compute_stats(context, source, *span);
  return true;
}

bool extract(parallel::Context& context, const OpenDigits& source) {
  console::print_line("\n\nExtract Digits\n");
  const auto span = ask_span(source);
  if (!span) return false;
  const auto path = console::read_line("Path of the new .txt file: ");
  if (!path) return false;
  extract_digits(context, source, *span, *path);
  return true;
}

bool compress(parallel::Context& context, const OpenDigits& source) {
  console::print_line("\n\nCompress Digits 1 - N\n");
  const auto digits = ask("    N   : ", source.reader->total_digits());
  if (!digits) return false;
  const auto per_file = ask_digits_per_file();
  if (!per_file) return false;
  const auto base = ask_base();
  if (!base) return false;
  compress_digits(context, source, *digits, *per_file, *base);
  return true;
}

bool compress_part(parallel::Context& context, const OpenDigits& source) {
  console::print_line("\n\nCompress a Subset of Digits\n");
  console::print_line(
      "All digits would make a set of files, numbered from 0. Choose those to write.\n");
  const auto per_file = ask("Digits per file: ", 1'000'000);
  if (!per_file) return false;
  const auto first = ask("First file: ", 0);
  if (!first) return false;
  const auto last = ask("Last file:  ", *first);
  if (!last) return false;
  const auto base = ask_base();
  if (!base) return false;
  compress_blocks(context, source, *first, *last, *per_file, *base);
  return true;
}

bool add_directory(OpenDigits& source) {
  const auto folder = console::read_line("\nEnter directory: ");
  if (!folder) return false;
  source.set->add_search_path(*folder);
  return true;
}

/// False for an answer that is no choice and when the input has ended.
bool run_choice(parallel::Context& context, OpenDigits& source, std::int64_t choice) {
  switch (choice) {
    case 0:
      return view(source);
    case 1:
      return stats(context, source);
    case 2:
      return extract(context, source);
    case 3:
      return compress(context, source);
    case 4:
      return compress_part(context, source);
    case 5:
      return source.set != nullptr && add_directory(source);
    default:
      return false;
  }
}

}  // namespace

void file_menu(parallel::Context& context, OpenDigits& source) {
  for (bool goes_on = true; goes_on;) {
    print_summary(source);
    print_choices(source.set != nullptr);
    const auto choice = console::read_integer("\nEnter your choice: ", -1);
    if (!choice) return;
    try {
      goes_on = run_choice(context, source, *choice);
    } catch (const InterruptedException&) {
      throw;
    } catch (const Exception& failure) {
      if (!console::is_terminal()) throw;
      failure.print();
    }
  }
}

}  // namespace nmp
