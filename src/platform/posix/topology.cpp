#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/processor.h"

namespace nmp::platform {

unsigned logical_processors() {
#ifdef __linux__
  // The kernel refuses sets smaller than its own, whatever the machine really has.
  for (int capacity = 1024; capacity <= 1 << 20; capacity *= 4) {
    cpu_set_t* set = CPU_ALLOC(capacity);
    if (set == nullptr) break;
    const std::size_t bytes = CPU_ALLOC_SIZE(capacity);
    const bool known = ::sched_getaffinity(0, bytes, set) == 0;
    const bool too_small = !known && errno == EINVAL;
    const int count = known ? CPU_COUNT_S(bytes, set) : 0;
    CPU_FREE(set);
    if (count > 0) return static_cast<unsigned>(count);
    if (!too_small) break;
  }
#endif
  return std::max(1u, std::thread::hardware_concurrency());
}

std::vector<unsigned> processor_groups() { return {logical_processors()}; }

}  // namespace nmp::platform
