#include "platform/console.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/console_room.h"
#include "platform/posix/terminal.h"
#include "platform/process.h"

namespace nmp::platform {
namespace {

bool has_escapes() {
  const std::string terminal = environment("TERM");
  return stdout_is_terminal() && !terminal.empty() && terminal != "dumb";
}

void wait_for(int descriptor, short events) {
  pollfd request{descriptor, events, 0};
  ::poll(&request, 1, -1);
}

void write_number_sequence(std::string_view before, int number, std::string_view after) {
  console_write(std::string(before) + std::to_string(number) + std::string(after));
}

/// A process in the background would be stopped by the system at its first change to the terminal.
bool in_foreground() { return ::tcgetpgrp(STDIN_FILENO) == ::getpgrp(); }

/// Single keys instead of lines, for as long as it lives; signals still work.
class KeyMode {
 public:
  KeyMode() {
    if (::tcgetattr(STDIN_FILENO, &before_) != 0) return;
    termios keys = before_;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
    changed_ = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &keys) == 0;
  }
  ~KeyMode() {
    if (changed_) ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
  }
  KeyMode(const KeyMode&) = delete;
  KeyMode& operator=(const KeyMode&) = delete;
  bool changed() const { return changed_; }

 private:
  termios before_;
  bool changed_ = false;
};

}  // namespace

namespace room {

std::atomic<bool> g_colored{false};

bool write_output(const char* text, std::size_t bytes) {
  while (bytes != 0) {
    const ssize_t put = ::write(STDOUT_FILENO, text, bytes);
    if (put == -1 && errno == EINTR) continue;
    if (put == -1 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      wait_for(STDOUT_FILENO, POLLOUT);
      continue;
    }
    if (put <= 0) return false;
    text += put;
    bytes -= static_cast<std::size_t>(put);
  }
  return true;
}

bool read_input(std::string* chunk) {
  char buffer[4096];
  while (!interrupted()) {
    const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (got > 0) {
      chunk->append(buffer, static_cast<std::size_t>(got));
      return true;
    }
    if (got == 0) return false;
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
      wait_for(STDIN_FILENO, POLLIN);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return false;
}

void reset_color() {
  if (g_colored) write_output("\033[0m", 4);
}

}  // namespace room

void console_attribute(int attribute) {
  static const bool wanted = environment("NO_COLOR").empty();
  if (attribute < 1 || attribute > 15 || !wanted || !has_escapes()) return;
  room::g_colored = attribute != 7;
  if (attribute == 7) return console_write("\033[0m");
  // The escape sequences count red as 1 and blue as 4.
  const int color = (attribute & 4) >> 2 | (attribute & 2) | (attribute & 1) << 2;
  write_number_sequence("\033[0;", (attribute & 8 ? 90 : 30) + color, "m");
}

bool stdout_is_terminal() { return ::isatty(STDOUT_FILENO) == 1; }
bool stdin_is_terminal() { return ::isatty(STDIN_FILENO) == 1; }

int console_columns() {
  winsize window{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col != 0;
  return known ? window.ws_col : 80;
}

void console_resize(int columns, int rows) {
  if (!has_escapes()) return;
  constexpr int kMost = 9999;  // the terminal takes less where its screen is smaller
  write_number_sequence("\033[8;", std::clamp(rows, 1, kMost), ";");
  write_number_sequence("", std::clamp(columns, 1, kMost), "t");
  console_flush();
}

bool console_is_own() { return false; }

void console_pause() {
  console_flush();
  if (!stdin_is_terminal() || !stdout_is_terminal() || !in_foreground()) return;
  const KeyMode mode;
  if (!mode.changed()) return;
  console_write("Press any key to continue . . . ");
  console_flush();
  std::string key;
  room::read_input(&key);
  console_write("\n");
}

void console_erase_line() {
  if (has_escapes()) console_write("\r\033[K");
}

}  // namespace nmp::platform
