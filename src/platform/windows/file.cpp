#include "platform/file.h"

#include <windows.h>

#include <algorithm>

#include "platform/windows/text.h"

namespace nmp::platform {
namespace {

constexpr std::size_t kMaxTransfer = std::size_t{1} << 26;
constexpr std::uint64_t kMaxOffset = (std::uint64_t{1} << 63) - 1;

HANDLE system_handle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

ErrorCode result_of(BOOL succeeded) { return succeeded ? 0 : GetLastError(); }

bool in_range(std::uint64_t offset, std::uint64_t bytes) {
  return offset <= kMaxOffset && bytes <= kMaxOffset - offset;
}

OVERLAPPED position(std::uint64_t offset) {
  OVERLAPPED where{};
  where.Offset = static_cast<DWORD>(offset);
  where.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return where;
}

DWORD transfer_size(std::size_t left) { return static_cast<DWORD>(std::min(left, kMaxTransfer)); }

ErrorCode open_handle(const std::string& path, DWORD access, DWORD sharing, DWORD how,
                      std::intptr_t* handle) {
  std::wstring wide;
  if (const ErrorCode error = wide_path(path, &wide)) return error;
  const HANDLE opened =
      CreateFileW(wide.c_str(), access, sharing, nullptr, how, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return GetLastError();
  *handle = reinterpret_cast<std::intptr_t>(opened);
  return 0;
}

/// Asks for the privilege that SetFileValidData needs. Administrators hold it, but switched off.
bool enable_volume_privilege() {
  HANDLE token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token))
    return false;
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  const bool enabled =
      LookupPrivilegeValueW(nullptr, L"SeManageVolumePrivilege", &wanted.Privileges[0].Luid) &&
      AdjustTokenPrivileges(token, FALSE, &wanted, 0, nullptr, nullptr) &&
      GetLastError() == ERROR_SUCCESS;  // it also "succeeds" where nothing was granted
  CloseHandle(token);
  return enabled;
}

DWORD attributes_of(const std::string& path) {
  std::wstring wide;
  return wide_path(path, &wide) == 0 ? GetFileAttributesW(wide.c_str()) : INVALID_FILE_ATTRIBUTES;
}

/// A file that was just written is often still held by a virus scanner or an indexer.
template <typename Call>
ErrorCode patiently(Call call) {
  ErrorCode error = 0;
  for (int attempt = 0; attempt < 6; ++attempt) {
    if (attempt > 0) Sleep(50u << attempt);
    error = result_of(call());
    if (error != ERROR_ACCESS_DENIED && error != ERROR_SHARING_VIOLATION) break;
  }
  return error;
}

bool is_separator(char c) { return c == '/' || c == '\\'; }

}  // namespace

const char kPathSeparator = '\\';

ErrorCode File::open_read(const std::string& path) {
  close();
  std::intptr_t handle = kClosed;
  const DWORD sharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  if (const ErrorCode error = open_handle(path, GENERIC_READ, sharing, OPEN_EXISTING, &handle))
    return is_folder(path) ? ErrorCode{ERROR_DIRECTORY} : error;
  if (GetFileType(system_handle(handle)) != FILE_TYPE_DISK) {
    CloseHandle(system_handle(handle));
    return ERROR_BAD_FILE_TYPE;
  }
  handle_ = handle;
  return 0;
}

ErrorCode File::create(const std::string& path) {
  close();
  return open_handle(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS, &handle_);
}

ErrorCode File::close() {
  if (!is_open()) return 0;
  const HANDLE handle = system_handle(handle_);
  handle_ = kClosed;
  return result_of(CloseHandle(handle));
}

ErrorCode File::read_at(void* buffer, std::size_t bytes, std::uint64_t offset, std::size_t* done) {
  *done = 0;
  if (!in_range(offset, bytes)) return ERROR_INVALID_PARAMETER;
  while (*done < bytes) {
    OVERLAPPED where = position(offset + *done);
    DWORD got = 0;
    if (!ReadFile(system_handle(handle_), static_cast<char*>(buffer) + *done,
                  transfer_size(bytes - *done), &got, &where)) {
      const DWORD error = GetLastError();
      return error == ERROR_HANDLE_EOF ? 0 : error;
    }
    if (got == 0) break;
    *done += got;
  }
  return 0;
}

ErrorCode File::write_at(const void* buffer, std::size_t bytes, std::uint64_t offset) {
  if (!in_range(offset, bytes)) return ERROR_FILE_TOO_LARGE;
  for (std::size_t done = 0; done < bytes;) {
    OVERLAPPED where = position(offset + done);
    DWORD put = 0;
    if (!WriteFile(system_handle(handle_), static_cast<const char*>(buffer) + done,
                   transfer_size(bytes - done), &put, &where))
      return GetLastError();
    if (put == 0) return ERROR_DISK_FULL;
    done += put;
  }
  return 0;
}

ErrorCode File::size(std::uint64_t* bytes) {
  LARGE_INTEGER length{};
  const ErrorCode error = result_of(GetFileSizeEx(system_handle(handle_), &length));
  *bytes = static_cast<std::uint64_t>(length.QuadPart);
  return error;
}

ErrorCode File::set_size(std::uint64_t bytes) {
  if (bytes > kMaxOffset) return ERROR_FILE_TOO_LARGE;
  FILE_END_OF_FILE_INFO end{};
  end.EndOfFile.QuadPart = static_cast<LONGLONG>(bytes);
  return result_of(
      SetFileInformationByHandle(system_handle(handle_), FileEndOfFileInfo, &end, sizeof end));
}

ErrorCode File::reserve(std::uint64_t bytes, bool* marked_valid) {
  *marked_valid = false;
  if (const ErrorCode error = set_size(bytes)) return error;
  static const bool privileged = enable_volume_privilege();
  *marked_valid = bytes == 0 || (privileged && SetFileValidData(system_handle(handle_),
                                                                static_cast<LONGLONG>(bytes)));
  return 0;
}

ErrorCode File::flush() { return result_of(FlushFileBuffers(system_handle(handle_))); }

const char* reserve_warning() {
  return "SetFileValidData() has failed. Expect performance degradation.\n"
         "Try re-running as administrator.\n";
}

ErrorCode rename_replacing(const std::string& from, const std::string& to) {
  std::wstring old_name, new_name;
  if (const ErrorCode error = wide_path(from, &old_name)) return error;
  if (const ErrorCode error = wide_path(to, &new_name)) return error;
  if (is_folder(to)) return ERROR_DIRECTORY;
  return patiently(
      [&] { return MoveFileExW(old_name.c_str(), new_name.c_str(), MOVEFILE_REPLACE_EXISTING); });
}

ErrorCode remove_file(const std::string& path) {
  std::wstring wide;
  if (const ErrorCode error = wide_path(path, &wide)) return error;
  if (is_folder(path)) return ERROR_DIRECTORY;
  return patiently([&] { return DeleteFileW(wide.c_str()); });
}

ErrorCode create_folders(const std::string& path) {
  // The front of a path ("C:", "\\server") cannot be created and need not be, so only the end
  // counts.
  ErrorCode error = 0;
  for (std::size_t end = 0; end < path.size();) {
    end = std::min(path.find_first_of("/\\", end + 1), path.size());
    if (is_separator(path[end - 1]) || path[end - 1] == ':') continue;
    std::wstring wide;
    error = wide_path(path.substr(0, end), &wide);
    if (error == 0) error = result_of(CreateDirectoryW(wide.c_str(), nullptr));
  }
  if (is_folder(path)) return 0;
  return error == 0 || error == ERROR_ALREADY_EXISTS ? ErrorCode{ERROR_DIRECTORY} : error;
}

bool is_folder(const std::string& path) {
  if (path.empty()) return true;
  const DWORD attributes = attributes_of(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool file_exists(const std::string& path) {
  const DWORD attributes = attributes_of(path);
  return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

/// Devices and pipes have names of their own, which open_read refuses by their type.
bool is_regular_file(const std::string& path) { return file_exists(path); }

}  // namespace nmp::platform
