#include "platform/crash.h"

// clang-format off
#include <windows.h>
#include <dbghelp.h>
// clang-format on

#include <atomic>
#include <csignal>
#include <ctime>

#include "platform/console_room.h"
#include "platform/process.h"

namespace nmp::platform {
namespace {

constexpr DWORD kAborted = 0xe0414254;  // our own code for abort(), which is no fault of the system

void print(std::string_view text) { room::write_output(text.data(), text.size()); }

using WriteDump = decltype(&MiniDumpWriteDump);

/// Not linked: the program must start on systems without the library. The system's own folder comes
/// first, so that a stray library beside the program is not run.
WriteDump find_dump_writer() {
  HMODULE library = LoadLibraryExW(L"dbghelp.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) library = LoadLibraryW(L"dbghelp.dll");
  if (library == nullptr) return nullptr;
  return reinterpret_cast<WriteDump>(
      reinterpret_cast<void*>(GetProcAddress(library, "MiniDumpWriteDump")));
}

DWORD write_dump(EXCEPTION_POINTERS* fault) {
  const WriteDump writer = find_dump_writer();
  if (writer == nullptr) return GetLastError();
  const crash::Line name = crash::dump_name(std::time(nullptr), GetCurrentProcessId());
  const HANDLE file = CreateFileA(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  MINIDUMP_EXCEPTION_INFORMATION about{GetCurrentThreadId(), fault, FALSE};
  const auto kind = static_cast<MINIDUMP_TYPE>(MiniDumpNormal | MiniDumpWithThreadInfo);
  const bool written = writer(GetCurrentProcess(), GetCurrentProcessId(), file, kind,
                              fault ? &about : nullptr, nullptr, nullptr);
  const DWORD error = written ? 0 : GetLastError();
  CloseHandle(file);
  if (!written) DeleteFileA(name.c_str());
  return error;
}

LONG WINAPI on_fault(EXCEPTION_POINTERS* fault) {
  static std::atomic<DWORD> crashed_thread{0};
  DWORD nobody = 0;
  if (!crashed_thread.compare_exchange_strong(nobody, GetCurrentThreadId())) {
    if (nobody == GetCurrentThreadId()) TerminateProcess(GetCurrentProcess(), 1);
    Sleep(INFINITE);  // the first thread to crash ends the process
  }
  room::flush_after_crash();
  print(crash::kCrashed);
  print(crash::kCreating);
  const DWORD error = write_dump(fault);
  if (error == 0) {
    print(crash::kDone);
  } else {
    print(crash::Line().add(crash::kFailed).number(error).text());
  }
  print(crash::kExiting);
  TerminateProcess(GetCurrentProcess(), 1);
  return EXCEPTION_EXECUTE_HANDLER;
}

void on_abort(int) { RaiseException(kAborted, EXCEPTION_NONCONTINUABLE, 0, nullptr); }

}  // namespace

void install_crash_handler() {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);  // no boxes that wait for a click
  ULONG for_stack_overflow = 64 << 10;
  SetThreadStackGuarantee(&for_stack_overflow);
  SetUnhandledExceptionFilter(on_fault);
  std::signal(SIGABRT, on_abort);
}

}  // namespace nmp::platform
