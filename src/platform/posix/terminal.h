// What the signal handlers need to know about the terminal.
#pragma once

#include <atomic>

namespace nmp::platform::room {

/// A colour other than the terminal's own is in force.
extern std::atomic<bool> g_colored;
/// Puts the terminal's own colour back. May be called from a signal handler.
void reset_color();

}  // namespace nmp::platform::room
