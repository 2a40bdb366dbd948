// The digit extractor by the real program: its screen, its action, and as a check of a job.
#if __has_include(<sys/wait.h>)
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "support/random.h"
#include "support/run_program.h"
#include "support/temp_folder.h"

namespace {

using nmp::test::Child;
using nmp::test::ChildResult;
using nmp::test::TempFolder;
using testing::HasSubstr;

std::vector<std::string> bbp(std::vector<std::string> words) {
  words.insert(words.begin(), {NF_PROGRAM, "pause:-2", "bbp"});
  return words;
}

/// The digits that the program printed, without their grouping.
std::string digits_in(const std::string& output) {
  std::string digits, line;
  for (std::istringstream lines(output); std::getline(lines, line);) {
    std::string groups = line.substr(0, line.find(" :  "));
    if (groups.size() == line.size() ||
        groups.find_first_not_of("0123456789abcdef ") != groups.npos)
      continue;
    std::erase(groups, ' ');
    digits += groups;
  }
  return digits;
}

std::string digits_at(std::uint64_t offset, std::uint64_t digits, std::vector<std::string> more) {
  more.push_back("offset:" + std::to_string(offset));
  more.push_back("digits:" + std::to_string(digits));
  const ChildResult run = nmp::test::run_program(bbp(more));
  EXPECT_EQ(run.exit_code, 0) << run.output;
  EXPECT_THAT(run.output, HasSubstr("Correct Digits:             all "));
  return digits_in(run.output);
}

TEST(Bbp, IsSetUpAndStartedFromTheScreen) {
  // Formula 0, offset 999, 16 digits, 1 thread, pinned; all modes off, no start, mode C on, start.
  const ChildResult run = nmp::test::run_program(
      bbp({}), "1\n0\n2\n999\n3\n0\n3\n16\n4\n1\n5\n6\n1\n2\n3\n0\n0\n6\n3\n0\n0\n");
  EXPECT_EQ(run.exit_code, 0);
  for (const char* text :
       {"numforge BBP Pi Digit Extractor v0.",
        "\nLegacy x86\n",
        "\n  2     Hexadecimal Offset:     1,000,000,000\n",
        "\n        Internal Precision:",
        "\n        Terms Needed:",
        "\n        Largest Divisor:",
        "\n  5     Pin Threads to Cores:",
        "\n  0     Start Computation!\n",
        "Select the formula:",
        "   0   Original 4-term BBP",
        "   1   Bellard's 7-term BBP  (~43% faster)",
        "    Pi = SUM ---- ( ---- - ---- - ---- - ---- )\n",
        "    Pi = SUM ------ ( - ---- - ---- + ----- - ----- - ----- - ----- + ----- )\n",
        "The number of digits to compute must be between 1 and",
        ":        1 thread\n",
        "Pin Threads to Cores:   Yes\n",
        "fastest mode for each term based on the size of its divisor",
        "Mode A    2^49 - 1",
        "Mode B    2^51 - 1         30% slower",
        "Mode C    2^61 - 1",
        "Enabled\n",
        "Disabled\n",
        "\n  0     Done!\n",
        "        Cannot Start: No modes enabled.\n",
        "Modes:                  C\n",
        "349f1c09b0 75372c  :  1,015\n"})
    EXPECT_THAT(run.output, HasSubstr(text));
  EXPECT_EQ(nmp::test::run_program(bbp({}), "1\n2\n").exit_code, 1) << "Invalid Algorithm";
  // An input that ends anywhere ends the program.
  for (const char* input : {"1\n", "2\n", "2\nx\n", "6\n", "6\n1\n", "7\n"})
    EXPECT_EQ(nmp::test::run_program(bbp({}), input).exit_code, 0) << input;
  Child closed(nmp::test::program(bbp({}), [] { ::close(STDIN_FILENO); }));
  EXPECT_EQ(closed.finish().exit_code, 0);
}

TEST(Bbp, ShowsWhatTheProcessorCannotDo) {
  const ChildResult modes = nmp::test::run_program(
      {"/usr/bin/env", "NUMFORGE_ISA=generic", NF_PROGRAM, "bbp"}, "6\n3\n0\n");
  EXPECT_THAT(modes.output, HasSubstr("Fastest        Not Available\n"));
  EXPECT_THAT(modes.output, HasSubstr("        Cannot Start: No modes enabled.\n"));
}

TEST(Bbp, StopsOnRequest) {
  Child child(nmp::test::program(bbp({"offset:100B", "threads:2"})));
  child.wait_for("Processor:");
  ::usleep(300'000);
  ::kill(child.process(), SIGINT);
  const ChildResult stopped = child.finish();
  EXPECT_EQ(stopped.exit_code, 1);
  EXPECT_THAT(stopped.output, HasSubstr("Interrupted by the user."));
}

TEST(Bbp, AgreesWithTheProgramsOwnDigits) {
  nmp::test::Rng rng = nmp::test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  const TempFolder folder;
  const ChildResult job = nmp::test::run_program(
      {NF_PROGRAM, "custom", "pi", "-hex:300000", "-bbp:1", "-o:" + folder.path()});
  ASSERT_EQ(job.exit_code, 0) << job.output;
  const std::string line =
      "BBP Check:                  the last 100 hexadecimal digits agree  (299,901 - 300,000)";
  EXPECT_THAT(job.output, HasSubstr(line));
  EXPECT_THAT(nmp::test::contents(folder / "Pi - Report - Chudnovsky.txt"), HasSubstr(line));
  const std::string pi = nmp::test::contents(folder / "Pi - Hex - Chudnovsky.txt").substr(2);
  for (const char* how : {"formula:0", "formula:1", "modes:c", "modes:b", "threads:3", "pin:1"}) {
    const std::uint64_t offset = rng.below(290'000), digits = rng.size(2000);
    EXPECT_EQ(digits_at(offset, digits, {how}), pi.substr(offset, digits)) << offset << how;
  }
  const ChildResult few =
      nmp::test::run_program({NF_PROGRAM, "custom", "pi", "-hex:7", "-od:0", "-bbp:1", "-PF:none"});
  EXPECT_THAT(few.output, HasSubstr("the last 7 hexadecimal digits agree  (1 - 7)"));
}

}  // namespace
#endif
