// A small file of a fuzz target, in memory where the system has such a place.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace nmp::fuzz {

/// A folder of this process, in TMPDIR; removed by whoever chose that.
inline const std::string& folder() {
  static const std::string made = [] {
    const char* chosen = std::getenv("TMPDIR");
    std::string name = std::string(chosen != nullptr ? chosen : "/dev/shm") + "/input.XXXXXX";
    return ::mkdtemp(name.data()) != nullptr ? name : throw name;
  }();
  return made;
}

class File {
 public:
  explicit File(const std::string& name) : path_(folder() + "/" + name) {}
  const std::string& path() const { return path_; }
  /// The whole content.
  void put(const std::uint8_t* data, std::size_t size) const {
    const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd == -1 || ::write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    ::close(fd);
  }
  void remove() const { ::unlink(path_.c_str()); }

 private:
  std::string path_;
};

}  // namespace nmp::fuzz
