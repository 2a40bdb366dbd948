#include "memory/aligned_buffer.h"

#include <gtest/gtest.h>

#include "support/faults.h"

namespace nmp {
namespace {

using test::expect_fault;
using test::expect_too_small;

alignas(64) unsigned char memory[512];

TEST(AlignedBuffer, Refusals) {
  const auto refuse = [](const char* function, const char* message, auto body) {
    expect_fault<InvalidParametersException>(std::string("AlignedBufferC::") + function, message,
                                             body);
  };
  AlignedBufferC buffer(memory, 128);
  refuse("AlignedBufferC()", "Pointer is misaligned.", [] { AlignedBufferC(memory + 32, 64); });
  refuse("AlignedBufferC()", "Size is misaligned.", [] { AlignedBufferC(memory, 96); });
  refuse("spawn()", "Size is misaligned.", [&] { buffer.spawn(65); });
  refuse("spawn()", "Size is misaligned.", [&] { buffer.spawn_words(17); });
  expect_too_small(128, 129, [&] { buffer.spawn(129); });  // before misaligned
  const std::uint64_t huge = std::uint64_t{1} << 32;
  expect_too_small(128, huge, [&] { buffer.spawn64(huge); });
  EXPECT_THROW(buffer.spawn_words(~std::size_t{0} / 4 + 1), BufferTooSmallException);
  EXPECT_EQ(buffer.spawn(128).bytes(), 128u) << "a refused piece takes nothing";
}

}  // namespace
}  // namespace nmp
