// Threads that cannot be had, and threads that fail.
#if __has_include(<sys/wait.h>)
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdio>
#include <system_error>
#include <thread>

#include "foundation/exceptions.h"
#include "parallel/child_thread.h"
#include "parallel/context.h"
#include "support/child.h"
#include "support/random.h"

namespace nmp::parallel {
namespace {

using test::Child;
using test::ChildResult;

TEST(ChildThread, EndsTheProcessWhenAnExceptionEscapes) {
  Child child([] {
    std::thread thread([] { run_child_thread([] { throw InvalidParametersException(); }); });
    thread.join();
    return 0;
  });
  child.end_input();
  const ChildResult result = child.finish();
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.output,
              testing::StartsWith("FATAL ERROR: Unhandled exception in child thread.\n"));
}

/// Lets this process have so many bytes more address space than now.
bool limit_growth(std::size_t bytes) {
  std::size_t pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  const bool known = file != nullptr && std::fscanf(file, "%zu", &pages) == 1;
  if (file != nullptr) std::fclose(file);
  struct rlimit space {};
  ::getrlimit(RLIMIT_AS, &space);
  space.rlim_cur = pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) + bytes;
  return known && ::setrlimit(RLIMIT_AS, &space) == 0;
}

/// Starts threads until there is no more room for one, not even where earlier ones were.
void take_all_stacks() {
  try {
    for (;;) std::thread([] { ::pause(); }).detach();
  } catch (const std::system_error&) {
  }
}

/// What becomes of loops when there is room for so many more threads.
ChildResult with_room_for(unsigned stacks, const std::string& description) {
  Child child([&] {
    struct rlimit stack {};
    ::getrlimit(RLIMIT_STACK, &stack);
    const std::size_t size = stack.rlim_cur == RLIM_INFINITY ? 2 << 20 : stack.rlim_cur;
    if (!limit_growth(0)) return 3;
    take_all_stacks();
    if (!limit_growth(stacks * size + size / 2)) return 3;
    std::atomic<std::size_t> sum{0};
    try {
      const std::unique_ptr<Context> context = make_context(description);
      std::printf("%u threads\n", context->threads());
      context->parallel_for(0, 100, 1, [&](std::size_t a, std::size_t b) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        sum += b - a;
      });
      context->fork_join([&] { ++sum; }, [&] { ++sum; });
    } catch (const ResourceAcquisitionFailedException& e) {
      std::printf("%s\n", e.message().c_str());
    }
    std::fflush(stdout);
    return sum == 102 ? 0 : 2;
  });
  child.end_input();
  return child.finish();
}

TEST(ScarceThreads, AreMadeDoWith) {
  if (test::scale() < 1) GTEST_SKIP() << "a sanitizer needs address space of its own";
  for (const std::string key : {"pushpool", "taskqueue"}) {
    const ChildResult some = with_room_for(2, key + ":9");
    EXPECT_EQ(some.exit_code, 0) << some.output;
    EXPECT_THAT(some.output, testing::HasSubstr("Warning: Only 3 of 9 threads could be started: "));
    EXPECT_THAT(some.output, testing::HasSubstr("\n3 threads\n"));
    const ChildResult none = with_room_for(0, key + ":9");
    EXPECT_EQ(none.exit_code, 2) << none.output;
    EXPECT_THAT(none.output, testing::HasSubstr("No thread could be started: "));
  }
  for (const std::string key : {"cppasync", "spawn"}) {
    const ChildResult some = with_room_for(1, key + ":9");
    EXPECT_EQ(some.exit_code, 0) << some.output;
    EXPECT_THAT(some.output, testing::HasSubstr("Warning: Fewer threads than wanted"));
  }
}

}  // namespace
}  // namespace nmp::parallel
#endif
