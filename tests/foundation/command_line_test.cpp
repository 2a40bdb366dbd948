#include "foundation/command_line.h"

#include <gtest/gtest.h>

#include <limits>

namespace nmp {
namespace {

TEST(CommandLine, SplitsAtTheFirstColonAndSkipsTheProgram) {
  CommandLine line({"C:\\numforge", "-o:D:\\out", "pi", "-dec:"});
  EXPECT_EQ(line.key(), "-o");
  EXPECT_EQ(line.value(), "D:\\out");
  EXPECT_EQ(line.raw(), "-o:D:\\out");
  line.advance();
  EXPECT_EQ(line.key(), "pi");
  EXPECT_EQ(line.value(), "");
  line.advance();
  EXPECT_EQ(line.key(), "-dec");
  line.advance();
  EXPECT_TRUE(line.at_end());
}

TEST(CommandLine, RefusesToGoPastTheEnd) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, std::vector<std::string>{"numforge"}}) {
    CommandLine line(arguments);
    ASSERT_TRUE(line.at_end());
    EXPECT_THROW(line.key(), CommandLine::CommandLineException);
    EXPECT_THROW(line.value(), CommandLine::CommandLineException);
    try {
      line.advance();
      ADD_FAILURE();
    } catch (const std::exception& e) {
      EXPECT_STREQ(e.what(), "Expected more parameters.");
    }
  }
}

TEST(CommandLine, ReadsIntegersWithDecimalSuffixes) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  const std::pair<const char*, std::int64_t> cases[] = {
      {"", 0},
      {"-", 0},
      {"x", 0},
      {"K", 0},
      {"42", 42},
      {"-42", -42},
      {"+5", 0},
      {"1b", 1'000'000'000},
      {"2T", 2'000'000'000'000},
      {"3k", 3'000},
      {"-4M", -4'000'000},
      {"7Kxyz", 7'000},
      {"7xK", 7},
      {"1,000", 1},
      {"9223372036854775807", kMost},
      {"9223372036854775808", kMost},
      {"-9223372036854775808", kLeast},
      {"-99999999999999999999", kLeast},
      {"9223372036854775K", 9223372036854775000},
      {"9223372036854776K", kMost},
      {"10000000000T", kMost},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(parse_integer(text), value) << text;
  EXPECT_EQ(parse_plain_integer("2K"), 2);
  EXPECT_EQ(parse_plain_integer("-2K"), -2);
}

}  // namespace
}  // namespace nmp
