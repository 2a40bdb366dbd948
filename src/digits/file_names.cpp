#include "digits/file_names.h"

#include "foundation/exceptions.h"
#include "platform/file.h"

namespace nmp {

std::string with_separator(std::string_view folder) {
  std::string path(folder);
  if (!path.empty() && path.back() != '/' && path.back() != '\\') path += platform::kPathSeparator;
  return path;
}

std::string digit_file_stem(std::string_view folder, std::string_view constant, unsigned radix,
                            std::string_view algorithm) {
  if (radix != 10 && radix != 16)
    throw InvalidParametersException("digit_file_stem()", "Invalid Base");
  std::string stem = with_separator(folder);
  stem += constant;
  stem += radix == 10 ? " - Dec - " : " - Hex - ";
  stem += algorithm;
  return stem;
}

}  // namespace nmp
