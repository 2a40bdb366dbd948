// What only Windows can be asked. Each test runs this very program again, with one of the disabled
// tests below as its body, through the command shell.
#if __has_include(<windows.h>)
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/console.h"
#include "platform/file.h"
#include "platform/process.h"
#include "platform/windows/text.h"
#include "support/temp_folder.h"

namespace nmp::platform {
namespace {

volatile std::uintptr_t g_nowhere = 0x120;

TEST(Body, DISABLED_Fault) {
  install_crash_handler();
  console_write("an unfinished line");
  *reinterpret_cast<volatile int*>(g_nowhere) = 1;
}

TEST(Body, DISABLED_Abort) {
  install_crash_handler();
  std::abort();
}

TEST(Body, DISABLED_Echo) {
  std::string line;
  while (console_read_line(&line)) console_write("<" + line + ">\n");
  console_attribute(12);  // none of these may reach a file or wait
  console_erase_line();
  console_resize(80, 25);
  console_pause();
  console_write(std::to_string(console_columns()) + (console_ok() ? " fine\n" : " lost\n"));
  exit_process(console_is_own() ? 1 : 42);
}

/// The exit code of one of the bodies, run in `folder`; what it prints goes to the file "output".
int run(const std::string& folder, const std::string& body, const std::string& redirection) {
  wchar_t program[1024];
  GetModuleFileNameW(nullptr, program, 1024);
  const std::string command = "cd /d \"" + folder + "\" && \"" + to_utf8(program) +
                              "\" --gtest_also_run_disabled_tests --gtest_brief=1 "
                              "--gtest_filter=Body.DISABLED_" +
                              body + " " + redirection;
  return std::system(command.c_str());
}

TEST(Windows, CrashesAreReportedAndDumped) {
  for (const std::string body : {"Fault", "Abort"}) {
    SCOPED_TRACE(body);
    test::TempFolder folder;
    EXPECT_EQ(run(folder.path(), body, "> output"), 1);
    const std::string output = test::contents(folder / "output");
    EXPECT_NE(output.find("\nOops... numforge has crashed.\nCreating mini-dump file...\nDone!\n"
                          "The program will now exit.\n"),
              output.npos)
        << output;
    EXPECT_EQ(output.find("an unfinished line") != output.npos, body == "Fault");
    std::string dumps;
    for (const std::string& name : test::names_in(folder.path()))
      if (name.ends_with(".dmp")) dumps += test::contents(folder / name).substr(0, 4);
    EXPECT_EQ(dumps, "MDMP");
  }
}

TEST(Windows, RedirectedLinesPassThroughAsTheyAre) {
  test::TempFolder folder;
  test::put_file(folder / "input", "1\r\n\n\xcf\x80\nlast");
  EXPECT_EQ(run(folder.path(), "Echo", "< input > output"), 42);
  const std::string output = test::contents(folder / "output");
  EXPECT_NE(output.find("<1>\n<>\n<\xcf\x80>\n<last>\n80 fine\n"), output.npos) << output;
  EXPECT_EQ(output.find('\033'), output.npos);
}

TEST(Windows, PathsThatAreNoTextAreRefused) {
  File file;
  EXPECT_EQ(file.create("\xff\xfe"), ERROR_NO_UNICODE_TRANSLATION);
  EXPECT_EQ(to_utf8(to_wide("\xf0\x9d\x94\x98 \xcf\x80")), "\xf0\x9d\x94\x98 \xcf\x80");
}

}  // namespace
}  // namespace nmp::platform
#endif
