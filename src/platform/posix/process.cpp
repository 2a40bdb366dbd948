#include "platform/process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include "platform/console.h"
#include "platform/posix/proc.h"
#include "platform/posix/terminal.h"

namespace nmp::platform {
namespace {

std::atomic<bool> g_interrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

void on_interrupt(int) {
  if (g_interrupted.exchange(true)) {
    room::reset_color();
    ::_exit(130);
  }
}

void handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  ::sigemptyset(&action.sa_mask);  // without SA_RESTART: a waiting read must notice
  ::sigaction(signal, &action, nullptr);
}

bool is_ignored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

std::vector<std::string> arguments(int argc, char** argv) { return {argv, argv + argc}; }

ErrorCode set_priority(int level) {
  constexpr int kNice[] = {19, 10, 0, -5, -10, -20};
  const int nice = kNice[std::clamp(level, -2, 3) + 2];
  return ::setpriority(PRIO_PROCESS, 0, nice) == 0 ? 0 : errno;
}

bool debugger_attached() { return proc_status_value("TracerPid:") != 0; }

void install_interrupt_handler() {
  handle(SIGINT, on_interrupt);
  handle(SIGTERM, on_interrupt);
  if (!is_ignored(SIGHUP)) handle(SIGHUP, on_interrupt);  // started with nohup, it outlives us
  handle(SIGPIPE, SIG_IGN);
  handle(SIGXFSZ, SIG_IGN);
}

bool interrupted() { return g_interrupted; }

void exit_process(int code) {
  console_flush();
  ::_exit(code);
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

}  // namespace nmp::platform
