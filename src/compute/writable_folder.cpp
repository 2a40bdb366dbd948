#include "compute/writable_folder.h"

#include <chrono>

#include "platform/file.h"

namespace numforge {

namespace platform = nmp::platform;

std::string path_in_folder(const std::string& folder, const std::string& name) {
  if (folder.empty() || folder.back() == '/' || folder.back() == '\\') return folder + name;
  return folder + platform::kPathSeparator + name;
}

bool make_writable(const std::string& folder) {
  if (!folder.empty() && platform::create_folders(folder) != 0) return false;
  std::string path;
  std::uint64_t stamp =
      static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  do {
    path = path_in_folder(folder, "numforge-write-test-" + std::to_string(stamp++) + ".tmp");
  } while (platform::file_exists(path));

  platform::File file;
  if (file.create(path) != 0) return false;
  bool written = file.write_at("numforge", 8, 0) == 0;
  written = file.close() == 0 && written;
  return platform::remove_file(path) == 0 && written;
}

}  // namespace numforge
