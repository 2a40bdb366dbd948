#include "foundation/console.h"

#include <gtest/gtest.h>

#include "foundation/process_settings.h"
#include "support/console_io.h"

namespace nmp {
namespace {

using test::on_console;

TEST(Console, SendsPlainTextToFiles) {
  const std::string output = on_console("", [] {
    console::print_line('R', "red");
    const console::ColoredText status[] = {{'G', "a status that only a terminal shows"}};
    console::rewrite_line(status);
    console::clear_line();
    console::print("two\nlines");
    console::print_line();
  });
  EXPECT_EQ(output, "red\ntwo\nlines\n");
}

TEST(Console, AsksAgainUntilTheAnswerIsANumber) {
  std::optional<std::int64_t> first, second, third, usual, ended;
  const std::string output = on_console("\nabc\n1x\n--1\n- 1\n12\n -3k \r\n\n5M", [&] {
    first = console::read_integer("? ");
    second = console::read_integer("? ");
    usual = console::read_integer("? ", 7);
    third = console::read_integer("? ", 7);
    ended = console::read_integer("? ", 7);
  });
  EXPECT_EQ(first, 12);
  EXPECT_EQ(second, -3000);
  EXPECT_EQ(usual, 7);
  EXPECT_EQ(third, 5'000'000);
  EXPECT_EQ(ended, std::nullopt);
  const std::string refused = "? Invalid input.\n";
  EXPECT_EQ(output, refused + refused + refused + refused + refused + "? ? ? ? ? ");
}

TEST(Console, ReadsLinesAsTyped) {
  on_console(" a:b \n\nlast", [] {
    EXPECT_EQ(console::read_line("> "), " a:b ");
    EXPECT_EQ(console::read_line("> "), "");
    EXPECT_EQ(console::read_line("> "), "last");
    EXPECT_EQ(console::read_line("> "), std::nullopt);
  });
}

TEST(Console, SkipsWarningsWhenAsked) {
  EXPECT_EQ(on_console("", [] { print_warning("Careful."); }), "Warning: Careful.\n");
  process_settings().skip_warnings = true;
  EXPECT_EQ(on_console("", [] { print_warning("Careful."); }), "");
  process_settings().skip_warnings = false;
}

}  // namespace
}  // namespace nmp
