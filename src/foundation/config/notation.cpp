#include "foundation/config/notation.h"

#include "foundation/exceptions.h"
#include "foundation/file_io.h"

namespace nmp::config {

Format format_by_name(std::string_view name) {
  if (name == "acfg") return Format::kAcfg;
  if (name == "json") return Format::kJson;
  throw InvalidParametersException("config::format_by_name()",
                                   "Invalid config type: " + std::string(name));
}

Value parse(std::string_view text, Format format) {
  return format == Format::kJson ? parse_json(text) : parse_acfg(text);
}

Value load(const std::string& path, Format format) {
  constexpr std::uint64_t kLargest = 16 << 20;  // no settings are that long: some other file
  FileIO::CheckedFile file = FileIO::CheckedFile::open_read(path);
  const std::uint64_t size = file.size();
  if (size > kLargest)
    throw FileIO::FileException("config::load()", path, 0,
                                "The file is too large to be a configuration file.");
  std::string text(static_cast<std::size_t>(size), '\0');
  file.read_exact(text.data(), text.size(), 0);
  return parse(text, format);
}

void save(const std::string& path, const Object& root, Format format) {
  FileIO::write_text_file(path, write(root, format));
}

}  // namespace nmp::config
