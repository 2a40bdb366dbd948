// What only a POSIX system can be asked: signals, pipes, terminals, special files, small disks.
#if __has_include(<sys/wait.h>)
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <set>
#include <thread>

#include "platform/console.h"
#include "platform/file.h"
#include "platform/posix/control_group.h"
#include "platform/posix/node_list.h"
#include "platform/process.h"
#include "platform/processor.h"
#include "support/child.h"
#include "support/temp_folder.h"

namespace nmp::platform {
namespace {

using test::Child;
using test::ChildResult;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

volatile std::uintptr_t g_nowhere = 0x120;
volatile bool g_forever = true;

int overflow_stack(volatile char* outer) {
  volatile char frame[4096];
  frame[0] = outer ? outer[0] : 1;
  return (g_forever ? overflow_stack(frame) : 0) + frame[0];
}

int crash(int how) {
  install_crash_handler();
  console_write("an unfinished line");
  if (how == 0) std::thread([] { *reinterpret_cast<volatile int*>(g_nowhere) = 1; }).join();
  if (how == 1) std::abort();
  return overflow_stack(nullptr);
}

TEST(Crash, IsReportedAndDumpedWhereThatIsPossible) {
  const char* const kDumps[] = {"SIGSEGV(.|\n)*Fault address: 0x0+120\n", "SIGABRT", "SIGSEGV"};
  for (int how = 0; how < 3; ++how)
    for (const bool writable : {true, false}) {
      test::TempFolder folder;
      Child child([&] {
        return ::chdir(writable ? folder.path().c_str() : "/proc") == 0 ? crash(how) : 99;
      });
      const ChildResult result = child.finish();
      EXPECT_EQ(result.exit_code, 1);
      EXPECT_THAT(result.output, HasSubstr("an unfinished line\nOops... numforge has crashed.\n"));
      EXPECT_THAT(result.output, HasSubstr(writable ? "\nCreating mini-dump file...\nDone!"
                                                    : "\nUnable to create minidump: "));
      EXPECT_THAT(result.output, EndsWith("The program will now exit.\n"));
      if (!writable) continue;
      const std::set<std::string> dumps = test::names_in(folder.path());
      ASSERT_EQ(dumps.size(), 1u);
      EXPECT_THAT(*dumps.begin(), MatchesRegex("numforge-.*\\.dmp"));
      const std::string dump = test::contents(folder / *dumps.begin());
      EXPECT_THAT(dump, ContainsRegex(kDumps[how]));
      EXPECT_THAT(dump, HasSubstr("[stack]"));  // from the memory map
    }
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

TEST(File, NeverTakesThePlaceOfAClosedStandardOutput) {
  test::TempFolder folder;
  Child child([&] {
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::close(stream);
    File files[3];  // they would get the numbers of all three
    for (File& file : files)
      if (file.create(folder / "digits") != 0) return 1;
    console_write("a menu");
    return console_ok() ? 2 : 0;
  });
  EXPECT_EQ(child.finish().exit_code, 0);
  EXPECT_EQ(test::contents(folder / "digits"), "");
}

TEST(File, AFullDiskIsAnError) {
  File full;
  ASSERT_EQ(full.create("/dev/full"), 0);
  EXPECT_EQ(full.write_at("x", 1, 0), ENOSPC);
}

TEST(Process, PriorityAffinityAndPermissions) {
  test::TempFolder folder;
  ASSERT_EQ(::chmod(folder.path().c_str(), 0555), 0);
  Child child([&] {
    if (set_priority(-1) != 0 || ::getpriority(PRIO_PROCESS, 0) != 10) return 1;
    if (set_priority(-9) != 0 || ::getpriority(PRIO_PROCESS, 0) != 19) return 2;
    if (::geteuid() == 0 && ::setuid(65534) != 0) return 3;
    if (set_priority(7) == 0) return 4;  // refused, but no more than that
    File file;
    if (file.create(folder / "file") != EACCES) return 5;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(::sched_getcpu(), &one);
    if (::sched_setaffinity(0, sizeof one, &one) != 0 || logical_processors() != 1) return 6;
    console_write("text");
    exit_process(42);
  });
  const ChildResult result = child.finish();
  EXPECT_EQ(result.exit_code, 42);
  EXPECT_EQ(result.output, "text");
}

TEST(Nodes, AreListedAsTheKernelDoes) {
  using Nodes = std::vector<unsigned>;
  EXPECT_EQ(parse_node_list("0-2,5,8-9\n"), (Nodes{0, 1, 2, 5, 8, 9}));
  EXPECT_EQ(parse_node_list("7\nVmRSS: 1-3"), Nodes{7});
  for (const char* text : {"", "\n", "-1", "x", "3-1"}) EXPECT_EQ(parse_node_list(text), Nodes{});
  EXPECT_EQ(parse_node_list("1,,2,x"), Nodes{1});
  EXPECT_LE(parse_node_list("0-18446744073709551615").size(), 65536u);
}

TEST(PinnedThread, StaysWhereItIsPutAndGoesBack) {
  const unsigned processors = logical_processors();
  for (unsigned index = 0; index < 2 * processors + 1; ++index) {
    const PinnedThread pin(index);
    if (!pin.is_pinned()) GTEST_SKIP() << "not on this system";
    EXPECT_EQ(logical_processors(), 1u);
    const int here = ::sched_getcpu();
    if (processors > 1) {
      const PinnedThread same(7);  // of the only one that is left
      EXPECT_EQ(::sched_getcpu(), here);
    }
  }
  EXPECT_EQ(logical_processors(), processors);
  std::set<int> used;
  for (unsigned index = 0; index < processors; ++index) {
    const PinnedThread pin(index);
    used.insert(::sched_getcpu());
  }
  EXPECT_EQ(used.size(), processors);
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
  EXPECT_EQ(limit("garbage\n::\n4:memory:\n"), ~std::uint64_t{0});
}

}  // namespace
}  // namespace nmp::platform
#endif
