// Messages that more than one part of the configuration code gives.
#pragma once

namespace nmp::config {

inline constexpr const char* kExpectedIdentifier = "Expected identifier.";
inline constexpr const char* kInvalidIdentifier = "Invalid character in identifier.";
inline constexpr const char* kExpectedColon = "Expected colon after identifier.";
inline constexpr const char* kDuplicateKey = "Duplicate key in object.";
inline constexpr const char* kIntegerTooLarge = "Integer literal is too large.";
inline constexpr const char* kInvalidInteger = "Invalid integer literal.";
inline constexpr const char* kTooDeep = "Arrays and objects are nested too deeply.";

}  // namespace nmp::config
