#include "platform/console.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "platform/console_room.h"
#include "platform/process.h"
#include "platform/windows/text.h"

namespace nmp::platform {
namespace {

HANDLE output() { return GetStdHandle(STD_OUTPUT_HANDLE); }
HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }

bool is_console(HANDLE handle) {
  DWORD mode;
  return GetConsoleMode(handle, &mode) != 0;
}

bool screen_buffer(CONSOLE_SCREEN_BUFFER_INFO* info) {
  return GetConsoleScreenBufferInfo(output(), info) != 0;
}

/// Has to be asked before anything is printed, hence before main().
const bool g_console_is_own = [] {
  CONSOLE_SCREEN_BUFFER_INFO info;
  return screen_buffer(&info) && info.dwCursorPosition.X == 0 && info.dwCursorPosition.Y == 0;
}();

bool write_to_console(std::string_view text) {
  constexpr std::size_t kMost = 8192;  // older consoles refuse more than 64 KiB at a time
  const std::wstring wide = to_wide(text);
  for (std::size_t done = 0; done < wide.size();) {
    DWORD put = 0;
    const DWORD piece = static_cast<DWORD>(std::min(wide.size() - done, kMost));
    if (!WriteConsoleW(output(), wide.data() + done, piece, &put, nullptr) || put == 0)
      return false;
    done += put;
  }
  return true;
}

bool read_from_console(std::string* chunk) {
  constexpr wchar_t kCtrlZ = 0x1a;
  wchar_t typed[4096];
  DWORD length = 0;
  SetLastError(0);
  if (!ReadConsoleW(input(), typed, 4096, &length, nullptr) || length == 0) return false;
  if (typed[0] == kCtrlZ) return false;
  *chunk += to_utf8({typed, length});
  return true;
}

}  // namespace

namespace room {

bool write_output(const char* text, std::size_t bytes) {
  if (is_console(output())) return write_to_console({text, bytes});
  while (bytes != 0) {
    DWORD put = 0;
    const DWORD piece = static_cast<DWORD>(std::min<std::size_t>(bytes, 1u << 20));
    if (!WriteFile(output(), text, piece, &put, nullptr) || put == 0) return false;
    text += put;
    bytes -= put;
  }
  return true;
}

bool read_input(std::string* chunk) {
  if (interrupted()) return false;
  if (is_console(input())) return read_from_console(chunk);
  char buffer[4096];
  DWORD got = 0;
  if (!ReadFile(input(), buffer, sizeof buffer, &got, nullptr) || got == 0) return false;
  chunk->append(buffer, got);
  return true;
}

}  // namespace room

void console_attribute(int attribute) {
  if (attribute < 1 || attribute > 15 || !stdout_is_terminal()) return;
  console_flush();  // what was written before keeps its colour
  SetConsoleTextAttribute(output(), static_cast<WORD>(attribute));
}

bool stdout_is_terminal() { return is_console(output()); }
bool stdin_is_terminal() { return is_console(input()); }

int console_columns() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!screen_buffer(&info)) return 80;
  return std::max(1, info.srWindow.Right - info.srWindow.Left + 1);
}

void console_resize(int columns, int rows) {
  console_flush();
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!screen_buffer(&info)) return;
  const COORD largest = GetLargestConsoleWindowSize(output());
  const SHORT width = static_cast<SHORT>(std::clamp(columns, 1, std::max(1, largest.X - 1)));
  const SHORT height = static_cast<SHORT>(std::clamp(rows, 1, std::max(1, largest.Y - 1)));
  // The window may never be larger than the buffer: shrink it, fit the buffer, open it again. The
  // buffer keeps its height where that is more, for scrolling back.
  const SMALL_RECT smallest{0, 0, 0, 0};
  SetConsoleWindowInfo(output(), TRUE, &smallest);
  SetConsoleScreenBufferSize(output(), {width, std::max(height, info.dwSize.Y)});
  const SMALL_RECT window{0, 0, static_cast<SHORT>(width - 1), static_cast<SHORT>(height - 1)};
  SetConsoleWindowInfo(output(), TRUE, &window);
}

bool console_is_own() { return g_console_is_own; }

void console_pause() {
  console_flush();
  if (stdin_is_terminal() && stdout_is_terminal()) (void)std::system("pause");
}

void console_erase_line() {
  console_flush();
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!screen_buffer(&info)) return;
  const COORD start{0, info.dwCursorPosition.Y};
  const DWORD length = static_cast<DWORD>(info.dwSize.X);
  DWORD done;
  FillConsoleOutputCharacterW(output(), L' ', length, start, &done);
  FillConsoleOutputAttribute(output(), info.wAttributes, length, start, &done);
  SetConsoleCursorPosition(output(), start);
}

}  // namespace nmp::platform
