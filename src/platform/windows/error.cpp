#include "platform/error.h"

#include <windows.h>

#include "platform/windows/text.h"

namespace nmp::platform {

std::string error_text(ErrorCode code) {
  if (code == 0) return {};
  wchar_t* words = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&words), 0, nullptr);
  std::string text = words ? to_utf8({words, length}) : "";
  LocalFree(words);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
    text.pop_back();
  return text.empty() ? "Unknown error" : text;
}

bool error_may_pass(ErrorCode code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_ACCESS_DENIED:
    case ERROR_INVALID_DRIVE:
    case ERROR_WRITE_PROTECT:
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_DISK_FULL:
    case ERROR_INVALID_PARAMETER:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_FILE_TOO_LARGE:
    case ERROR_BAD_FILE_TYPE:
    case ERROR_DIRECTORY:
    case ERROR_NO_UNICODE_TRANSLATION:
      return false;
    default:
      return true;
  }
}

}  // namespace nmp::platform
