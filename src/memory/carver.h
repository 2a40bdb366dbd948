// Takes memory from a buffer, or without one just adds up what would be taken: estimate and use are
// the same code.
#pragma once

#include <cstddef>

#include "memory/aligned_buffer.h"

namespace nmp {

class Carver {
 public:
  Carver() = default;
  explicit Carver(AlignedBufferC buffer) : buffer_(buffer), real_(true) {}

  /// Room for `count` objects as AlignedBufferC::carve gives it; null without a buffer.
  template <typename T>
  T* take(std::size_t count) {
    bytes_ += carved_bytes<T>(count);
    return real_ ? buffer_.carve<T>(count) : nullptr;
  }
  std::size_t bytes() const { return bytes_; }  ///< taken so far
  AlignedBufferC rest() const { return buffer_; }

 private:
  AlignedBufferC buffer_;
  bool real_ = false;
  std::size_t bytes_ = 0;
};

}  // namespace nmp
