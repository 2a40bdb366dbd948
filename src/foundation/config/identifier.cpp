#include "foundation/config/identifier.h"

#include "foundation/config/words.h"

namespace nmp::config {

bool is_identifier_character(char c) {
  constexpr std::string_view kPunctuation = "!#$%&'()*+-./=?@^_|~";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kPunctuation.find(c) != std::string_view::npos;
}

const char* key_refusal(std::string_view key) {
  if (key.empty()) return kExpectedIdentifier;
  if (key.starts_with("//")) return "An identifier cannot start like a comment.";
  for (const char c : key)
    if (!is_identifier_character(c) && c != '"' && c != '\\') return kInvalidIdentifier;
  return nullptr;
}

}  // namespace nmp::config
