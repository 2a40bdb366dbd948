#include "platform/system_pool.h"

namespace nmp::platform {

// There is none to build on.
bool SystemPool::is_available() { return false; }
SystemPool::SystemPool(unsigned) {}
SystemPool::~SystemPool() = default;
SystemPool::Item::~Item() = default;
SystemPool::Item SystemPool::submit(void (*)(void*), void*) { return {}; }

}  // namespace nmp::platform
