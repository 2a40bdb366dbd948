// The ends of the program that are no exceptions.
#pragma once

#include <string_view>

namespace nmp {

/// Printed after a failure that may come from unreliable hardware, before the program ends.
inline constexpr std::string_view kHardwareAdvice =
    "If this error shows up consistantly with the current options,\n"
    "please report it as a bug.\n"
    "\n"
    "If this error comes and goes with the current options,\n"
    "please check your hardware for reliability issues.\n"
    "Are you overclocking?\n"
    "\n"
    "Terminating Program...\n";

/// Ends the process at once with exit code 1, waiting for a key first unless the user switched
/// that off.
[[noreturn]] void fatal_exit();
/// The same with a bright red line before it.
[[noreturn]] void fatal_exit(std::string_view message);

}  // namespace nmp
