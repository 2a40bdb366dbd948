#include "platform/process.h"

// clang-format off
#include <windows.h>
#include <psapi.h>
#include <shellapi.h>
// clang-format on

#include <algorithm>
#include <atomic>

#include "platform/console.h"
#include "platform/windows/text.h"

namespace nmp::platform {
namespace {

std::atomic<bool> g_interrupted{false};

/// Called on a thread of its own, while the others run on.
BOOL WINAPI on_control(DWORD event) {
  constexpr DWORD kTimeToStop = 4000;  // the system itself waits for about five seconds
  if (g_interrupted.exchange(true)) TerminateProcess(GetCurrentProcess(), 130);
  // The process ends as soon as this returns, unless it was a key.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kTimeToStop);
  return TRUE;
}

}  // namespace

std::vector<std::string> arguments(int argc, char** argv) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) return {argv, argv + argc};
  std::vector<std::string> result;
  for (int i = 0; i < count; ++i) result.push_back(to_utf8(wide[i]));
  LocalFree(wide);
  return result;
}

ErrorCode set_priority(int level) {
  constexpr DWORD kClasses[] = {IDLE_PRIORITY_CLASS,   BELOW_NORMAL_PRIORITY_CLASS,
                                NORMAL_PRIORITY_CLASS, ABOVE_NORMAL_PRIORITY_CLASS,
                                HIGH_PRIORITY_CLASS,   REALTIME_PRIORITY_CLASS};
  const DWORD wanted = kClasses[std::clamp(level, -2, 3) + 2];
  return SetPriorityClass(GetCurrentProcess(), wanted) ? 0 : GetLastError();
}

bool debugger_attached() { return IsDebuggerPresent() != 0; }

void install_interrupt_handler() { SetConsoleCtrlHandler(on_control, TRUE); }

bool interrupted() { return g_interrupted; }

std::uint64_t peak_memory() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return counters.PeakWorkingSetSize;
}

std::uint64_t physical_memory() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  GlobalMemoryStatusEx(&status);
  return status.ullTotalPhys;
}

void exit_process(int code) {
  console_flush();
  std::_Exit(code);
}

std::string environment(const char* name) {
  const std::wstring wide = to_wide(name);
  const DWORD room = GetEnvironmentVariableW(wide.c_str(), nullptr, 0);
  if (room == 0) return {};
  std::wstring value(room, L'\0');
  value.resize(GetEnvironmentVariableW(wide.c_str(), value.data(), room));
  return to_utf8(value);
}

}  // namespace nmp::platform
