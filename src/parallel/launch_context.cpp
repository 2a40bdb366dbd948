#include "parallel/launch_context.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

#include "foundation/exceptions.h"
#include "foundation/process_settings.h"
#include "parallel/child_thread.h"
#include "parallel/loop_context.h"
#include "platform/system_pool.h"

namespace nmp::parallel {
namespace {

/// What a helper of a loop does.
void help(Loop& loop) {
  run_child_thread([&loop] { loop.run(loop.claim()); });
}

// A launcher starts helpers of a loop. `start` throws std::system_error where it cannot; the
// destructor of a Helper waits for it.

struct AsyncLauncher {
  using Helper = std::future<void>;  // one from std::async waits when it goes
  explicit AsyncLauncher(unsigned) {}
  Helper start(Loop& loop) {
    return std::async(std::launch::async, [&loop] { help(loop); });
  }
};

struct SpawnLauncher {
  using Helper = std::jthread;
  explicit SpawnLauncher(unsigned) {}
  Helper start(Loop& loop) {
    return std::jthread([&loop] { help(loop); });
  }
};

struct SystemPoolLauncher {
  explicit SystemPoolLauncher(unsigned threads) : pool(threads) {
    if (threads != 0 && !pool.is_open())
      throw ResourceAcquisitionFailedException("parallel::make_context()",
                                               "The system's thread pool could not be set up.");
  }
  using Helper = platform::SystemPool::Item;
  Helper start(Loop& loop) {
    Helper item = pool.submit([](void* argument) { help(*static_cast<Loop*>(argument)); }, &loop);
    if (!item) throw std::system_error(std::make_error_code(std::errc::not_enough_memory));
    return item;
  }
  platform::SystemPool pool;
};

template <typename Launcher>
class LaunchContext final : public LoopContext {
 public:
  LaunchContext(std::string key, unsigned threads)
      : LoopContext(std::move(key), threads), launcher_(threads - 1), free_(threads - 1) {}

 protected:
  void share(Loop& loop) override {
    std::vector<typename Launcher::Helper> helpers;
    const std::size_t wanted = std::min<std::size_t>(loop.left() - 1, free_.load());
    helpers.reserve(wanted);
    const std::size_t own = loop.claim();
    const unsigned taken = take(static_cast<unsigned>(wanted));
    start(helpers, taken, loop);
    loop.run(own);
    helpers.clear();
    free_ += taken;
  }

 private:
  /// Takes up to `wanted` of the threads that are free.
  unsigned take(unsigned wanted) {
    unsigned there = free_;
    while (!free_.compare_exchange_weak(there, there - std::min(there, wanted))) {
    }
    return std::min(there, wanted);
  }

  void start(std::vector<typename Launcher::Helper>& helpers, unsigned count, Loop& loop) noexcept {
    try {
      for (unsigned i = 0; i < count; ++i) helpers.push_back(launcher_.start(loop));
    } catch (const std::exception& e) {  // the loop gets by with fewer
      if (!warned_.exchange(true))
        print_warning("Fewer threads than wanted could be started: " + std::string(e.what()));
    }
  }

  Launcher launcher_;
  std::atomic<unsigned> free_;
  std::atomic<bool> warned_{false};
};

}  // namespace

std::unique_ptr<Context> make_async_context(std::string key, unsigned threads) {
  return std::make_unique<LaunchContext<AsyncLauncher>>(std::move(key), threads);
}

std::unique_ptr<Context> make_spawn_context(std::string key, unsigned threads) {
  return std::make_unique<LaunchContext<SpawnLauncher>>(std::move(key), threads);
}

std::unique_ptr<Context> make_system_pool_context(std::string key, unsigned threads) {
  return std::make_unique<LaunchContext<SystemPoolLauncher>>(std::move(key), threads);
}

}  // namespace nmp::parallel
