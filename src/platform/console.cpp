// The half of the console that needs no system: text held back until its line ends, and lines cut
// from what arrives.
#include "platform/console.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "platform/console_room.h"

namespace nmp::platform {
namespace {

// Plain data without constructors, so that it serves static initialisers, destructors and crash
// handlers alike.
constinit char g_text[8192];
constinit std::size_t g_used = 0;
constinit std::atomic<bool> g_lost{false};
constinit std::atomic<bool> g_busy{false};

class Lock {
 public:
  Lock() {
    while (g_busy.exchange(true, std::memory_order_acquire)) g_busy.wait(true);
  }
  ~Lock() {
    g_busy.store(false, std::memory_order_release);
    g_busy.notify_one();
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
};

void write_through(const char* text, std::size_t bytes) {
  if (bytes != 0 && !room::write_output(text, bytes)) g_lost = true;
}

void write_held_text() {
  write_through(g_text, g_used);
  g_used = 0;
}

std::string& pending_input() {
  static std::string text;
  return text;
}

}  // namespace

void console_write(std::string_view text) {
  static const bool at_exit [[maybe_unused]] = std::atexit(console_flush) == 0;
  Lock lock;
  if (text.size() > sizeof g_text - g_used) write_held_text();
  if (text.size() > sizeof g_text) {
    write_through(text.data(), text.size());
    return;
  }
  std::memcpy(g_text + g_used, text.data(), text.size());
  g_used += text.size();
  if (text.find('\n') != text.npos) write_held_text();
}

void console_flush() {
  Lock lock;
  write_held_text();
}

bool console_ok() {
  console_flush();
  return !g_lost;
}

bool console_read_line(std::string* line) {
  constexpr std::size_t kLongestLine = std::size_t{1} << 20;
  console_flush();
  line->clear();
  std::string& pending = pending_input();
  bool any = false, complete = false;
  while (!complete && (!pending.empty() || room::read_input(&pending))) {
    any = true;
    const std::size_t end = pending.find('\n');
    complete = end != pending.npos;
    const std::size_t bytes = complete ? end : pending.size();
    line->append(pending, 0, std::min(bytes, kLongestLine - line->size()));
    pending.erase(0, bytes + (complete ? 1 : 0));
  }
  if (!line->empty() && line->back() == '\r') line->pop_back();
  return any;
}

void room::flush_after_crash() {
  if (!g_busy.exchange(true)) write_held_text();
  // Left busy: the process is about to end, and no other thread should print below the crash text.
}

}  // namespace nmp::platform
