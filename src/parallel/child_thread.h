// The outermost frame of every thread that the frameworks start.
#pragma once

#include "foundation/fatal.h"

namespace nmp::parallel {

/// Runs the body of a thread. What its tasks throw goes to the thread that waits for them; anything
/// that escapes the body itself ends the process.
template <typename Body>
void run_child_thread(const Body& body) noexcept {
  try {
    body();
  } catch (...) {
    fatal_exit("FATAL ERROR: Unhandled exception in child thread.");
  }
}

}  // namespace nmp::parallel
