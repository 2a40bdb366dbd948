// The process: arguments, priority, debugger, crashes and interruption. Nothing here throws.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/error.h"

namespace nmp::platform {

/// The program's arguments as UTF-8, whatever encoding main() was given.
std::vector<std::string> arguments(int argc, char** argv);
/// -2 idle, -1 below normal, 0 normal, 1 above normal, 2 high, 3 real-time; others are clamped. To
/// be called before there are threads: on Linux only later ones inherit it.
ErrorCode set_priority(int level);
bool debugger_attached();
/// Installs the handler for faults that are no exceptions: it prints the crash text, writes a dump
/// named "numforge-...dmp" where the system can, and ends the process.
void install_crash_handler();
/// From the first Ctrl-C (or termination request) on, `interrupted` is true; a second one ends the
/// process at once with exit code 130. Also turns the signals of a broken pipe and of a file-size
/// limit into plain errors of the write.
void install_interrupt_handler();
bool interrupted();
/// Largest amount of memory that this process has had in use so far, in bytes.
std::uint64_t peak_memory();
/// Physical memory in bytes: the machine's, or the limit of this process's control group.
std::uint64_t physical_memory();
/// Ends the process without unwinding.
[[noreturn]] void exit_process(int code);
/// An environment variable, or empty.
std::string environment(const char* name);

}  // namespace nmp::platform
