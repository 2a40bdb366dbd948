#include "parallel/work_pool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <system_error>
#include <utility>

#include "foundation/exceptions.h"
#include "foundation/process_settings.h"
#include "parallel/child_thread.h"

namespace nmp::parallel {
namespace {

/// How long a thread looks for work, yielding in between, before it goes to sleep. A sleeper takes
/// some 50 microseconds to come back, longer on a virtual machine; the loops of a product follow
/// each other faster than that.
constexpr std::chrono::microseconds kPatience{1000};
/// Sleepers that one thread wakes for one node.
constexpr std::size_t kWakes = 2;
constexpr std::size_t kCacheLine = 64;

}  // namespace

/// A loop that is being shared. Lives in its owner's `share`.
struct WorkPool::Node {
  bool is_below(const Node* other) const {
    const Node* node = this;
    while (node != nullptr && node != other) node = node->parent;
    return node == other;
  }

  Loop& loop;
  const Node* const parent;
  Queue& queue;
  Node* prev = nullptr;
  Node* next = nullptr;
  bool queued = false;               ///< under the lock of the queue
  std::atomic<unsigned> guests = 0;  ///< threads in the loop besides the owner; grows while queued
};

struct alignas(kCacheLine) WorkPool::Queue {
  void append(Node& node) {
    nodes.append(node);
    node.queued = true;
    ++size;
  }
  void remove(Node& node) {
    nodes.remove(node);
    node.queued = false;
    --size;
  }

  std::mutex lock;
  LinkedList<Node> nodes;
  std::atomic<unsigned> size{0};  ///< of `nodes`, for a look without the lock
};

struct WorkPool::Sleeper {
  const Node* const within;
  Sleeper* prev = nullptr;
  Sleeper* next = nullptr;
  bool woken = false;  ///< and taken off the list; under `sleep_lock_`
  std::condition_variable wake_up;
};

namespace {

/// Where this thread stands in the pool that it works for at the moment.
struct Place {
  const void* pool = nullptr;
  std::size_t queue = 0;       ///< own queue; 0 is that of the threads from outside
  const void* node = nullptr;  ///< the node whose chunk is being run here
};
thread_local Place t_place;

}  // namespace

WorkPool::WorkPool(std::string key, unsigned threads, Queues queues)
    : LoopContext(std::move(key), threads),
      queue_count_(queues == Queues::kOne ? 1 : threads),
      queues_(std::make_unique<Queue[]>(queue_count_)) {
  workers_.reserve(threads - 1);
  start_workers(threads - 1);
}

void WorkPool::start_workers(unsigned count) {
  try {
    for (unsigned i = 1; i <= count; ++i)
      workers_.emplace_back([this, queue = i % queue_count_] {
        run_child_thread([this, queue] { worker(static_cast<unsigned>(queue)); });
      });
  } catch (const std::system_error& e) {
    const std::string reason = e.code().message();
    if (workers_.empty())
      throw ResourceAcquisitionFailedException(
          "parallel::make_context()",
          "No thread could be started: " + reason + ". The framework \"none\" needs none.");
    set_threads(1 + static_cast<unsigned>(workers_.size()));
    print_warning("Only " + std::to_string(threads()) + " of " + std::to_string(1 + count) +
                  " threads could be started: " + reason);
  }
}

WorkPool::~WorkPool() {
  stopping_ = true;
  wake(workers_.size(), [](const Sleeper&) { return true; });
  for (std::thread& worker : workers_) worker.join();
}

void WorkPool::worker(unsigned queue) {
  t_place = {this, queue, nullptr};
  work_until(nullptr, [this] { return stopping_.load(); });
}

void WorkPool::share(Loop& loop) {
  const Place outer = t_place;
  if (outer.pool != this) t_place = {this, 0, nullptr};
  Node node{loop, static_cast<const Node*>(t_place.node), queues_[t_place.queue]};
  t_place.node = &node;
  const std::size_t own = loop.claim();
  publish(node);
  loop.run(own);
  retract(node);
  work_until(&node, [&node] { return node.guests == 0; });
  t_place = outer;
}

void WorkPool::publish(Node& node) {
  {
    const std::lock_guard guard(node.queue.lock);
    node.queue.append(node);
  }
  wake_for(node);
}

void WorkPool::retract(Node& node) {
  const std::lock_guard guard(node.queue.lock);
  if (node.queued) node.queue.remove(node);
}

WorkPool::Claim WorkPool::take(Queue& queue, const Node* within) {
  if (queue.size == 0) return {};
  const std::lock_guard guard(queue.lock);
  for (Node *node = queue.nodes.first(), *next = nullptr; node != nullptr; node = next) {
    next = node->next;
    if (within != nullptr && !node->is_below(within)) continue;
    const std::size_t chunk = node->loop.claim();
    if (node->loop.left() == 0) queue.remove(*node);
    if (!node->loop.is_chunk(chunk)) continue;
    ++node->guests;
    return {node, chunk};
  }
  return {};
}

WorkPool::Claim WorkPool::take(const Node* within) {
  for (std::size_t i = 0; i < queue_count_; ++i) {
    const Claim claim = take(queues_[(t_place.queue + i) % queue_count_], within);
    if (claim.node != nullptr) return claim;
  }
  return {};
}

void WorkPool::run(const Claim& claim) {
  wake_for(*claim.node);
  const void* const outer = std::exchange(t_place.node, claim.node);
  claim.node->loop.run(claim.chunk);
  t_place.node = outer;
  // The node may be gone as soon as nobody is inside. Its address still says who waits for it; if
  // another node has that address by now, its owner wakes up in vain.
  const Node* const address = claim.node;
  if (--claim.node->guests == 0)
    wake(1, [address](const Sleeper& sleeper) { return sleeper.within == address; });
}

template <typename Done>
void WorkPool::work_until(const Node* within, const Done& done) {
  using Clock = std::chrono::steady_clock;
  for (auto end = Clock::now() + kPatience; !done();) {
    Claim claim = take(within);
    if (claim.node == nullptr && Clock::now() < end) {
      std::this_thread::yield();
      continue;
    }
    if (claim.node == nullptr) claim = sleep(within, done);
    if (claim.node != nullptr) run(claim);
    end = Clock::now() + kPatience;
  }
}

/// Sleeps until woken, unless `done` or there is a chunk to run after all, which is returned.
template <typename Done>
WorkPool::Claim WorkPool::sleep(const Node* within, const Done& done) {
  Sleeper self{within};
  {
    const std::lock_guard guard(sleep_lock_);
    sleepers_.append(self);
    ++sleeping_;
  }
  const bool over = done();
  const Claim claim = over ? Claim{} : take(within);
  {
    std::unique_lock guard(sleep_lock_);
    if (!over && claim.node == nullptr) self.wake_up.wait(guard, [&self] { return self.woken; });
    if (!self.woken) {
      sleepers_.remove(self);
      --sleeping_;
    }
  }
  return claim;
}

template <typename Which>
void WorkPool::wake(std::size_t most, const Which& which) {
  if (most == 0 || sleeping_ == 0) return;
  const std::lock_guard guard(sleep_lock_);
  for (Sleeper *sleeper = sleepers_.first(), *next = nullptr; sleeper != nullptr && most != 0;
       sleeper = next) {
    next = sleeper->next;
    if (!which(*sleeper)) continue;
    sleepers_.remove(*sleeper);
    --sleeping_;
    sleeper->woken = true;
    sleeper->wake_up.notify_one();  // under the lock: without it, the sleeper might be gone
    --most;
  }
}

void WorkPool::wake_for(const Node& node) {
  wake(std::min(kWakes, node.loop.left()), [&node](const Sleeper& sleeper) {
    return sleeper.within == nullptr || node.is_below(sleeper.within);
  });
}

}  // namespace nmp::parallel
