#include "platform/system_pool.h"

#include <windows.h>

#include <new>

namespace nmp::platform {

struct SystemPool::Item::Work {
  void (*function)(void*);
  void* argument;
  PTP_WORK handle;

  static void CALLBACK call(PTP_CALLBACK_INSTANCE, void* self, PTP_WORK) {
    const auto* work = static_cast<const Work*>(self);
    work->function(work->argument);
  }
};

bool SystemPool::is_available() { return true; }

SystemPool::SystemPool(unsigned threads) {
  if (threads == 0) return;
  PTP_POOL pool = CreateThreadpool(nullptr);
  if (pool == nullptr) return;
  SetThreadpoolThreadMaximum(pool, threads);
  pool_ = pool;
}

SystemPool::~SystemPool() {
  if (is_open()) CloseThreadpool(static_cast<PTP_POOL>(pool_));
}

SystemPool::Item::~Item() {
  if (work_ == nullptr) return;
  WaitForThreadpoolWorkCallbacks(work_->handle, /*fCancelPendingCallbacks=*/TRUE);
  CloseThreadpoolWork(work_->handle);
  delete work_;
}

SystemPool::Item SystemPool::submit(void (*function)(void*), void* argument) {
  Item item;
  if (!is_open()) return item;
  TP_CALLBACK_ENVIRON environment;
  InitializeThreadpoolEnvironment(&environment);
  SetThreadpoolCallbackPool(&environment, static_cast<PTP_POOL>(pool_));
  auto* work = new (std::nothrow) Item::Work{function, argument, nullptr};
  if (work == nullptr) return item;
  work->handle = CreateThreadpoolWork(&Item::Work::call, work, &environment);
  if (work->handle == nullptr) {
    delete work;
    return item;
  }
  item.work_ = work;
  SubmitThreadpoolWork(work->handle);
  return item;
}

}  // namespace nmp::platform
