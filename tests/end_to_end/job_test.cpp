// The main job by the real program: files, report, memory, interruption, and disks that refuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>

#include "support/digits.h"
#include "support/known_digits.h"
#include "support/random.h"
#include "support/run_program.h"
#include "support/temp_folder.h"

namespace numforge {
namespace {

using nmp::test::Child;
using nmp::test::ChildResult;
using nmp::test::contents;
using nmp::test::names_in;
using nmp::test::TempFolder;
using test::known_digits;
using ::testing::HasSubstr;
using ::testing::Not;

ChildResult custom(const std::string& constant, std::vector<std::string> options,
                   const char* program = NF_PROGRAM) {
  options.insert(options.begin(), {program, "pause:-2", "custom", constant});
  return nmp::test::run_program(options);
}

/// The number of bytes behind a label of the report.
double bytes_after(const std::string& text, const std::string& label) {
  const std::size_t at = text.rfind(label + ":");
  const std::size_t open = text.find('(', at), end = text.find(" bytes)", open);
  if (at == text.npos || end == text.npos) return -1;
  std::string number = text.substr(open + 1, end - open - 1);
  std::erase(number, ',');
  return std::stod(number);
}

TEST(Job, WritesProvesAndReportsItsDigits) {
  const std::uint64_t digits = nmp::test::scale() < 1 ? 10000 : 1000000;
  const TempFolder folder;
  const std::string out = folder / "new/out";
  const ChildResult run = custom("pi", {"-dec:" + std::to_string(digits), "-o:" + out});
  ASSERT_EQ(run.exit_code, 0) << run.output;
  EXPECT_EQ(names_in(out),
            (std::set<std::string>{"Pi - Dec - Chudnovsky.txt", "Pi - Hex - Chudnovsky.txt",
                                   "Pi - Report - Chudnovsky.txt"}));
  const test::KnownDigits& pi = known_digits("pi", digits, 10);
  const std::string text = contents(out + "/Pi - Dec - Chudnovsky.txt");
  EXPECT_EQ(text.size(), digits + 2);
  EXPECT_EQ(text.substr(0, 22), std::string("3.") + pi.first20);
  EXPECT_EQ(nmp::test::hash_of(text.substr(2), 10), pi.hash);
  EXPECT_EQ(contents(out + "/Pi - Hex - Chudnovsky.txt").substr(0, 18), "3.243f6a8885a308d3");

  // The same report on the console and beside the digits, the latter with the line ends of files.
  std::string report = contents(out + "/Pi - Report - Chudnovsky.txt");
  EXPECT_THAT(report, HasSubstr("\r\nDigit Hash:                 " + std::to_string(pi.hash)));
  EXPECT_THAT(report, HasSubstr("verified"));
  for (const char* label : {"Constant:", "Algorithm:", "Threads:", "Series:", "Division:",
                            "Square Root:", "Radix Conversion:", "Output:", "Total:",
                            "Last Decimal Digits:", "Last Hexadecimal Digits:"})
    EXPECT_THAT(report, HasSubstr(label));
  std::erase(report, '\r');
  EXPECT_THAT(run.output, HasSubstr(report));
  // Not a terminal: one plain line per step, no control characters.
  EXPECT_EQ(run.output.find_first_of("\r\x1b\b"), std::string::npos);
  EXPECT_THAT(run.output, HasSubstr("\nSumming: "));
}

TEST(Job, CompressesItsDigits) {
  const std::string stem = "Pi - Dec - Chudnovsky";
  const test::KnownDigits& pi = known_digits("pi", 1000000, 10);
  for (const std::string per_file : {"1000000", "-1"}) {
    const TempFolder folder;
    const ChildResult run = custom("pi", {"-hex:1m", "-C:" + per_file, "-o:" + folder / ""});
    ASSERT_EQ(run.exit_code, 0) << run.output;
    const bool one = per_file == "-1";
    EXPECT_EQ(names_in(folder.path()).size(), one ? 3u : 4u);
    EXPECT_THAT(run.output, Not(HasSubstr("//"))) << "a second separator";
    EXPECT_THAT(run.output, HasSubstr(one ? "Compress digits into one .ncd file.\n"
                                          : "Compress with 1,000,000 digits per file.\n"));
    EXPECT_THAT(run.output, HasSubstr(one ? "1  (1,204,119 digits per file)\n"
                                          : "2  (1,000,000 digits per file)\n"));
    EXPECT_THAT(run.output, HasSubstr("Verifying Decimal Output"));
    EXPECT_THAT(run.output, HasSubstr("verified\n"));
    const ChildResult stats = nmp::test::run_program(
        {NF_PROGRAM, "digitviewer", folder / (stem + "0.ncd"), "stats:1-1000000"});
    EXPECT_EQ(stats.exit_code, 0);
    EXPECT_THAT(stats.output, HasSubstr("  " + std::to_string(pi.hash) + "\n"));
  }
  const TempFolder folder;
  const ChildResult few = custom("pi", {"-dec:1m", "-C:1000000", "-o:" + folder.path()});
  EXPECT_THAT(few.output,  // for the hexadecimal digits
              HasSubstr("\n\nWarning: Digits per file below minimum: Disabling compression.\n"));
  EXPECT_TRUE(names_in(folder.path()).contains(stem + ".txt"));
}

TEST(Job, GivesTheSameFilesInEveryFramework) {
  std::string expected;
  for (const std::string framework :
       {"none", "cppasync:2", "spawn:2", "taskqueue:2", "pushpool:2", "pushpool:5", "winpool:2"}) {
    const TempFolder folder;
    const ChildResult run = custom("pi", {"-dec:20000", "-PF:" + framework, "-o:" + folder.path()});
    if (framework == "winpool:2") {
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_THAT(run.output, HasSubstr("\"winpool\" is only available on Windows."));
      continue;
    }
    ASSERT_EQ(run.exit_code, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("Multi-Threading:     " + framework + "\n"));
    const std::string threads = framework == "none" ? "1" : framework.substr(framework.size() - 1);
    const std::string report = contents(folder / "Pi - Report - Chudnovsky.txt");
    EXPECT_THAT(report, HasSubstr("Threads:                    " + threads + "  (" + framework));
    const std::string files = contents(folder / "Pi - Dec - Chudnovsky.txt") +
                              contents(folder / "Pi - Hex - Chudnovsky.txt");
    if (expected.empty()) expected = files;
    EXPECT_EQ(files, expected) << framework;
    EXPECT_GT(files.size(), 36000u);
  }
  EXPECT_EQ(custom("pi", {"-dec:100", "-od:0", "-PF:none:2"}).exit_code, 1);
  EXPECT_EQ(custom("pi", {"-dec:100", "-od:0", "-PF:pushpool:"}).exit_code, 1);
}

TEST(Job, GivesTheSameDigitsFromEveryAllocator) {
  for (const std::string allocator :
       {"malloc", "mmap", "mmap:largepages,lockedpages", "interleave:nobind"}) {
    const ChildResult run = custom("pi", {"-dec:10000", "-od:0", "-PF:none", "-MA:" + allocator});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_THAT(run.output, HasSubstr(std::to_string(known_digits("pi", 10000, 10).hash)));
    EXPECT_THAT(run.output, HasSubstr("(" + allocator + ")\n"));
    EXPECT_THAT(run.output,
                ::testing::ContainsRegex("Memory Granted: .*Large pages: .*, locked: "));
  }
}

TEST(Job, NeedsTheMemoryThatItStates) {
  if (nmp::test::scale() < 1) GTEST_SKIP() << "a sanitizer has memory of its own";
  const auto used = [](const std::string& job, const char* digits) {
    const std::size_t space = job.find(' ');
    // On one thread: of several, some may find nothing left to do with their memory.
    const ChildResult run = custom(
        job.substr(0, space), {"-algorithm:" + job.substr(space + 1), digits, "-od:0", "-PF:none"});
    const double bytes = bytes_after(run.output, "Peak Memory Used");
    const double needed = bytes_after(run.output, "Memory Needed");
    // The system counts to within some hundreds of kilobytes, which must not matter.
    EXPECT_GT(needed, 17e6) << job;
    EXPECT_NEAR(bytes / needed, 1, 0.05) << job << run.output;
    return bytes;
  };
  for (const std::string job : {"e exp(-1)", "sqrt:2 newton", "goldenratio newton"})
    for (const char* digits : {"-dec:2m", "-dec:5m", "-dec:9m"}) used(job, digits);
  for (const std::string pi : {"pi chudnovsky", "pi ramanujan"})
    EXPECT_LT(used(pi + "-reduced", "-dec:3m"), 0.85 * used(pi, "-dec:3m"));
  for (const std::string job :
       {"log:2 machin-primary", "log:97 machin-secondary", "zeta3 wedeniwski", "zeta3 az",
        "catalan pilehrood-short", "catalan guillera2019", "lemniscate agm-pi", "lemniscate gauss"})
    used(job, "-dec:2m");
  for (const std::string job :
       {"catalan pilehrood-long", "catalan guillera2008", "catalan lupas", "catalan huvent",
        "lemniscate sebah", "gamma brent-refined", "gamma brent-original"})
    used(job, "-dec:1m");
}

TEST(Job, ReplacesFilesOfAnEarlierRunWhenItWrites) {
  const TempFolder folder;
  const std::string file = folder / "e - Hex - exp(-1).txt";
  nmp::test::put_file(file, "older");
  for (const std::string output : {"-od:0", "-od:1"}) {
    const ChildResult run =
        custom("e", {"-algorithm:exp(-1)", "-hex:10k", "-o:" + folder.path(), output});
    EXPECT_EQ(run.exit_code, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr(std::to_string(known_digits("e", 10000, 16).hash)));
    const bool written = output == "-od:1";
    EXPECT_EQ(run.output.find("File:") != std::string::npos, written);
    EXPECT_EQ(names_in(folder.path()).size(), written ? 3u : 1u);
    EXPECT_EQ(contents(file).size(), written ? 10002u : 5u);
  }
}

TEST(Job, RefusesWhatTheMachineCannotDo) {
  EXPECT_THAT(custom("pi", {"-dec:1b", "-od:0"}).output,
              HasSubstr("64-bit is required to use more than 2GB of memory."));
  for (const char* digits : {"-dec:1000000000000000000", "-hex:9223372036854775807", "-dec:999t"}) {
    for (const char* program : {NF_PROGRAM, NF_PROGRAM_X64}) {
      const ChildResult run = custom("pi", {digits, "-od:0"}, program);
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_THAT(run.output, HasSubstr("memory"));
    }
  }
}

// Whatever stage the interruption meets, the program ends by itself, says so, and leaves no file
// that looks finished and is not.
TEST(Job, EndsCleanlyWhenInterrupted) {
  const std::uint64_t digits = nmp::test::scale() < 1 ? 20000 : 2000000;
  int too_late = 0;  // the machine was too busy to deliver the signal before the job was done
  for (const char* stage : {"Series CommonP2B3", "Summing:", "Finalizing: P + Q:", "Division...",
                            "InvSqrt", "Final Multiply", "Writing Hexadecimal Digits",
                            "Base Converting", "Verifying Base Conversion"}) {
    const TempFolder folder;
    Child child(nmp::test::program({NF_PROGRAM, "pause:-2", "custom", "pi",
                                    "-dec:" + std::to_string(digits), "-o:" + folder.path()}));
    ASSERT_TRUE(child.wait_for(stage));
    ::kill(child.process(), SIGINT);
    const ChildResult run = child.finish();
    EXPECT_EQ(run.signal, 0);
    if (run.exit_code == 0) {
      ++too_late;
      continue;
    }
    EXPECT_EQ(run.exit_code, 1) << stage;
    EXPECT_THAT(run.output, HasSubstr("Interrupted by the user.")) << stage;
    for (const std::string& name : names_in(folder.path()))
      EXPECT_THAT(run.output, HasSubstr("    " + folder / name + "\n"));
    EXPECT_EQ(names_in(folder.path()).empty(),
              run.output.find("No digits were left behind.") != std::string::npos);
    for (const std::string& name : names_in(folder.path())) {
      EXPECT_THAT(name, Not(HasSubstr("incomplete"))) << stage;
      const bool hex = name.find("Hex") != std::string::npos;
      EXPECT_EQ(contents(folder / name).size(),
                2 + (hex ? digits * 8304820237 / 10000000000 : digits))
          << name;
    }
  }
  EXPECT_LE(too_late, 3);
}

TEST(Job, NamesTheSetThatAnInterruptedJobLeft) {
  if (nmp::test::scale() < 1) GTEST_SKIP() << "a set needs more digits than a sanitizer is fast";
  for (int attempt = 0; attempt < 5; ++attempt) {
    const TempFolder folder;
    Child child(nmp::test::program(
        {NF_PROGRAM, "pause:-2", "custom", "pi", "-dec:5m", "-C:1000000", "-o:" + folder.path()}));
    ASSERT_TRUE(child.wait_for("Base Converting"));
    ::kill(child.process(), SIGINT);
    const ChildResult run = child.finish();
    if (run.exit_code == 0) continue;  // too late, see above
    EXPECT_EQ(names_in(folder.path()).size(), 5u);
    EXPECT_THAT(run.output, HasSubstr("    " + folder / "Pi - Hex - Chudnovsky0.ncd" +
                                      " and 4 more of its set\n"));
    return;
  }
  ADD_FAILURE() << "the signal was too late each time";
}

TEST(Job, LeavesOnlyWholeFilesOnAFullDisk) {
  const TempFolder disk;
  if (::mount("none", disk.path().c_str(), "tmpfs", 0, "size=256k") != 0)
    GTEST_SKIP() << "no permission to mount a small disk";
  const ChildResult run = custom("e", {"-dec:300k", "-o:" + disk.path()});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_THAT(run.output, HasSubstr("FileException"));
  EXPECT_THAT(run.output, HasSubstr("No space left on device"));
  for (const std::string& name : names_in(disk.path())) EXPECT_THAT(name, HasSubstr("Hex"));
  ::umount(disk.path().c_str());
}

TEST(Job, ShowsALiveStatusOnATerminal) {
  if (!nmp::test::has_terminals()) GTEST_SKIP() << "no pseudo-terminals here";
  // A job under a sanitizer is a short one, which may be over before its first percentage.
  const bool slow = nmp::test::scale() < 1;
  Child child(nmp::test::program({NF_PROGRAM, "pause:-2", "custom", "pi",
                                  slow ? "-dec:100k" : "-dec:5m", "-od:0"}),
              nmp::test::Channel::kTerminal);
  const ChildResult run = child.finish();
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.output, HasSubstr(slow ? "Elapsed: " : "%  Elapsed: "));
}

}  // namespace
}  // namespace numforge
