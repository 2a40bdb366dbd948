#include "platform/file.h"

#include <utility>

namespace nmp::platform {

File::File(File&& other) noexcept : handle_(std::exchange(other.handle_, kClosed)) {}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    close();
    handle_ = std::exchange(other.handle_, kClosed);
  }
  return *this;
}

}  // namespace nmp::platform
