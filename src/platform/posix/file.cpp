#define _FILE_OFFSET_BITS 64  // also where a long has 32 bits
#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>

namespace nmp::platform {
namespace {

static_assert(sizeof(off_t) == 8);
constexpr std::uint64_t kMaxOffset = std::numeric_limits<off_t>::max();
/// Linux moves at most 2 GiB in one call; others refuse more than that.
constexpr std::size_t kMaxTransfer = std::size_t{1} << 30;

/// Calls until it is not interrupted by a signal.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

ErrorCode result_of(int status) { return status == 0 ? 0 : errno; }

/// Opens, and keeps away from descriptors 0 to 2: a program started with a closed standard output
/// would otherwise print its menus into its first file.
ErrorCode open_descriptor(const std::string& path, int flags, int* descriptor) {
  if (path.find('\0') != path.npos) return EINVAL;
  int fd = uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, 0666); });
  if (fd == -1) return errno;
  if (fd <= STDERR_FILENO) {
    const int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const ErrorCode error = moved == -1 ? errno : 0;
    ::close(fd);
    if (error != 0) return error;
    fd = moved;
  }
  *descriptor = fd;
  return 0;
}

/// A folder opens for reading like a file, and a named pipe would make every later call wait.
ErrorCode check_readable(int fd) {
  struct stat status;
  if (::fstat(fd, &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return ::lseek(fd, 0, SEEK_CUR) == -1 ? errno : 0;
}

bool in_range(std::uint64_t offset, std::uint64_t bytes) {
  return offset <= kMaxOffset && bytes <= kMaxOffset - offset;
}

/// For file systems that cannot reserve: at least notice a disk that is too small.
ErrorCode check_free_space(int fd, std::uint64_t bytes) {
  struct statvfs disk;
  if (::fstatvfs(fd, &disk) != 0 || disk.f_blocks == 0) return 0;
  return bytes / disk.f_frsize > disk.f_bfree ? ENOSPC : 0;
}

ErrorCode allocate_blocks(int fd, std::uint64_t bytes) {
  const off_t length = static_cast<off_t>(bytes);
#ifdef __linux__
  // posix_fallocate would quietly write a byte to every block where the file system has no support.
  return result_of(uninterrupted([&] { return ::fallocate(fd, 0, 0, length); }));
#else
  return ::posix_fallocate(fd, 0, length);
#endif
}

}  // namespace

const char kPathSeparator = '/';

ErrorCode File::open_read(const std::string& path) {
  close();
  int fd = -1;
  ErrorCode error = open_descriptor(path, O_RDONLY | O_NONBLOCK | O_NOCTTY, &fd);
  if (error != 0) return error;
  error = check_readable(fd);
  if (error != 0) {
    ::close(fd);
    return error;
  }
  handle_ = fd;
  return 0;
}

ErrorCode File::create(const std::string& path) {
  close();
  int fd = -1;
  const ErrorCode error = open_descriptor(path, O_RDWR | O_CREAT | O_TRUNC | O_NOCTTY, &fd);
  if (error == 0) handle_ = fd;
  return error;
}

ErrorCode File::close() {
  if (!is_open()) return 0;
  const int fd = static_cast<int>(handle_);
  handle_ = kClosed;
  if (::close(fd) == 0 || errno == EINTR) return 0;  // interrupted or not, it is closed
  return errno;
}

ErrorCode File::read_at(void* buffer, std::size_t bytes, std::uint64_t offset, std::size_t* done) {
  *done = 0;
  if (!in_range(offset, bytes)) return EINVAL;
  while (*done < bytes) {
    const ssize_t got = uninterrupted([&] {
      return ::pread(static_cast<int>(handle_), static_cast<char*>(buffer) + *done,
                     std::min(bytes - *done, kMaxTransfer), static_cast<off_t>(offset + *done));
    });
    if (got == -1) return errno;
    if (got == 0) break;
    *done += static_cast<std::size_t>(got);
  }
  return 0;
}

ErrorCode File::write_at(const void* buffer, std::size_t bytes, std::uint64_t offset) {
  if (!in_range(offset, bytes)) return EFBIG;
  for (std::size_t done = 0; done < bytes;) {
    const ssize_t put = uninterrupted([&] {
      return ::pwrite(static_cast<int>(handle_), static_cast<const char*>(buffer) + done,
                      std::min(bytes - done, kMaxTransfer), static_cast<off_t>(offset + done));
    });
    if (put == -1) return errno;
    if (put == 0) return ENOSPC;
    done += static_cast<std::size_t>(put);
  }
  return 0;
}

ErrorCode File::size(std::uint64_t* bytes) {
  *bytes = 0;
  struct stat status;
  if (::fstat(static_cast<int>(handle_), &status) != 0) return errno;
  *bytes = static_cast<std::uint64_t>(status.st_size);
  return 0;
}

ErrorCode File::set_size(std::uint64_t bytes) {
  if (bytes > kMaxOffset) return EFBIG;
  const int fd = static_cast<int>(handle_);
  return result_of(uninterrupted([&] { return ::ftruncate(fd, static_cast<off_t>(bytes)); }));
}

ErrorCode File::reserve(std::uint64_t bytes, bool* marked_valid) {
  *marked_valid = false;
  if (bytes > kMaxOffset) return EFBIG;
  const int fd = static_cast<int>(handle_);
  if (bytes != 0) {
    const ErrorCode error = allocate_blocks(fd, bytes);
    if (error == EOPNOTSUPP || error == EINVAL || error == ENOSYS) {
      const ErrorCode full = check_free_space(fd, bytes);
      return full != 0 ? full : set_size(bytes);
    }
    if (error != 0) {
      set_size(0);  // gives back what was allocated before it failed
      return error;
    }
  }
  *marked_valid = true;
  return set_size(bytes);
}

ErrorCode File::flush() {
  const int fd = static_cast<int>(handle_);
  const ErrorCode error = result_of(uninterrupted([&] { return ::fsync(fd); }));
  return error == EINVAL || error == EROFS ? 0 : error;  // nothing there that could be flushed
}

/// Blocks that are allocated but unwritten need no filling: nothing that a user could improve.
const char* reserve_warning() { return nullptr; }

ErrorCode rename_replacing(const std::string& from, const std::string& to) {
  // With the rights for it, the system would put the file in place of a device.
  struct stat status;
  if (::lstat(to.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
    return S_ISDIR(status.st_mode) ? EISDIR : EEXIST;
  return result_of(std::rename(from.c_str(), to.c_str()));
}

ErrorCode remove_file(const std::string& path) { return result_of(::unlink(path.c_str())); }

ErrorCode create_folders(const std::string& path) {
  // A parent that exists may refuse with any error (a read-only disk), so only the end counts.
  ErrorCode error = 0;
  for (std::size_t end = 0; end < path.size();) {
    end = std::min(path.find('/', end + 1), path.size());
    if (::mkdir(path.substr(0, end).c_str(), 0777) != 0) error = errno;
  }
  if (is_folder(path)) return 0;
  return error == 0 || error == EEXIST ? ENOTDIR : error;
}

bool is_folder(const std::string& path) {
  struct stat status;
  return path.empty() || (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode));
}

bool file_exists(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool is_regular_file(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace nmp::platform
