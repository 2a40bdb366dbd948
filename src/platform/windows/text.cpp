#include "platform/windows/text.h"

#include <windows.h>

namespace nmp::platform {
namespace {

constexpr std::size_t kShortPath = 248;  // a folder must leave room for a short file name

bool convert(std::string_view text, DWORD flags, std::wstring* wide) {
  wide->clear();
  if (text.empty()) return true;
  const int bytes = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, flags, text.data(), bytes, nullptr, 0);
  if (length <= 0) return false;
  wide->resize(static_cast<std::size_t>(length));
  return MultiByteToWideChar(CP_UTF8, flags, text.data(), bytes, wide->data(), length) == length;
}

std::wstring long_form(const std::wstring& path) {
  if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) return path;
  const DWORD room = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (room < kShortPath) return path;
  std::wstring full(room, L'\0');
  full.resize(GetFullPathNameW(path.c_str(), room, full.data(), nullptr));
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC" + full.substr(1);
  return L"\\\\?\\" + full;
}

}  // namespace

std::wstring to_wide(std::string_view text) {
  std::wstring wide;
  convert(text, 0, &wide);
  return wide;
}

std::string to_utf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int length = static_cast<int>(text.size());
  const int bytes =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), bytes, nullptr, nullptr);
  return utf8;
}

ErrorCode wide_path(const std::string& path, std::wstring* wide) {
  if (path.empty() || path.find('\0') != path.npos) return ERROR_INVALID_NAME;
  if (!convert(path, MB_ERR_INVALID_CHARS, wide)) return ERROR_NO_UNICODE_TRANSLATION;
  *wide = long_form(*wide);
  return 0;
}

}  // namespace nmp::platform
