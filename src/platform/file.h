// Files and folders. Paths are UTF-8 on every system; nothing here throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/error.h"

namespace nmp::platform {

/// What the system appends to a folder before a name.
extern const char kPathSeparator;

/// A file open for positioned reading or writing. Interrupted and partial system calls are
/// finished inside; a write that cannot be finished is an error.
class File {
 public:
  File() = default;
  ~File() { close(); }
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  /// An existing regular file (or anything seekable), read only. A folder is an error.
  ErrorCode open_read(const std::string& path);
  /// A new file, or an existing one emptied, for reading and writing.
  ErrorCode create(const std::string& path);
  bool is_open() const { return handle_ != kClosed; }
  ErrorCode close();

  /// Reads up to `bytes` at `offset`; *done < bytes only at the end of the file.
  ErrorCode read_at(void* buffer, std::size_t bytes, std::uint64_t offset, std::size_t* done);
  ErrorCode write_at(const void* buffer, std::size_t bytes, std::uint64_t offset);
  ErrorCode size(std::uint64_t* bytes);
  /// Extends or cuts the file.
  ErrorCode set_size(std::uint64_t bytes);
  /// Reserves the space of a freshly created file so that later writes do not run out of disk and
  /// need no zero-filling. `*marked_valid` tells whether the zero-filling was really avoided; false
  /// only costs speed. A full disk is an error here.
  ErrorCode reserve(std::uint64_t bytes, bool* marked_valid);
  /// Makes what was written durable.
  ErrorCode flush();

 private:
  static constexpr std::intptr_t kClosed = -1;
  std::intptr_t handle_ = kClosed;
};

/// What a user should be told when `reserve` leaves *marked_valid false, or null where nothing is
/// to be done about it. Several lines, each with its line break.
const char* reserve_warning();

ErrorCode rename_replacing(const std::string& from, const std::string& to);
ErrorCode remove_file(const std::string& path);
/// Creates the folder and its parents; an existing folder is success. An empty path is the current
/// folder, here and in is_folder.
ErrorCode create_folders(const std::string& path);
bool is_folder(const std::string& path);
bool file_exists(const std::string& path);
/// A file on a disk, not a device, pipe or folder.
bool is_regular_file(const std::string& path);

}  // namespace nmp::platform
