// A cursor over the command line's key-and-value tokens.
#pragma once

#include <algorithm>
#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nmp {

class CommandLine {
 public:
  /// Carries only a message; not part of the Exception tree.
  class CommandLineException : public std::exception {
   public:
    explicit CommandLineException(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

   private:
    std::string message_;
  };

  /// `arguments`[0] is the program's own path and is skipped.
  explicit CommandLine(std::vector<std::string> arguments);

  bool at_end() const { return position_ >= tokens_.size(); }
  /// Text before the first ":" of the current token. These three throw CommandLineException
  /// "Expected more parameters." at the end.
  const std::string& key() const;
  /// Text after the first ":", or empty.
  const std::string& value() const;
  void advance();
  /// The current argument as it was typed (a path may hold a ":").
  const std::string& raw() const;

 private:
  void require_token() const;

  std::vector<std::string> arguments_;
  std::vector<std::pair<std::string, std::string>> tokens_;
  std::size_t position_ = 1;
};

/// One word that the program understands. `apply` consumes its own token.
template <typename... Target>
struct Option {
  const char* key;
  const char* value;  ///< what stands behind the ":" in the help text, or empty
  const char* help;   ///< one line
  void (*apply)(CommandLine&, Target&...);
};

template <typename... Target>
using OptionTable = std::span<const Option<Target...>>;

/// The option of that key, or null.
template <typename... Target>
const Option<Target...>* find_option(OptionTable<Target...> table, std::string_view key) {
  for (const Option<Target...>& option : table)
    if (option.key == key) return &option;
  return nullptr;
}

/// One line of the help text per option.
template <typename... Target>
std::string option_help(OptionTable<Target...> table) {
  std::string text;
  for (const Option<Target...>& option : table) {
    std::string line = std::string("    ") + option.key + (*option.value ? ":" : "") + option.value;
    line.resize(std::max<std::size_t>(line.size() + 2, 28), ' ');
    text += line + option.help + "\n";
  }
  return text;
}

/// Reads an integer the way every option does: optional "-", decimal digits, optional suffix K, M,
/// B or T (decimal multiples, either case); anything after that is ignored; nothing is 0. A value
/// past 64 bits sticks at the end of the range.
std::int64_t parse_integer(std::string_view text);
/// The same without suffixes: reading stops at the first character that is no digit.
std::int64_t parse_plain_integer(std::string_view text);

}  // namespace nmp
