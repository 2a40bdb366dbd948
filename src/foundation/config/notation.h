// Reading and writing value trees, in the program's own notation ("acfg") and in JSON.
//
// acfg: [1 "two" {Three : 3}], blank space being the only separator and "//" starting a comment. In
// a string a backslash stands before a double quote or a second backslash and nowhere else; all
// other bytes, line breaks included, are themselves. Keys are identifiers without quotes.
#pragma once

#include <string>
#include <string_view>

#include "foundation/config/value.h"

namespace nmp::config {

enum class Format { kAcfg, kJson };

/// "acfg" or "json", else InvalidParametersException "Invalid config type: " and the name.
Format format_by_name(std::string_view name);

/// The value that a whole text holds. Throws ParseException with the line where it is malformed;
/// EndOfStreamException where it ends too early.
Value parse(std::string_view text, Format format);
Value parse_acfg(std::string_view text);
/// JSON as RFC 8259 has it, but only the kinds of values that a tree has; comments are skipped.
Value parse_json(std::string_view text);

/// A text that `parse` reads back as the same tree. Lines end with CR LF. acfg starts with a
/// comment that says what the file is and shows the sections; JSON has no comments.
std::string write(const Value& root, Format format);
std::string write(const Object& root, Format format);

/// Reads a file. Throws FileIO::FileException as well.
Value load(const std::string& path, Format format);
/// Creates or replaces a file; it never holds half a configuration.
void save(const std::string& path, const Object& root, Format format);

}  // namespace nmp::config
