// Whether digits can be written to a folder.
#pragma once

#include <string>

namespace numforge {

/// Creates the folder and its parents where they do not exist, then creates, writes and removes a
/// small file in it. Empty is the current folder.
bool make_writable(const std::string& folder);

/// `name` inside `folder`: a separator goes between them unless the folder is empty or ends in one.
std::string path_in_folder(const std::string& folder, const std::string& name);

}  // namespace numforge
