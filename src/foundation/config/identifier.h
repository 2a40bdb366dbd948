// Which texts can be keys.
#pragma once

#include <string_view>

namespace nmp::config {

/// True for what may stand in an identifier without a backslash before it.
bool is_identifier_character(char c);

/// Why `key` cannot be written as an identifier, or null for one that can.
const char* key_refusal(std::string_view key);

}  // namespace nmp::config
