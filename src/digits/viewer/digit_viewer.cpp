#include "digits/viewer/digit_viewer.h"

#include <functional>
#include <limits>
#include <string_view>
#include <vector>

#include "digits/viewer/choices.h"
#include "digits/viewer/viewer_menu.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/fatal.h"

namespace nmp {

struct ViewerRequest {
  using Choice = std::function<void(parallel::Context&, const OpenDigits&)>;

  unsigned radix = 0;
  std::vector<std::string> folders;
  std::string framework{parallel::kDefaultFramework};
  std::vector<Choice> choices;
};

namespace {

constexpr std::uint64_t kToTheEnd = std::numeric_limits<std::uint64_t>::max();

[[noreturn]] void refuse(const std::string& message) {
  throw InvalidParametersException("run_digit_viewer()", message);
}

/// Takes what stands before the next ":" off the text, the last part being all that is left: a path
/// may hold a ":".
std::string take_part(std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == text.npos) refuse("A value is missing behind \"" + text + "\".");
  std::string part = text.substr(0, colon);
  text.erase(0, colon + 1);
  return part;
}

/// Digits with an optional suffix K, M, B or T.
std::uint64_t count_in(std::string_view text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view rest = text.substr(digits);
  if (digits == 0 || rest.size() > 1 ||
      (rest.size() == 1 && std::string_view("KMBTkmbt").find(rest[0]) == rest.npos))
    refuse("\"" + std::string(text) + "\" is not a number of digits.");
  return static_cast<std::uint64_t>(parse_integer(text));
}

/// "A-B"; "B" from `lowest` on; nothing for everything.
DigitSpan span_in(std::string_view text, std::uint64_t lowest) {
  if (text.empty()) return {lowest, kToTheEnd};
  const std::size_t dash = text.find('-');
  if (dash == text.npos) return {lowest, count_in(text)};
  return {count_in(text.substr(0, dash)), count_in(text.substr(dash + 1))};
}

DigitSpan within(DigitSpan span, const OpenDigits& source) {
  if (span.last == kToTheEnd) span.last = source.reader->total_digits();
  return span;
}

std::uint64_t digits_per_file_in(const std::string& text) {
  return text == "-1" ? kSingleFile : count_in(text);
}

/// The value of the current token, which is consumed.
std::string take_value(CommandLine& line) {
  std::string value = line.value();
  line.advance();
  return value;
}

void view(CommandLine& line, ViewerRequest& request) {
  const DigitSpan span = span_in(take_value(line), 1);
  request.choices.push_back([span](parallel::Context&, const OpenDigits& source) {
    view_range(source, within(span, source));
  });
}

void stats(CommandLine& line, ViewerRequest& request) {
  const DigitSpan span = span_in(take_value(line), 1);
  request.choices.push_back([span](parallel::Context& context, const OpenDigits& source) {
    compute_stats(context, source, within(span, source));
  });
}

void extract(CommandLine& line, ViewerRequest& request) {
  std::string path = take_value(line);
  const DigitSpan span = span_in(take_part(path), 1);
  request.choices.push_back([span, path](parallel::Context& context, const OpenDigits& source) {
    extract_digits(context, source, within(span, source), path);
  });
}

void compress(CommandLine& line, ViewerRequest& request) {
  std::string base = take_value(line);
  const std::string digits = take_part(base);
  const DigitSpan span{1, digits.empty() ? kToTheEnd : count_in(digits)};
  const std::uint64_t per_file = digits_per_file_in(take_part(base));
  request.choices.push_back([=](parallel::Context& context, const OpenDigits& source) {
    compress_digits(context, source, within(span, source).last, per_file, base);
  });
}

void blocks(CommandLine& line, ViewerRequest& request) {
  std::string base = take_value(line);
  const std::string ids = take_part(base);
  DigitSpan span = span_in(ids, 0);
  if (ids.find('-') == ids.npos) span.first = span.last;  // a single block
  const std::uint64_t per_file = count_in(take_part(base));
  request.choices.push_back([=](parallel::Context& context, const OpenDigits& source) {
    compress_blocks(context, source, span.first, span.last, per_file, base);
  });
}

void path(CommandLine& line, ViewerRequest& request) {
  request.folders.push_back(take_value(line));
}

void radix(CommandLine& line, ViewerRequest& request) {
  const std::int64_t value = parse_integer(take_value(line));
  if (value != 10 && value != 16) refuse("Invalid Radix");
  request.radix = static_cast<unsigned>(value);
}

void framework(CommandLine& line, ViewerRequest& request) {
  request.framework = parallel::canonical_description(take_value(line));
}

constexpr Option<ViewerRequest> kOptions[] = {
    {"view", "A-B", "print the digits from A to B, 1 being the first after the point", view},
    {"stats", "A-B", "count and hash the digits from A to B; nothing means all", stats},
    {"extract", "A-B:PATH", "write the digits from A to B into a text file", extract},
    {"compress", "N:D:BASE", "write digits 1 to N as BASE0.ncd, ..., D per file; D = -1: one file",
     compress},
    {"blocks", "I-J:D:BASE", "of the files of all digits, D per file, write only number I to J",
     blocks},
    {"path", "FOLDER", "look for .ncd files here as well", path},
    {"radix", "10|16", "radix of a text file, where its name and digits do not tell", radix},
    {"-PF", "NAME[:THREADS]", "threads, as for \"custom\"", framework},
};

/// A path as people paste it: without blanks and quotes around it.
std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t\r\"");
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\"") - first + 1);
}

}  // namespace

OptionTable<ViewerRequest> viewer_options() { return kOptions; }

void menu_digit_viewer() {
  console::print_line("\n\nDigit Viewer  (reads .txt and .ncd files, format version 1.1.0)\n");
  console::print_line("Enter the path of the file (include .txt or .ncd extensions):");
  const auto path = console::read_line("");
  if (!path) return;
  OpenDigits source = open_digits(trimmed(*path), 0, {});
  file_menu(*parallel::make_context(parallel::kDefaultFramework), source);
}

void run_digit_viewer(CommandLine& line) {
  if (line.at_end()) return menu_digit_viewer();
  const std::string file = line.raw();
  line.advance();
  ViewerRequest request;
  while (!line.at_end()) {
    const Option<ViewerRequest>* option = find_option(viewer_options(), line.key());
    if (option == nullptr) fatal_exit("Invalid Parameter: " + line.key());
    option->apply(line, request);
  }
  OpenDigits source = open_digits(file, request.radix, request.folders);
  const auto context = parallel::make_context(request.framework);
  if (request.choices.empty()) return file_menu(*context, source);
  for (const ViewerRequest::Choice& choice : request.choices) choice(*context, source);
}

}  // namespace nmp
