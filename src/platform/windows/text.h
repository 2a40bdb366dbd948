// Text between us (UTF-8) and Windows (UTF-16).
#pragma once

#include <string>
#include <string_view>

#include "platform/error.h"

namespace nmp::platform {

/// Malformed sequences become replacement characters.
std::wstring to_wide(std::string_view text);
std::string to_utf8(std::wstring_view text);
/// A path for the system's calls, in the long form where the short one would be refused (about 260
/// characters). Malformed UTF-8 is an error: it would name another file.
ErrorCode wide_path(const std::string& path, std::wstring* wide);

}  // namespace nmp::platform
