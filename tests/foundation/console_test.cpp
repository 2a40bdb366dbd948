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
    print_warning("Careful.");
    process_settings().skip_warnings = true;
    print_warning("Not shown.");
    process_settings().skip_warnings = false;
  });
  EXPECT_EQ(output, "red\nWarning: Careful.\n");
}

TEST(Console, AsksAgainUntilTheAnswerIsANumber) {
  const std::string output = on_console("\nabc\n1x\n--1\n- 1\n12\n -3k \r\n\n5M\n a:b \nlast", [] {
    EXPECT_EQ(console::read_integer("? "), 12);
    EXPECT_EQ(console::read_integer("? "), -3000);
    EXPECT_EQ(console::read_integer("? ", 7), 7);
    EXPECT_EQ(console::read_integer("? ", 7), 5'000'000);
    EXPECT_EQ(console::read_line("> "), " a:b ");
    EXPECT_EQ(console::read_line("> "), "last");
    EXPECT_EQ(console::read_line("> "), std::nullopt);
    EXPECT_EQ(console::read_integer("? ", 7), std::nullopt);
  });
  const std::string refused = "? Invalid input.\n";
  EXPECT_EQ(output, refused + refused + refused + refused + refused + "? ? ? ? > > > ? ");
}

}  // namespace
}  // namespace nmp
