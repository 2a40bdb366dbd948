#include "foundation/config/scanner.h"

#include <limits>

#include "foundation/config/words.h"

namespace nmp::config {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

Scanner::Scanner(std::string_view text, const char* function) : text_(text), function_(function) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
}

void Scanner::fail(const std::string& message) const {
  throw ParseException(function_, message, line_);
}

char Scanner::peek() const {
  if (at_end()) throw EndOfStreamException(function_, "Unexpected end of stream.", line_);
  return text_[position_];
}

char Scanner::take() {
  const char c = peek();
  ++position_;
  if (c == '\n') ++line_;
  return c;
}

void Scanner::skip_blanks_or_end() {
  while (!at_end()) {
    if (rest().starts_with("//")) {
      while (!at_end() && peek() != '\n') take();
    } else if (is_blank(peek())) {
      take();
    } else {
      return;
    }
  }
}

char Scanner::skip_blanks() {
  skip_blanks_or_end();
  return peek();
}

std::int64_t Scanner::read_integer() {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
  const bool negative = peek() == '-';
  if (negative) take();
  if (!is_digit(peek())) fail(kInvalidInteger);
  std::int64_t value = 0;
  while (!at_end() && is_digit(peek())) {
    const int digit = take() - '0';
    // Before the sign is applied: -2^63 is too large as well.
    if (value > (kLargest - digit) / 10) fail(kIntegerTooLarge);
    value = value * 10 + digit;
  }
  return negative ? -value : value;
}

}  // namespace nmp::config
