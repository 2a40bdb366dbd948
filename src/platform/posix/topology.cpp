#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/processor.h"

namespace nmp::platform {

namespace {

#ifdef __linux__
using Mask = std::vector<unsigned long>;

cpu_set_t* as_set(Mask& mask) { return reinterpret_cast<cpu_set_t*>(mask.data()); }
std::size_t bytes_of(const Mask& mask) { return mask.size() * sizeof mask[0]; }

/// The processors that the calling thread may use; empty when the system does not say.
Mask allowed_processors() {
  // The kernel refuses sets smaller than its own, whatever the machine really has.
  for (int capacity = 1024; capacity <= 1 << 20; capacity *= 4) {
    Mask mask(CPU_ALLOC_SIZE(capacity) / sizeof(unsigned long));
    if (::sched_getaffinity(0, bytes_of(mask), as_set(mask)) == 0) return mask;
    if (errno != EINVAL) break;
  }
  return {};
}
#endif

}  // namespace

unsigned logical_processors() {
#ifdef __linux__
  Mask mask = allowed_processors();
  if (!mask.empty()) return static_cast<unsigned>(CPU_COUNT_S(bytes_of(mask), as_set(mask)));
#endif
  return std::max(1u, std::thread::hardware_concurrency());
}

#ifdef __linux__
struct PinnedThread::Saved {
  Mask mask;
};

PinnedThread::PinnedThread(unsigned index) {
  Mask mask = allowed_processors();
  const int count = mask.empty() ? 0 : CPU_COUNT_S(bytes_of(mask), as_set(mask));
  if (count <= 0) return;
  Mask one(mask.size());
  std::size_t processor = 0;
  for (unsigned left = index % static_cast<unsigned>(count);; ++processor)
    if (CPU_ISSET_S(processor, bytes_of(mask), as_set(mask)) && left-- == 0) break;
  CPU_SET_S(processor, bytes_of(one), as_set(one));
  if (::sched_setaffinity(0, bytes_of(one), as_set(one)) == 0)
    saved_ = std::make_unique<Saved>(Saved{std::move(mask)});
}

PinnedThread::~PinnedThread() {
  if (saved_) ::sched_setaffinity(0, bytes_of(saved_->mask), as_set(saved_->mask));
}
#else
struct PinnedThread::Saved {};
PinnedThread::PinnedThread(unsigned) {}
PinnedThread::~PinnedThread() = default;
#endif

std::vector<unsigned> processor_groups() { return {logical_processors()}; }

}  // namespace nmp::platform
