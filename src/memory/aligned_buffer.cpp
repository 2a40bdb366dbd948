#include "memory/aligned_buffer.h"

#include <limits>

#include "foundation/exceptions.h"

namespace nmp {
namespace {

constexpr const char* kSpawn = "AlignedBufferC::spawn()";

void check_pointer(const char* function, const void* ptr) {
  if (reinterpret_cast<std::uintptr_t>(ptr) % kBufferAlignment != 0)
    throw InvalidParametersException(function, "Pointer is misaligned.");
}
void check_size(const char* function, std::size_t bytes) {
  if (bytes % kBufferAlignment != 0)
    throw InvalidParametersException(function, "Size is misaligned.");
}

}  // namespace

AlignedBufferC::AlignedBufferC(void* ptr, std::size_t bytes)
    : ptr_(static_cast<std::byte*>(ptr)), bytes_(bytes) {
  check_pointer("AlignedBufferC::AlignedBufferC()", ptr);
  check_size("AlignedBufferC::AlignedBufferC()", bytes);
}

AlignedBufferC AlignedBufferC::spawn(std::size_t bytes) {
  if (bytes > bytes_) throw BufferTooSmallException(kSpawn, bytes_, bytes);
  check_size(kSpawn, bytes);
  AlignedBufferC piece;
  piece.ptr_ = ptr_;
  piece.bytes_ = bytes;
  ptr_ += bytes;
  bytes_ -= bytes;
  check_pointer(kSpawn, piece.ptr_);
  return piece;
}

AlignedBufferC AlignedBufferC::spawn64(std::uint64_t bytes) {
  if (bytes > std::numeric_limits<std::size_t>::max())
    throw BufferTooSmallException(kSpawn, bytes_, bytes);
  return spawn(static_cast<std::size_t>(bytes));
}

AlignedBufferC AlignedBufferC::spawn_words(std::size_t words) {
  constexpr std::size_t kWordBytes = sizeof(std::uint32_t);
  if (words > std::numeric_limits<std::size_t>::max() / kWordBytes)
    throw BufferTooSmallException(kSpawn, bytes_, std::uint64_t{words} * kWordBytes);
  return spawn(words * kWordBytes);
}

AlignedBufferC AlignedBufferC::extract_aligned() { return spawn(bytes_); }

}  // namespace nmp
