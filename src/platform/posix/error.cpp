#include "platform/error.h"

#include <cerrno>
#include <cstring>

namespace nmp::platform {

std::string error_text(ErrorCode code) {
  return code == 0 ? "" : std::strerror(static_cast<int>(code));
}

bool error_may_pass(ErrorCode code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
    case EISDIR:
    case EEXIST:
    case EACCES:
    case EPERM:
    case EROFS:
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
    case ENAMETOOLONG:
    case ELOOP:
    case EINVAL:
    case ENODEV:
    case ENXIO:
    case ESPIPE:
    case EOPNOTSUPP:
      return false;
    default:
      return true;
  }
}

}  // namespace nmp::platform
