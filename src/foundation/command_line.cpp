#include "foundation/command_line.h"

#include <limits>

namespace nmp {
namespace {

constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();

/// a * b + c, sticking at `limit`.
std::uint64_t multiply_add(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t limit) {
  if (c > limit || (b != 0 && a > (limit - c) / b)) return limit;
  return a * b + c;
}

std::uint64_t multiple(char suffix) {
  switch (suffix) {
    case 'K':
    case 'k':
      return 1'000;
    case 'M':
    case 'm':
      return 1'000'000;
    case 'B':
    case 'b':
      return 1'000'000'000;
    case 'T':
    case 't':
      return 1'000'000'000'000;
    default:
      return 1;
  }
}

std::int64_t parse(std::string_view text, bool with_suffix) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  const std::uint64_t limit = kLargest + (negative ? 1 : 0);
  std::uint64_t value = 0;
  std::size_t i = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
    value = multiply_add(value, 10, static_cast<std::uint64_t>(text[i] - '0'), limit);
  if (with_suffix && i < text.size()) value = multiply_add(value, multiple(text[i]), 0, limit);
  return static_cast<std::int64_t>(negative ? 0 - value : value);
}

}  // namespace

CommandLine::CommandLine(std::vector<std::string> arguments) : arguments_(std::move(arguments)) {
  tokens_.reserve(arguments_.size());
  for (const std::string& argument : arguments_) {
    const std::size_t colon = argument.find(':');
    if (colon == std::string::npos) {
      tokens_.emplace_back(argument, "");
    } else {
      tokens_.emplace_back(argument.substr(0, colon), argument.substr(colon + 1));
    }
  }
}

void CommandLine::require_token() const {
  if (at_end()) throw CommandLineException("Expected more parameters.");
}

const std::string& CommandLine::key() const {
  require_token();
  return tokens_[position_].first;
}

const std::string& CommandLine::value() const {
  require_token();
  return tokens_[position_].second;
}

void CommandLine::advance() {
  require_token();
  ++position_;
}

const std::string& CommandLine::raw() const {
  require_token();
  return arguments_[position_];
}

std::int64_t parse_integer(std::string_view text) { return parse(text, true); }

std::int64_t parse_plain_integer(std::string_view text) { return parse(text, false); }

}  // namespace nmp
