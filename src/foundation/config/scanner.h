// Walks through the text of a configuration and counts its lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/exceptions.h"

namespace nmp::config {

class Scanner {
 public:
  /// `function` is what the exceptions name. A byte order mark at the start is no part of the text.
  Scanner(std::string_view text, const char* function);

  std::uint64_t line() const { return line_; }
  bool at_end() const { return position_ == text_.size(); }
  /// The next character. These throw EndOfStreamException "Unexpected end of stream." at the end.
  char peek() const;
  char take();
  /// The characters not yet read.
  std::string_view rest() const { return text_.substr(position_); }

  /// Skips white space and comments ("//" up to the end of the line), and returns the next
  /// character without taking it. The end of the text is an error.
  char skip_blanks();
  /// The same where the text may end.
  void skip_blanks_or_end();

  /// An integer: an optional "-" and decimal digits. It reads up to the first other character.
  std::int64_t read_integer();

  [[noreturn]] void fail(const std::string& message) const;

 private:
  std::string_view text_;
  const char* function_;
  std::size_t position_ = 0;
  std::uint64_t line_ = 1;
};

bool is_blank(char c);
bool is_digit(char c);

}  // namespace nmp::config
