// Runs a program the way a person or a script would. POSIX only, like child.h.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/child.h"

namespace nmp::test {

/// A body for Child that becomes the program `command`[0], its errors going where its output goes.
/// `prepare` runs before that and may change the child's descriptors.
inline std::function<int()> program(
    std::vector<std::string> command, std::function<void()> prepare = [] {}) {
  return [command, prepare] {
    ::dup2(STDOUT_FILENO, STDERR_FILENO);
    prepare();
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    return 127;
  };
}

/// Runs `command` to its end with `input` piped in.
inline ChildResult run_program(const std::vector<std::string>& command,
                               const std::string& input = "") {
  Child child(program(command));
  if (!input.empty()) child.type(input);
  child.end_input();
  return child.finish();
}

}  // namespace nmp::test
