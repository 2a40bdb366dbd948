// A folder of its own for each test, gone at its end.
#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace nmp::test {

class TempFolder {
 public:
  TempFolder() {
    static int count = 0;
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    folder_ = std::filesystem::temp_directory_path() /
              ("numforge-test-" + std::to_string(now) + "-" + std::to_string(++count));
    std::filesystem::create_directories(folder_);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string path() const { return folder_.string(); }
  /// The path of `name` in the folder.
  std::string operator/(const std::string& name) const { return path() + "/" + name; }

 private:
  std::filesystem::path folder_;
};

/// What lies in a folder; nothing where there is none.
inline std::set<std::string> names_in(const std::string& folder) {
  std::set<std::string> names;
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(folder, missing))
    names.insert(entry.path().filename().string());
  return names;
}

inline std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void put_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace nmp::test
