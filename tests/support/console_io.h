// Runs code that talks to the console, with the answers typed beforehand.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "foundation/console.h"
#include "platform/console.h"

namespace nmp::test {

/// Calls `body` with `input` as the whole standard input and returns what it printed.
template <typename Body>
std::string on_console(std::string_view input, Body body) {
  std::FILE* file = std::tmpfile();
  std::fwrite(input.data(), 1, input.size(), file);
  std::fflush(file);
  std::rewind(file);
  lseek(fileno(file), 0, SEEK_SET);
  const int before = dup(STDIN_FILENO);
  dup2(fileno(file), STDIN_FILENO);

  console::flush();
  testing::internal::CaptureStdout();
  body();
  std::string unread;
  while (platform::console_read_line(&unread)) {
  }
  console::flush();
  std::string output = testing::internal::GetCapturedStdout();

  dup2(before, STDIN_FILENO);
  close(before);
  std::fclose(file);
  return output;
}

}  // namespace nmp::test
