// Runs a function in a forked child whose standard input and output are the test's. POSIX only:
// include it behind __has_include(<sys/wait.h>).
#pragma once

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>

namespace nmp::test {

enum class Channel { kPipe, kTerminal };

struct ChildResult {
  int exit_code = -1;  ///< or -1 when a signal ended it
  int signal = 0;
  std::string output;
};

/// Whether this system gives out pseudo-terminals; a bare root without /dev/pts does not.
inline bool has_terminals() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (master != -1) ::close(master);
  return master != -1;
}

class Child {
 public:
  /// The child exits with the function's result, and by SIGALRM when it hangs.
  explicit Child(const std::function<int()>& body, Channel channel = Channel::kPipe) {
    int in[2] = {-1, -1}, out[2] = {-1, -1};
    if (channel == Channel::kTerminal) {
      in[1] = out[0] = ::posix_openpt(O_RDWR | O_NOCTTY);
      ::grantpt(in[1]);
      ::unlockpt(in[1]);
    } else if (::pipe(in) != 0 || ::pipe(out) != 0) {
      std::abort();
    }
    process_ = ::fork();
    if (process_ == 0) {
      ::alarm(20);
      if (channel == Channel::kTerminal) {
        ::setsid();
        in[0] = out[1] = ::open(::ptsname(in[1]), O_RDWR);
        ::ioctl(in[0], TIOCSCTTY, 0);
      }
      ::dup2(in[0], STDIN_FILENO);
      ::dup2(out[1], STDOUT_FILENO);
      for (int descriptor = 3; descriptor < 64; ++descriptor) ::close(descriptor);
      ::_exit(body());
    }
    if (in[0] != -1) ::close(in[0]);
    if (out[1] != -1) ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
  }
  ~Child() {
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      finish();
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t process() const { return process_; }
  void type(const std::string& text) {
    if (::write(input_, text.data(), text.size()) < 0) std::abort();
  }
  void end_input() { ::close(std::exchange(input_, -1)); }
  /// Waits until the child has printed `text` (or has ended).
  bool wait_for(const std::string& text) {
    while (result_.output.find(text) == std::string::npos)
      if (!read_some()) return false;
    return true;
  }
  ChildResult finish() {
    while (read_some()) {
    }
    int status = 0;
    ::waitpid(std::exchange(process_, -1), &status, 0);
    if (WIFEXITED(status)) result_.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result_.signal = WTERMSIG(status);
    ::close(output_);
    if (input_ != -1 && input_ != output_) ::close(input_);
    return result_;
  }

 private:
  bool read_some() {
    char buffer[4096];
    const ssize_t got = ::read(output_, buffer, sizeof buffer);
    if (got <= 0) return false;
    result_.output.append(buffer, static_cast<std::size_t>(got));
    return true;
  }

  pid_t process_ = -1;
  int input_ = -1, output_ = -1;
  ChildResult result_;
};

}  // namespace nmp::test
