// The crash handler: a dump in words, made with nothing but system calls, since the fault may have
// struck inside the library or with its locks held.
#include "platform/crash.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#if __has_include(<execinfo.h>)
#include <execinfo.h>
#define NF_HAS_BACKTRACE 1
#endif

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

#include "platform/console_room.h"
#include "platform/posix/terminal.h"
#include "platform/process.h"

namespace nmp::platform {
namespace {

constexpr int kFaults[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr std::string_view kFaultNames[] = {"SIGSEGV", "SIGBUS", "SIGFPE", "SIGILL", "SIGABRT"};
constexpr int kMostFrames = 64;

alignas(64) char g_stack[64 << 10];  // room for an overflow of the main thread's own
std::atomic<long> g_crashed_thread{0};

void print(std::string_view text) { room::write_output(text.data(), text.size()); }

/// Remembers the first error and then writes no more.
class Dump {
 public:
  explicit Dump(const char* name)
      : fd_(::open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)),
        error_(fd_ == -1 ? errno : 0) {}
  Dump& write(std::string_view text) {
    while (error_ == 0 && !text.empty()) {
      const ssize_t put = ::write(fd_, text.data(), text.size());
      if (put > 0) text.remove_prefix(static_cast<std::size_t>(put));
      if (put == -1 && errno != EINTR) error_ = errno;
    }
    return *this;
  }
  Dump& field(std::string_view label, std::uint64_t value) {
    return write(crash::Line().add(label).add(" ").hex(value).add("\n").text());
  }
  /// Lines of another file, such as those of /proc.
  void copy(const char* path) {
    const int from = ::open(path, O_RDONLY | O_CLOEXEC);
    char buffer[1024];
    for (ssize_t got; from != -1 && (got = ::read(from, buffer, sizeof buffer)) > 0;)
      write({buffer, static_cast<std::size_t>(got)});
    if (from != -1) ::close(from);
  }
  int close(const char* name) {
    if (fd_ != -1 && ::close(fd_) != 0 && error_ == 0) error_ = errno;
    if (fd_ != -1 && error_ != 0) ::unlink(name);
    return error_;
  }
  int descriptor() const { return fd_; }

 private:
  int fd_;
  int error_;
};

void write_registers(Dump& dump, const ucontext_t& context) {
#if defined(__linux__) && (defined(__x86_64__) || defined(__i386__))
#ifdef __x86_64__
  constexpr std::string_view kNames[] = {"r8 ", "r9 ", "r10", "r11", "r12", "r13",
                                         "r14", "r15", "rdi", "rsi", "rbp", "rbx",
                                         "rdx", "rax", "rcx", "rsp", "rip", "efl"};
#else
  constexpr std::string_view kNames[] = {"gs ", "fs ", "es ", "ds ", "edi", "esi", "ebp", "esp",
                                         "ebx", "edx", "ecx", "eax", "trp", "err", "eip"};
#endif
  dump.write("\nRegisters:\n");
  for (std::size_t i = 0; i < std::size(kNames); ++i)
    dump.field(kNames[i], static_cast<std::uintptr_t>(context.uc_mcontext.gregs[i]));
#else
  (void)dump, (void)context;
#endif
}

std::string_view fault_name(int signal) {
  for (std::size_t i = 0; i < std::size(kFaults); ++i)
    if (kFaults[i] == signal) return kFaultNames[i];
  return "unknown";
}

int write_dump(int signal, const siginfo_t& info, const ucontext_t& context) {
  const auto process = static_cast<std::uint64_t>(::getpid());
  const crash::Line name = crash::dump_name(std::time(nullptr), process);
  Dump dump(name.c_str());
  crash::Line head;
  head.add("numforge crash dump\n\nSignal: ").add(fault_name(signal)).add(" (");
  head.number(static_cast<unsigned>(signal)).add("), code ");
  if (info.si_code < 0) head.add("-");
  head.number(static_cast<std::uint64_t>(info.si_code < 0 ? -std::int64_t{info.si_code}
                                                          : std::int64_t{info.si_code}));
  head.add("\nProcess: ").number(process).add("\nThread: ");
  head.number(static_cast<std::uint64_t>(g_crashed_thread.load())).add("\n");
  dump.write(head.text());
  dump.field("Fault address:", reinterpret_cast<std::uintptr_t>(info.si_addr));
  write_registers(dump, context);
  dump.write("\nMemory map:\n").copy("/proc/self/maps");
#ifdef NF_HAS_BACKTRACE
  // Last, because it walks a stack that may be broken.
  dump.write("\nCalls:\n");
  void* frames[kMostFrames];
  const int count = ::backtrace(frames, kMostFrames);
  if (dump.descriptor() != -1) ::backtrace_symbols_fd(frames, count, dump.descriptor());
#endif
  return dump.close(name.c_str());
}

[[noreturn]] void leave() {
  print(crash::kExiting);
  ::_exit(1);
}

void print_failure(int error) {
  crash::Line line;
  line.add(crash::kFailed).number(static_cast<unsigned>(error));
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 32)
  if (const char* words = ::strerrordesc_np(error)) line.add(" (").add(words).add(")");
#endif
  print(line.text());
}

void on_fault(int signal, siginfo_t* info, void* context) {
  const long self = ::syscall(SYS_gettid);
  long nobody = 0;
  if (!g_crashed_thread.compare_exchange_strong(nobody, self)) {
    if (nobody != self)
      for (;;) ::pause();  // the first thread to crash ends the process
    print(crash::kFailed);
    print("the crash handler has crashed as well.");
    leave();
  }
  room::flush_after_crash();
  room::reset_color();
  print(crash::kCrashed);
  print(crash::kCreating);
  const int error = write_dump(signal, *info, *static_cast<ucontext_t*>(context));
  if (error == 0) {
    print(crash::kDone);
  } else {
    print_failure(error);
  }
  leave();
}

}  // namespace

void install_crash_handler() {
#ifdef NF_HAS_BACKTRACE
  void* frame;
  ::backtrace(&frame, 1);  // the first call loads a library, which a handler must not
#endif
  stack_t stack{};
  stack.ss_sp = g_stack;
  stack.ss_size = sizeof g_stack;
  ::sigaltstack(&stack, nullptr);
  struct sigaction action {};
  action.sa_sigaction = on_fault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  ::sigemptyset(&action.sa_mask);
  for (int signal : kFaults) ::sigaction(signal, &action, nullptr);
}

}  // namespace nmp::platform
