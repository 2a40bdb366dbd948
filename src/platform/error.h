// Operating-system error codes, as the platform layer returns them. Nothing here throws.
#pragma once

#include <cstdint>
#include <string>

namespace nmp::platform {

/// errno on POSIX, GetLastError() on Windows; 0 is success.
using ErrorCode = std::int64_t;
/// The system's own words for a code ("No space left on device"); empty for 0.
std::string error_text(ErrorCode code);
/// False for a failure that trying again cannot change: no such folder, no permission, a read-only
/// or full disk, an impossible name. True for a busy file, used-up handles, and whatever is
/// unknown.
bool error_may_pass(ErrorCode code);

}  // namespace nmp::platform
