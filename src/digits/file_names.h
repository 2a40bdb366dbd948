// Names of digit files.
#pragma once

#include <string>
#include <string_view>

namespace nmp {

/// The folder with the system's separator behind it, unless it is empty or ends in "/" or "\".
std::string with_separator(std::string_view folder);

/// Folder and name of a digit file without its extension: FOLDER/CONSTANT - Dec - ALGORITHM, or
/// "Hex" for radix 16. InvalidParametersException "Invalid Base" for any other radix.
std::string digit_file_stem(std::string_view folder, std::string_view constant, unsigned radix,
                            std::string_view algorithm);

}  // namespace nmp
