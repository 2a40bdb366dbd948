// The border between the console that all systems share (console.cpp) and the room of each system.
#pragma once

#include <cstddef>
#include <string>

namespace nmp::platform::room {

/// The room's part. Writes everything to standard output at once; false when it cannot. On POSIX it
/// may be called from a signal handler.
bool write_output(const char* text, std::size_t bytes);
/// The room's part. Appends the next piece of standard input, waiting for it; false at its end.
bool read_input(std::string* chunk);

/// The shared part, for crash handlers: writes the text that is held back, unless the faulting
/// thread was just about to write it. Takes no lock and no memory.
void flush_after_crash();

}  // namespace nmp::platform::room
