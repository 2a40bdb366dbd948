// What only a POSIX system can be asked: signals, pipes, terminals, special files, small disks.
#if __has_include(<sys/wait.h>)
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <thread>

#include "platform/console.h"
#include "platform/file.h"
#include "platform/pages.h"
#include "platform/posix/control_group.h"
#include "platform/posix/proc.h"
#include "platform/process.h"
#include "platform/processor.h"
#include "support/child.h"
#include "support/temp_folder.h"

namespace nmp::platform {
namespace {

using test::Channel;
using test::Child;
using test::ChildResult;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::string dump_in(const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with("numforge-") && name.ends_with(".dmp")) return entry.path().string();
  }
  return {};
}

volatile std::uintptr_t g_nowhere = 0x120;
volatile bool g_forever = true;

int overflow_stack(volatile char* outer) {
  volatile char frame[4096];
  frame[0] = outer ? outer[0] : 1;
  return (g_forever ? overflow_stack(frame) : 0) + frame[0];
}

int crash(int how) {
  switch (how) {
    case 0:
      *reinterpret_cast<volatile int*>(g_nowhere) = 1;
      return 0;
    case 1:
      std::abort();
    case 2:
      return overflow_stack(nullptr);
    default:
      std::thread([] { ::raise(SIGILL); }).join();
      return 0;
  }
}

TEST(Crash, IsReportedAndDumped) {
  const char* const kSignals[] = {"SIGSEGV", "SIGABRT", "SIGSEGV", "SIGILL"};
  for (int how = 0; how < 4; ++how) {
    SCOPED_TRACE(how);
    test::TempFolder folder;
    Child child([&] {
      if (::chdir(folder.path().c_str()) != 0) return 99;
      install_crash_handler();
      console_write("an unfinished line");
      return crash(how);
    });
    const ChildResult result = child.finish();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.output, HasSubstr("an unfinished line\nOops... numforge has crashed."
                                         "\nCreating mini-dump file...\nDone!"));
    EXPECT_THAT(result.output, EndsWith("The program will now exit.\n"));
    const std::string dump = test::contents(dump_in(folder.path()));
    EXPECT_THAT(dump, HasSubstr(kSignals[how]));
    EXPECT_THAT(dump, HasSubstr("[stack]"));  // from the memory map
    if (how == 0) {
      EXPECT_THAT(dump, ::testing::ContainsRegex("Fault address: 0x0+120\n"));
    }
  }
}

TEST(Crash, WithoutRoomForADumpSaysSo) {
  Child child([] {
    if (::chdir("/proc") != 0) return 99;
    install_crash_handler();
    return crash(0);
  });
  const ChildResult result = child.finish();
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.output, HasSubstr("\nUnable to create minidump: "));
  EXPECT_THAT(result.output, EndsWith("The program will now exit.\n"));
}

TEST(Interrupt, TheFirstIsAFlagAndTheSecondTheEnd) {
  for (int signal : {SIGINT, SIGTERM}) {
    Child child([] {
      install_interrupt_handler();
      std::string line;
      console_write(interrupted() ? "early\n" : "ready\n");
      const bool more = console_read_line(&line);  // waits; the signal must end the wait
      console_write(interrupted() && !more ? "flag\n" : "no flag\n");
      for (;;) ::pause();
      return 0;
    });
    ASSERT_TRUE(child.wait_for("ready\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ::kill(child.process(), signal);
    ASSERT_TRUE(child.wait_for("flag\n"));
    ::kill(child.process(), signal);
    const ChildResult result = child.finish();
    EXPECT_EQ(result.exit_code, 130);
    EXPECT_EQ(result.output, "ready\nflag\n");
  }
}

TEST(Console, ReadsLinesHoweverTheyArrive) {
  Child child([] {
    std::string line;
    while (console_read_line(&line)) {
      if (line.size() > 100) line = std::to_string(line.size()) + line.back();
      console_write("<" + line + ">");
    }
    console_pause();  // a pipe never waits
    return console_read_line(&line) ? 1 : 0;
  });
  child.type("1\r\n\n a b \nlo");
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  child.type("ng\n");
  child.type(std::string(1'048'575, 'x') + "y" + std::string(100'000, 'z') + "\nlast");
  child.end_input();
  const ChildResult result = child.finish();
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.output, "<1><>< a b ><long><1048576y><last>");
}

TEST(Console, ClosedBrokenOrFullOutputIsNoticedAndHarmless) {
  const auto print_much = [] {
    install_interrupt_handler();
    std::string line;
    const bool input = console_read_line(&line);  // waits for the test to be ready
    for (int i = 0; i < 10'000; ++i) console_write("some text that nobody will ever read\n");
    return console_ok() ? 1 : input ? 2 : 3;
  };
  Child closed(print_much, Channel::kClosed);
  EXPECT_EQ(closed.finish().exit_code, 3);

  Child broken(print_much);
  broken.stop_reading();
  broken.type("go\n");
  EXPECT_EQ(broken.finish().exit_code, 2);

  Child full([&] {
    ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
    return print_much();
  });
  full.end_input();
  EXPECT_EQ(full.finish().exit_code, 3);

  Child fine([] {
    for (int i = 0; i < 5'000; ++i) console_write("no line end");
    return console_ok() ? 0 : 1;
  });
  const ChildResult result = fine.finish();
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.output.size(), 55'000u);
}

TEST(Console, ColoursAndKeysBelongToTerminals) {
  const auto show = [] {
    ::setenv("TERM", "xterm", 1);
    ::unsetenv("NO_COLOR");
    const winsize window{30, 123, 0, 0};
    ::ioctl(STDOUT_FILENO, TIOCSWINSZ, &window);
    console_attribute(12);
    console_write("red");
    console_attribute(1);
    console_write("blue");
    console_attribute(7);
    console_erase_line();
    console_resize(0, -5);
    console_write(std::to_string(console_columns()) + "\n");
    console_pause();
    console_write("after\n");
    return console_is_own() ? 1 : 0;
  };
  Child piped(show);
  EXPECT_EQ(piped.finish().output, "redblue80\nafter\n");

  Child terminal(show, Channel::kTerminal);
  ASSERT_TRUE(terminal.wait_for("Press any key to continue . . . "));
  terminal.type("x");  // no line end
  const ChildResult result = terminal.finish();
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.output, ::testing::StartsWith("\033[0;91mred\033[0;34mblue\033[0m\r\033[K"
                                                   "\033[8;1;1t123\r\n"));
  EXPECT_THAT(result.output, EndsWith("after\r\n"));
}

TEST(SpecialFiles, NeitherHangNorPassForFiles) {
  test::TempFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  File file;
  EXPECT_EQ(file.open_read(folder / "pipe"), ESPIPE);
  ASSERT_EQ(file.create("/dev/full"), 0);
  EXPECT_EQ(file.write_at("x", 1, 0), ENOSPC);
  test::put_file(folder / "file", "x");
  EXPECT_NE(rename_replacing(folder / "file", folder / "pipe"), 0);
}

TEST(File, NeverTakesThePlaceOfAClosedStandardOutput) {
  test::TempFolder folder;
  Child child(
      [&] {
        File files[3];  // they would get the numbers of all three standard streams
        for (File& file : files)
          if (file.create(folder / "digits") != 0) return 1;
        console_write("a menu");
        return console_ok() ? 2 : 0;
      },
      Channel::kClosed);
  EXPECT_EQ(child.finish().exit_code, 0);
  EXPECT_EQ(test::contents(folder / "digits"), "");
}

TEST(File, PermissionsAndSizeLimitsAreErrors) {
  test::TempFolder folder;
  ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
  Child child([&] {
    install_interrupt_handler();
    File file;
    const rlimit limit{4096, 4096};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    if (file.create((std::filesystem::temp_directory_path() / "numforge-limit").string()) != 0)
      return 1;
    if (file.write_at(std::string(10'000, 'x').data(), 10'000, 0) != EFBIG) return 2;
    remove_file((std::filesystem::temp_directory_path() / "numforge-limit").string());
    if (::geteuid() == 0 && ::setuid(65534) != 0) return 3;
    return file.create(folder / "file") == EACCES ? 0 : 4;
  });
  EXPECT_EQ(child.finish().exit_code, 0);
}

TEST(File, AFullDiskIsAnErrorWhenReservingAndWhenWriting) {
  test::TempFolder folder;
  if (::mount("tmpfs", folder.path().c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "may not mount a small disk";
  {
    File file;
    bool marked = true;
    EXPECT_EQ(file.create(folder / "file"), 0);
    EXPECT_EQ(file.reserve(900'000, &marked), 0);
    EXPECT_TRUE(marked);
    File other;
    EXPECT_EQ(other.create(folder / "other"), 0);
    EXPECT_EQ(other.reserve(900'000, &marked), ENOSPC);
    EXPECT_FALSE(marked);
    const std::string text(900'000, 'x');
    EXPECT_EQ(other.write_at(text.data(), text.size(), 0), ENOSPC);
    EXPECT_EQ(other.set_size(0), 0);
    EXPECT_EQ(file.write_at(text.data(), text.size(), 0), 0);  // that is what reserving is for
  }
  ::umount2(folder.path().c_str(), MNT_DETACH);
}

TEST(Process, PriorityAffinityAndEnvironment) {
  Child child([] {
    if (set_priority(-1) != 0 || ::getpriority(PRIO_PROCESS, 0) != 10) return 1;
    if (set_priority(-9) != 0 || ::getpriority(PRIO_PROCESS, 0) != 19) return 2;
    if (::geteuid() == 0 && ::setuid(65534) != 0) return 3;
    if (set_priority(7) == 0) return 4;  // refused, but no more than that
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(::sched_getcpu(), &one);
    if (::sched_setaffinity(0, sizeof one, &one) != 0 || logical_processors() != 1) return 5;
    ::setenv("NUMFORGE_X", "value", 1);
    if (environment("NUMFORGE_X") != "value" || environment("NUMFORGE_Y") != "") return 6;
    console_write("text");
    exit_process(42);
  });
  const ChildResult result = child.finish();
  EXPECT_EQ(result.exit_code, 42);
  EXPECT_EQ(result.output, "text");
  EXPECT_FALSE(debugger_attached());
}

TEST(Pages, GiveEverythingBackAndAlignLargeBlocks) {
  ErrorCode error = 0;
  const std::uint64_t before = proc_status_value("VmSize:");
  for (std::size_t bytes = 1; bytes < std::size_t{64} << 20; bytes = bytes * 3 + 1) {
    void* pages = allocate_pages(bytes, &error);
    ASSERT_NE(pages, nullptr);
    if (bytes >= std::size_t{2} << 20) {
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pages) % (std::size_t{2} << 20), 0u);
    }
    free_pages(pages, bytes);
  }
  EXPECT_EQ(proc_status_value("VmSize:"), before);
}

TEST(ControlGroup, TheSmallestLimitOnTheWayToTheRootCounts) {
  test::TempFolder mount;
  ASSERT_EQ(create_folders(mount / "a/b"), 0);
  ASSERT_EQ(create_folders(mount / "memory/job"), 0);
  const auto limit = [&](const char* text) { return control_group_limit(text, mount.path()); };
  EXPECT_EQ(limit("0::/a/b\n"), ~std::uint64_t{0});
  test::put_file(mount / "a/b/memory.max", "max\n");
  test::put_file(mount / "a/memory.max", "5000000000\n");
  test::put_file(mount / "memory/memory.limit_in_bytes", "9223372036854771712\n");
  test::put_file(mount / "memory/job/memory.limit_in_bytes", "700\n");
  EXPECT_EQ(limit("0::/a/b\n"), 5'000'000'000u);
  EXPECT_EQ(limit("0::/\n"), ~std::uint64_t{0});
  EXPECT_EQ(limit("9:name=systemd:/\n4:cpu,memory:/job/missing\n0::/a/b\n"), 700u);
  EXPECT_EQ(limit("4:memory:/elsewhere\n"), 9223372036854771712u);
  EXPECT_EQ(limit("garbage\n::\n4:memory:\n"), ~std::uint64_t{0});
}

}  // namespace
}  // namespace nmp::platform
#endif
