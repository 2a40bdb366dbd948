// The thread pool that the operating system itself offers, where it does. Nothing here throws.
#pragma once

#include <utility>

namespace nmp::platform {

class SystemPool {
 public:
  static bool is_available();

  /// A pool of at most `threads` threads.
  explicit SystemPool(unsigned threads);
  ~SystemPool();
  SystemPool(const SystemPool&) = delete;
  SystemPool& operator=(const SystemPool&) = delete;
  bool is_open() const { return pool_ != nullptr; }

  /// One submitted call. When it goes, the call has ended, or never begins.
  class Item {
   public:
    Item() = default;
    Item(Item&& other) noexcept : work_(std::exchange(other.work_, nullptr)) {}
    Item& operator=(Item&& other) noexcept {
      std::swap(work_, other.work_);
      return *this;
    }
    ~Item();
    explicit operator bool() const { return work_ != nullptr; }

   private:
    friend class SystemPool;
    struct Work;
    Work* work_ = nullptr;
  };
  /// Calls `function(argument)` on a thread of the pool. An empty item where the system refuses.
  Item submit(void (*function)(void*), void* argument);

 private:
  void* pool_ = nullptr;
};

}  // namespace nmp::platform
