#include "foundation/format.h"

#include <gtest/gtest.h>

#include <cmath>

namespace nmp {
namespace {

TEST(Format, GroupsDigitsByThree) {
  EXPECT_EQ(with_commas(999), "999");
  EXPECT_EQ(with_commas(1000), "1,000");
  EXPECT_EQ(with_commas(~std::uint64_t{0}), "18,446,744,073,709,551,615");
}

TEST(Format, CutsByteSizesToThreeDigits) {
  EXPECT_EQ(byte_size(1), "1 byte");
  EXPECT_EQ(byte_size(1023), "1023 bytes");
  EXPECT_EQ(byte_size(1'879'048'185), "1.74 GiB");
  EXPECT_EQ(byte_size(157'286'400), "150 MiB");
  EXPECT_EQ(byte_size((std::uint64_t{1} << 30) - 1), "1023 MiB");
  EXPECT_EQ(byte_size(~std::uint64_t{0}), "15.9 EiB");
  EXPECT_EQ(exact_byte_size(157'286'400), "150 MiB (157,286,400 bytes)");
}

TEST(Format, AlwaysGivesSeconds) {
  EXPECT_EQ(duration(0.1234), "0.123 seconds");
  EXPECT_EQ(duration(59.9996), "1 minute 0.000 seconds  ( 60.000 seconds )");
  EXPECT_EQ(duration(7384.567), "2 hours 3 minutes 4.567 seconds  ( 7,384.567 seconds )");
  EXPECT_EQ(duration(90000), "1 day 1 hour 0 minutes 0.000 seconds  ( 90,000.000 seconds )");
  EXPECT_EQ(duration(std::nan("")), "0.000 seconds");
}

}  // namespace
}  // namespace nmp
