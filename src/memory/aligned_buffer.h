// Carves one caller-owned block of scratch memory into aligned pieces.
//
// Passing a carver by value makes it a stack: the callee carves from its own copy, and what it
// took is free again when it returns. That is how all arithmetic gets its scratch.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nmp {

/// Start of the block, start of every piece and every size are multiples of this.
inline constexpr std::size_t kBufferAlignment = 64;

/// `bytes` rounded up to a size that `AlignedBufferC::spawn` accepts.
constexpr std::size_t aligned_bytes(std::size_t bytes) {
  return (bytes + kBufferAlignment - 1) & ~(kBufferAlignment - 1);
}
/// Bytes that `carve<T>(count)` takes from a buffer.
template <typename T>
constexpr std::size_t carved_bytes(std::size_t count) {
  return aligned_bytes(count * sizeof(T));
}

/// A view over caller-owned memory: the part that has not been handed out yet.
class AlignedBufferC {
 public:
  AlignedBufferC() = default;
  /// `ptr` must be 64-byte aligned, else InvalidParametersException "Pointer is misaligned.";
  /// `bytes` a multiple of 64, else "Size is misaligned.". The memory stays the caller's.
  AlignedBufferC(void* ptr, std::size_t bytes);

  /// Cuts `bytes` (a multiple of 64) off the front. Throws BufferTooSmallException when fewer are
  /// left and InvalidParametersException "Size is misaligned." for other sizes.
  AlignedBufferC spawn(std::size_t bytes);
  /// The same for a size that may exceed this platform's address range.
  AlignedBufferC spawn64(std::uint64_t bytes);
  /// The same in 32-bit words: `words` must be a multiple of 16.
  AlignedBufferC spawn_words(std::size_t words);
  /// Cuts everything that is left.
  AlignedBufferC extract_aligned();

  /// Room for `count` objects of a trivial type, rounded up to whole 64-byte lines, uninitialised.
  template <typename T>
  T* carve(std::size_t count) {
    return reinterpret_cast<T*>(spawn(carved_bytes<T>(count)).ptr_);
  }

  std::byte* ptr() const { return ptr_; }
  std::size_t bytes() const { return bytes_; }

 private:
  std::byte* ptr_ = nullptr;  ///< next free byte
  std::size_t bytes_ = 0;     ///< bytes left
};

}  // namespace nmp
