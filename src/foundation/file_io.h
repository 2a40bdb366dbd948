// Files whose failures are exceptions.
//
// Every FileException names the function ("FileIO::write_at()"), the path and the system's error
// code; where the system has none (a file that is too short) the code is 0 and a message says why.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/file.h"

namespace nmp::FileIO {

/// platform::File (see there for the operations) that throws FileException.
class CheckedFile {
 public:
  CheckedFile() = default;
  static CheckedFile open_read(const std::string& path);
  static CheckedFile create(const std::string& path);

  const std::string& path() const { return path_; }
  bool is_open() const { return file_.is_open(); }
  /// Up to `bytes`; fewer only at the end of the file.
  std::size_t read_at(void* buffer, std::size_t bytes, std::uint64_t offset);
  /// All of them, or "Incomplete read.".
  void read_exact(void* buffer, std::size_t bytes, std::uint64_t offset);
  void write_at(const void* buffer, std::size_t bytes, std::uint64_t offset);
  std::uint64_t size();
  void set_size(std::uint64_t bytes);
  /// Gives a freshly created file its final size and reserves its space. Where the system cannot
  /// spare it the zero-filling, and the user could change that, warns once per process.
  void reserve(std::uint64_t bytes);
  void flush();
  /// Unlike the destructor, reports what the system could not write.
  void close();

 private:
  void check(const char* function, platform::ErrorCode error) const;

  std::string path_;
  platform::File file_;
};

/// How often and how patiently a file is tried to be created.
struct RetryPolicy {
  int attempts = 3;
  int pause_milliseconds = 1000;
};
/// CheckedFile::create that says "Unable to create file." and "Re-attempting..." and tries again,
/// unless the failure cannot pass by itself (no such folder, no permission, a full disk).
CheckedFile create_with_retry(const std::string& path, RetryPolicy policy = {});

/// The name that a file bears until it is complete: "a/b.txt" -> "a/b (incomplete).txt".
std::string incomplete_name(const std::string& path);
/// Gives a closed file, complete under `from`, its name, replacing a file of that name.
void rename_replacing(const std::string& from, const std::string& to);
/// Creates or replaces a small file. At every moment `path` holds the old content or the new one;
/// after a failure nothing else is left behind.
void write_text_file(const std::string& path, std::string_view text);

}  // namespace nmp::FileIO
