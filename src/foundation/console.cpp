#include "foundation/console.h"

#include <algorithm>
#include <cctype>

#include "foundation/command_line.h"
#include "foundation/progress.h"
#include "platform/console.h"

namespace nmp::console {
namespace {

bool colors_enabled = true;
bool status_shown = false;  // a live status line is on the screen

/// The console attribute of a colour letter; 0 leaves the colour as it is.
int attribute(char code) {
  constexpr std::string_view kDark = "bgtrpy";  // attributes 1 to 6, 8 more when bright
  if (code == ' ') return 0;
  const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(code)));
  const std::size_t index = kDark.find(lower);
  if (index == std::string_view::npos) return 7;
  return static_cast<int>(index) + (code == lower ? 1 : 9);
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// A whole answer that parse_integer reads to its end.
bool is_integer(std::string_view text) {
  if (!text.empty() && text.front() == '-') text.remove_prefix(1);
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  if (digits == 0) return false;
  const std::string_view rest = text.substr(digits);
  return rest.empty() ||
         (rest.size() == 1 && std::string_view("KMBTkmbt").find(rest[0]) != std::string_view::npos);
}

}  // namespace

void enable_colors(bool enabled) { colors_enabled = enabled; }

bool is_terminal() { return platform::stdout_is_terminal(); }

void set_color(char code) {
  const int value = attribute(code);
  if (value != 0 && colors_enabled && is_terminal()) platform::console_attribute(value);
}

void print(std::string_view text) {
  clear_line();
  platform::console_write(text);
}

void print(char code, std::string_view text) {
  clear_line();
  set_color(code);
  platform::console_write(text);
  if (code != ' ') set_color('w');
}

void print_line(std::string_view text) {
  print(text);
  platform::console_write("\n");
}

void print_line(char code, std::string_view text) {
  print(code, text);
  platform::console_write("\n");
}

void rewrite_line(std::span<const ColoredText> parts) {
  if (!is_terminal()) return;
  // The last column stays free: writing into it would move the cursor to the next line.
  auto room = static_cast<std::size_t>(std::max(platform::console_columns() - 1, 0));
  platform::console_erase_line();
  for (const ColoredText& part : parts) {
    const std::string_view text = std::string_view(part.text).substr(0, room);
    room -= text.size();
    set_color(part.color);
    platform::console_write(text);
  }
  set_color('w');
  platform::console_flush();
  status_shown = true;
}

void clear_line() {
  if (!status_shown) return;
  status_shown = false;
  platform::console_erase_line();
}

void flush() { platform::console_flush(); }

std::optional<std::string> read_line(std::string_view prompt) {
  print(prompt);
  flush();
  std::string line;
  if (platform::console_read_line(&line)) return line;
  throw_if_interrupted();  // an interrupted read ends like the input does
  return std::nullopt;
}

std::optional<std::int64_t> read_integer(std::string_view prompt,
                                         std::optional<std::int64_t> usual) {
  for (;;) {
    const std::optional<std::string> line = read_line(prompt);
    if (!line) return std::nullopt;
    const std::string_view answer = trimmed(*line);
    if (answer.empty() && usual) return usual;
    if (is_integer(answer)) return parse_integer(answer);
    print_line("Invalid input.");
  }
}

void wait_for_key() {
  flush();
  if (platform::stdin_is_terminal() && platform::stdout_is_terminal()) platform::console_pause();
}

}  // namespace nmp::console
