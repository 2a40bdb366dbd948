#include "memory/aligned_buffer.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "foundation/exceptions.h"

namespace nmp {
namespace {

/// "function: message" of the InvalidParametersException that `body` throws.
std::string refusal(const std::function<void()>& body) {
  try {
    body();
  } catch (const InvalidParametersException& e) {
    return e.function() + ": " + e.message();
  }
  return "accepted";
}

class AlignedBuffer : public testing::Test {
 protected:
  alignas(64) unsigned char memory_[512];
};

TEST_F(AlignedBuffer, RefusesMisalignedBlocksAndSizes) {
  const std::string constructor = "AlignedBufferC::AlignedBufferC(): ";
  EXPECT_EQ(refusal([&] { AlignedBufferC(memory_ + 32, 64); }),
            constructor + "Pointer is misaligned.");
  EXPECT_EQ(refusal([&] { AlignedBufferC(memory_, 96); }), constructor + "Size is misaligned.");
  AlignedBufferC buffer(memory_, 512);
  const std::string spawn = "AlignedBufferC::spawn(): Size is misaligned.";
  EXPECT_EQ(refusal([&] { buffer.spawn(65); }), spawn);
  EXPECT_EQ(refusal([&] { buffer.spawn_words(17); }), spawn);
  EXPECT_EQ(buffer.bytes(), 512u) << "a refused piece takes nothing";
}

TEST_F(AlignedBuffer, CutsPiecesOffTheFront) {
  AlignedBufferC buffer(memory_, 512);
  const AlignedBufferC first = buffer.spawn(128);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(first.ptr()), memory_);
  EXPECT_EQ(first.bytes(), 128u);
  const AlignedBufferC second = buffer.spawn_words(16);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(second.ptr()), memory_ + 128);
  EXPECT_EQ(second.bytes(), 64u);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(buffer.carve<std::uint64_t>(9)), memory_ + 192);
  EXPECT_EQ(buffer.bytes(), 192u) << "72 bytes take two lines";
  AlignedBufferC copy = buffer;
  EXPECT_EQ(copy.extract_aligned().bytes(), 192u);
  EXPECT_EQ(copy.bytes(), 0u);
  EXPECT_EQ(buffer.spawn64(192).bytes(), 192u) << "what a copy took is free again";
  EXPECT_EQ(buffer.bytes(), 0u);
}

TEST_F(AlignedBuffer, ReportsWhatIsMissing) {
  AlignedBufferC buffer(memory_, 128);
  try {
    buffer.spawn(129);  // too long comes before misaligned
    FAIL();
  } catch (const BufferTooSmallException& e) {
    EXPECT_EQ(e.required_size(), 129u);
    EXPECT_EQ(e.buffer_size(), 128u);
  }
  EXPECT_THROW(buffer.spawn64(std::uint64_t{1} << 32), BufferTooSmallException);
  EXPECT_THROW(buffer.spawn_words(~std::size_t{0} / 4 + 1), BufferTooSmallException);
  EXPECT_THROW(AlignedBufferC().carve<char>(1), BufferTooSmallException);
  EXPECT_EQ(AlignedBufferC().extract_aligned().bytes(), 0u);
}

}  // namespace
}  // namespace nmp
