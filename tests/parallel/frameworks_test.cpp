// What must hold in every framework with any number of threads, more than there are processors
// included.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <numeric>
#include <thread>
#include <vector>

#include "foundation/exceptions.h"
#include "parallel/context.h"
#include "platform/system_pool.h"
#include "support/random.h"

namespace nmp::parallel {
namespace {

using Index = std::size_t;

/// Threads that wait for each other's arrival. False when the others do not come.
class Meeting {
 public:
  explicit Meeting(unsigned expected) : expected_(expected) {}
  bool join() {
    ++arrived_;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (arrived_ < expected_ && std::chrono::steady_clock::now() < deadline)
      std::this_thread::yield();
    return arrived_ >= expected_;
  }

 private:
  const unsigned expected_;
  std::atomic<unsigned> arrived_{0};
};

std::vector<std::string> every_framework() {
  std::vector<std::string> list = {"none", "pushpool:1"};
  for (const std::string key : {"cppasync", "spawn", "taskqueue", "pushpool", "winpool"}) {
    if (key == "winpool" && !platform::SystemPool::is_available()) continue;
    for (const char* threads : {":2", ":3", ":8"}) list.push_back(key + threads);
  }
  return list;
}

class Frameworks : public ::testing::TestWithParam<std::string> {
 protected:
  const std::unique_ptr<Context> context_ = make_context(GetParam());
  /// With workers of its own, which help wherever they can.
  const bool pool_ = context_->threads() > 1 &&
                     (GetParam().starts_with("pushpool") || GetParam().starts_with("taskqueue"));
  test::Rng rng_ = test::Rng::from_environment();
};

TEST_P(Frameworks, TileTheRangeInMultiplesOfTheGrain) {
  constexpr Index kEnd = ~Index{0};
  for (std::size_t rep = 0; rep < test::reps(300); ++rep) {
    const Index size = rng_.below(rep % 2 ? 2000 : 20);
    const Index begin = rep % 5 ? rng_.below(50) : kEnd - size, end = begin + size;
    const Index grain = rep % 7 ? 1 + rng_.below(rep % 3 ? 4 : 300) : kEnd - rng_.below(2);
    std::mutex lock;
    std::vector<std::pair<Index, Index>> ranges;
    context_->parallel_for(begin, end, grain, [&](Index first, Index last) {
      const std::lock_guard guard(lock);
      ranges.emplace_back(first, last);
    });
    std::sort(ranges.begin(), ranges.end());
    Index at = begin;
    for (const auto& [first, last] : ranges) {
      ASSERT_EQ(first, at);
      ASSERT_GT(last, first);
      if (last != end) {
        ASSERT_EQ((last - first) % grain, 0u);
      }
      at = last;
    }
    ASSERT_EQ(at, end);
    context_->parallel_for(end, begin, grain, [](Index, Index) { FAIL() << "an empty range"; });
  }
}

TEST_P(Frameworks, WorkOnAllThreadsAtOnce) {
  const unsigned threads = context_->threads();
  for (const bool asleep : {false, true}) {
    if (asleep) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    Meeting all(threads), both(std::min(threads, 2u));
    context_->parallel_for(0, threads, 1,
                           [&](Index, Index) { EXPECT_TRUE(threads == 1 || all.join()); });
    context_->fork_join([&] { EXPECT_TRUE(both.join()); }, [&] { EXPECT_TRUE(both.join()); });
  }
}

// The call may come at any moment of falling asleep.
TEST_P(Frameworks, ComeWheneverTheyAreCalled) {
  if (!pool_ || context_->threads() != 2) return;
  for (std::size_t rep = 0; rep < test::reps(5000); ++rep) {
    const auto call =
        std::chrono::steady_clock::now() + std::chrono::nanoseconds(rng_.below(15000));
    while (std::chrono::steady_clock::now() < call) {
    }
    Meeting both(2);
    context_->fork_join([&] { ASSERT_TRUE(both.join()); }, [&] { ASSERT_TRUE(both.join()); });
  }
}

// The first range takes as long as all others together.
TEST_P(Frameworks, BalanceUnevenRanges) {
  if (context_->threads() == 1) return;
  constexpr unsigned kRanges = 64;
  std::atomic<unsigned> others{0};
  context_->parallel_for(0, kRanges, 1, [&](Index first, Index last) {
    while (first < last) {
      if (first == 0) {
        // Those that share its chunk come later, and are few.
        EXPECT_LE(2 * last, kRanges / context_->threads());
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (others + last < kRanges && std::chrono::steady_clock::now() < deadline)
          std::this_thread::yield();
        EXPECT_EQ(others + last, kRanges);
      } else {
        ++others;
      }
      ++first;
    }
  });
  EXPECT_EQ(others, kRanges - 1);
}

std::uint64_t fibonacci(Context& context, unsigned n) {
  if (n < 2) return n;
  std::array<std::uint64_t, 2> part{};
  if (n % 2) {
    context.fork_join([&] { part[0] = fibonacci(context, n - 1); },
                      [&] { part[1] = fibonacci(context, n - 2); });
  } else {
    context.parallel_for(0, 2, 1, [&](Index first, Index last) {
      for (; first < last; ++first)
        part[first] = fibonacci(context, n - 1 - static_cast<unsigned>(first));
    });
  }
  return part[0] + part[1];
}

TEST_P(Frameworks, NestManySmallTasks) {
  EXPECT_EQ(fibonacci(*context_, test::scale() < 1 ? 10 : 18), test::scale() < 1 ? 55u : 2584u);
}

TEST_P(Frameworks, RunManySmallLoops) {
  std::vector<unsigned> counts(100);
  const std::size_t loops = test::reps(pool_ ? 20000 : 500);
  for (std::size_t i = 0; i < loops; ++i)
    context_->parallel_for(i % 7, counts.size(), 1 + i % 3, [&](Index first, Index last) {
      for (; first < last; ++first) ++counts[first];
    });
  EXPECT_EQ(std::accumulate(counts.begin() + 6, counts.end(), std::size_t{0}), 94 * loops);
}

TEST_P(Frameworks, RethrowFromAnyPosition) {
  constexpr Index kRanges = 40;
  for (Index thrower = 0; thrower < kRanges; ++thrower) {
    std::atomic<int> running{0};
    const auto body = [&](Index first, Index last) {
      ++running;
      for (; first < last; ++first) {
        if (first == thrower) {
          --running;
          throw InvalidParametersException("body()", std::to_string(thrower));
        }
        std::this_thread::yield();
      }
      --running;
    };
    try {
      context_->parallel_for(0, kRanges, 1, body);
      ADD_FAILURE() << "no exception from " << thrower;
    } catch (const InvalidParametersException& e) {
      EXPECT_EQ(e.message(), std::to_string(thrower));
    }
    EXPECT_EQ(running, 0) << "a range was still running";
  }
  // The right task in spite of what the left one throws: it may be left out, but not go on.
  for (const bool left : {true, false}) {
    std::atomic<int> running{0};
    const auto task = [&](bool fails) {
      ++running;
      std::this_thread::yield();
      --running;
      if (fails) throw 5;
    };
    EXPECT_THROW(context_->fork_join([&] { task(left); }, [&] { task(!left); }), int);
    EXPECT_EQ(running, 0);
  }
  // All at once, out of a nested loop; one of them arrives.
  EXPECT_THROW(
      context_->parallel_for(
          0, 8, 1,
          [&](Index, Index) { context_->parallel_for(0, 8, 1, [](Index, Index) { throw 5; }); }),
      int);
  EXPECT_EQ(fibonacci(*context_, 8), 21u) << "unusable after an exception";
}

// What waits may hold a lock that unrelated work wants.
TEST_P(Frameworks, RunNothingUnrelatedWhileTheyWait) {
  static thread_local bool waiting = false;
  std::atomic<bool> over{false};
  std::thread outside([&] {
    while (!over) context_->parallel_for(0, 16, 1, [](Index, Index) { EXPECT_FALSE(waiting); });
  });
  for (std::size_t rep = 0; rep < test::reps(100); ++rep) {
    waiting = true;
    std::atomic<bool> begun{false};
    const auto enough = std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
    context_->fork_join(
        [&] {
          while (!begun && std::chrono::steady_clock::now() < enough) std::this_thread::yield();
        },
        [&] {
          begun = true;
          std::this_thread::sleep_until(enough);
        });
    waiting = false;
  }
  over = true;
  outside.join();
}

// The caller waits for a task that needs it.
TEST_P(Frameworks, HelpBelowWhatTheyWaitFor) {
  if (!pool_ || context_->threads() != 2) return;
  for (const bool asleep : {false, true}) {
    Meeting begun(2), below(2);
    context_->fork_join([&] { EXPECT_TRUE(begun.join()); },
                        [&] {
                          EXPECT_TRUE(begun.join());
                          if (asleep) std::this_thread::sleep_for(std::chrono::milliseconds(20));
                          context_->parallel_for(0, 2, 1,
                                                 [&](Index, Index) { EXPECT_TRUE(below.join()); });
                        });
  }
}

TEST_P(Frameworks, ServeSeveralOutsideThreads) {
  std::vector<std::thread> outside;
  std::atomic<unsigned> right{0};
  const std::size_t reps = test::reps(pool_ ? 200 : 20);
  const std::unique_ptr<Context> other = make_context("pushpool:2");
  for (unsigned i = 0; i < 3; ++i)
    outside.emplace_back([&, i] {
      for (std::size_t rep = 0; rep < reps; ++rep) {
        right += fibonacci(*context_, 7 + i) == (i == 0 ? 13u : i == 1 ? 21u : 34u);
        // A pool inside another, and back again.
        std::atomic<unsigned> leaves{0};
        context_->parallel_for(0, 3, 1, [&](Index first, Index last) {
          other->parallel_for(first, last, 1, [&](Index from, Index to) {
            context_->parallel_for(from * 10, to * 10, 1,
                                   [&](Index a, Index b) { leaves += b - a; });
          });
        });
        right += leaves == 30;
        try {
          context_->parallel_for(0, 9, 1, [i](Index, Index) { throw i; });
        } catch (unsigned caught) {
          right += caught == i;
        }
      }
    });
  for (std::thread& thread : outside) thread.join();
  EXPECT_EQ(right, 9 * reps);
}

TEST_P(Frameworks, EndAtAnyTime) {
  for (std::size_t rep = 0; rep < test::reps(200); ++rep) {
    const std::unique_ptr<Context> context = make_context(GetParam());
    std::atomic<Index> sum{0};
    for (std::size_t loop = 0; loop < rep % 3; ++loop)
      context->parallel_for(0, 8, 1, [&](Index first, Index last) { sum += last - first; });
    if (rep % 4 == 3) std::this_thread::sleep_for(std::chrono::microseconds(rng_.below(200)));
    EXPECT_EQ(sum, 8 * (rep % 3));
  }
}

INSTANTIATE_TEST_SUITE_P(All, Frameworks, ::testing::ValuesIn(every_framework()),
                         [](const auto& instance) {
                           std::string name = instance.param;
                           std::replace(name.begin(), name.end(), ':', '_');
                           return name;
                         });

}  // namespace
}  // namespace nmp::parallel
