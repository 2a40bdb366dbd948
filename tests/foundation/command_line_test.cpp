#include "foundation/command_line.h"

#include <gtest/gtest.h>

#include <limits>

namespace nmp {
namespace {

TEST(CommandLine, SplitsAtTheFirstColonAndEndsOnce) {
  CommandLine line({"C:\\numforge", "-o:D:\\out", "pi"});
  EXPECT_EQ(line.key(), "-o");
  EXPECT_EQ(line.value(), "D:\\out");
  EXPECT_EQ(line.raw(), "-o:D:\\out");
  line.advance();
  EXPECT_EQ(line.key(), "pi");
  EXPECT_EQ(line.value(), "");
  line.advance();
  for (CommandLine ended : {line, CommandLine({}), CommandLine({"numforge"})}) {
    ASSERT_TRUE(ended.at_end());
    EXPECT_THROW(ended.key(), CommandLine::CommandLineException);
    EXPECT_THROW(ended.value(), CommandLine::CommandLineException);
    try {
      ended.advance();
      ADD_FAILURE();
    } catch (const std::exception& e) {
      EXPECT_STREQ(e.what(), "Expected more parameters.");
    }
  }
}

TEST(CommandLine, ReadsIntegersWithDecimalSuffixes) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  for (const char* text : {"", "-", "K", "+5", "x"}) EXPECT_EQ(parse_integer(text), 0) << text;
  for (const char* text :
       {"9223372036854775807", "9223372036854775808", "9223372036854776K", "10000000000T"})
    EXPECT_EQ(parse_integer(text), kMost) << text;
  EXPECT_EQ(parse_integer("9223372036854775K"), 9223372036854775000);
  EXPECT_EQ(parse_integer("-9223372036854775808"), kLeast);
  EXPECT_EQ(parse_integer("-99999999999999999999"), kLeast);
  EXPECT_EQ(parse_integer("-42"), -42);
  EXPECT_EQ(parse_integer("3k"), 3'000);
  EXPECT_EQ(parse_integer("-4M"), -4'000'000);
  EXPECT_EQ(parse_integer("1b"), 1'000'000'000);
  EXPECT_EQ(parse_integer("2T"), 2'000'000'000'000);
  EXPECT_EQ(parse_integer("7Kxyz"), 7'000);
  EXPECT_EQ(parse_integer("7xK"), 7);
  EXPECT_EQ(parse_plain_integer("-2K"), -2);
}

}  // namespace
}  // namespace nmp
