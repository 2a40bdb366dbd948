// The frameworks that ask for a thread whenever there is something to share, and give it back
// afterwards: simple, and dear where tasks are short.
//
// No more than threads() - 1 are asked for at once, whoever shares loops at what depth; a loop that
// finds none left runs on its owner's thread alone. So nothing ever waits for a thread.
#pragma once

#include <memory>
#include <string>

#include "parallel/context.h"

namespace nmp::parallel {

/// "cppasync": std::async for each helper of a loop.
std::unique_ptr<Context> make_async_context(std::string key, unsigned threads);
/// "spawn": a fresh std::thread for each.
std::unique_ptr<Context> make_spawn_context(std::string key, unsigned threads);
/// "winpool": a work item of the system's own pool for each.
std::unique_ptr<Context> make_system_pool_context(std::string key, unsigned threads);

}  // namespace nmp::parallel
