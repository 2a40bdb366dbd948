// Drives the real program through pipes and through a terminal.
#if __has_include(<sys/wait.h>)
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/run_program.h"

namespace {

using nmp::test::Channel;
using nmp::test::Child;
using nmp::test::ChildResult;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> command(std::vector<std::string> words) {
  words.insert(words.begin(), NF_PROGRAM);
  return words;
}

ChildResult numforge(const std::vector<std::string>& words, const std::string& input = "") {
  return nmp::test::run_program(command(words), input);
}

constexpr const char* kMenu =
    "  0         Benchmark Pi  (all in ram)\n"
    "  1         Component Stress Tester\n"
    "  2         Run I/O Performance Analysis\n"
    "\n"
    "  3         Custom Compute a Constant\n"
    "                -   Compute other constants (e, Golden Ratio, etc...)\n"
    "                -   Choose your own settings (use disk for large computations)\n"
    "\n"
    "  4         BBP Digit Extractor for Pi\n"
    "  5         Digit Viewer\n"
    "\n"
    "  6         Advanced Options\n"
    "  7         About\n"
    "\n"
    "Enter your choice:\n"
    "option: ";

TEST(Shell, OpensTheMenuWithoutAnAction) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{},
        {"colors:0", "pause:-2", "PII:-1", "height:0", "priority:-9"}}) {
    const ChildResult outcome = numforge(words, "9\n");
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.output, testing::StartsWith("\nChecking processor/OS features...\n\n"
                                                    "Required Features:\n    none\n"));
    EXPECT_THAT(outcome.output, testing::EndsWith(kMenu));
  }
}

TEST(Shell, EndsQuietlyWhenNobodyAnswers) {
  Child closed(nmp::test::program(command({}), [] { ::close(STDIN_FILENO); }));
  for (const ChildResult& outcome : {closed.finish(), numforge({})}) {
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.output, testing::EndsWith(kMenu));
  }
  EXPECT_THAT(numforge({}, "x\n9\n").output, HasSubstr("option: Invalid input.\noption: "));
}

TEST(Shell, RunsOneMenuChoice) {
  const std::pair<const char*, const char*> choices[] = {
      {"0\n", "Benchmark Pi is not part of this version yet."},
      {"1\n", "The Component Stress Tester is not part of this version yet."},
      {"2\n", "The I/O Performance Analysis is not part of this version yet."},
      {"3\n0\n", "Custom Compute a Constant\n"},
      {"4\n", "The BBP Digit Extractor for Pi is not part of this version yet."},
      {"5\n", "The Digit Viewer is not part of this version yet."},
      {"6\n", "The Advanced Options are not part of this version yet."},
      {"7\n", "numforge computes mathematical constants"},
  };
  for (const auto& [input, text] : choices) {
    const ChildResult outcome = numforge({}, input);
    const std::size_t menu = outcome.output.find(kMenu);
    ASSERT_NE(menu, std::string::npos) << input;
    EXPECT_THAT(outcome.output.substr(menu + std::string(kMenu).size()), HasSubstr(text));
    EXPECT_EQ(outcome.exit_code, 0) << input;
  }
}

TEST(Shell, ExplainsItself) {
  for (const char* word : {"--help", "-h", "help"}) {
    const ChildResult outcome = numforge({word});
    EXPECT_EQ(outcome.exit_code, 0);
    for (const char* text : {"skip-warnings", "digitviewer", "-minIO:BYTES", "-swap:CONFIG"})
      EXPECT_THAT(outcome.output, HasSubstr(text));
  }
  EXPECT_THAT(numforge({"--version"}).output, testing::EndsWith("(Legacy x86, 00-x86)\n"));
  EXPECT_THAT(nmp::test::run_program({NF_PROGRAM_X64, "--version"}).output,
              testing::EndsWith("(x64, 01-x64)\n"));
  EXPECT_EQ(numforge({"about"}).exit_code, 0);
}

TEST(Shell, FailsInPlainWords) {
  struct Case {
    std::vector<std::string> words;
    const char* text;
  };
  const std::string report = "\nInvalidParametersException\nException Encountered\n";
  const Case cases[] = {
      {{"nosuch"}, "Invalid Parameter: nosuch\n"},
      {{"pause:-2", "nosuch:5"}, "Invalid Parameter: nosuch\n"},
      {{"about", "more"}, "Invalid Parameter: more\n"},
      {{"custom", "pi", "-nosuch:1"}, "Invalid Parameter: -nosuch\n"},
      {{"custom", "phi"}, "Invalid Constant: phi\n"},
      {{"custom", "sqrt:16"}, "16 is a perfect square.\n"},
      {{"custom", "pi", "-dec:0"}, "The number of digits to compute must be at least 1.\n"},
      {{"custom", "pi", "-M:1M"}, "Option -M is not supported for this mode.\n"},
      {{"custom", "pi", "-mode:x"}, "Invalid Command: x\n"},
      {{"custom", "pi", "-mode:swap"}, "Swap Mode cannot run in this version yet."},
      {{"custom", "pi", "-o:/dev/null/x"}, "Path is not writable.\n"},
      {{"config"}, "Please specify a config file.\n"},
      {{"config", "job"}, "job.cfg\n"},
      {{"config", "job.txt"}, "job.txt\n"},
      {{"bench"}, "Benchmark Pi is not part of this version yet."},
      {{"bbp"}, "The BBP Digit Extractor for Pi is not part of this version yet."},
      {{"slave"}, "The slave mode is not part of this version yet."},
  };
  for (const Case& c : cases) {
    const ChildResult outcome = numforge(c.words);
    EXPECT_EQ(outcome.exit_code, 1) << c.text;
    EXPECT_THAT(outcome.output, HasSubstr(c.text));
    const bool fatal = std::string(c.text).starts_with("Invalid Parameter");
    EXPECT_EQ(outcome.output.find(report) == std::string::npos, fatal) << outcome.output;
  }
}

TEST(Shell, NoticesThatNobodyCouldReadTheOutput) {
  const auto to_full_disk = [] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); };
  const auto to_nowhere = [] { ::close(STDOUT_FILENO); };
  for (const std::function<void()>& prepare : {std::function<void()>(to_full_disk), {to_nowhere}}) {
    const ChildResult outcome = Child(nmp::test::program(command({"about"}), prepare)).finish();
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.output, "numforge: standard output could not be written.\n");
  }
}

TEST(ShellOnATerminal, IsColouredUnlessAskedNotToBe) {
  const auto menu = [](const std::vector<std::string>& words) {
    const auto with_colors = [] {
      ::setenv("TERM", "xterm", 1);
      ::unsetenv("NO_COLOR");
    };
    Child child(nmp::test::program(command(words), with_colors), Channel::kTerminal);
    child.wait_for("option: ");
    child.type("9\n");
    return child.finish().output;
  };
  const std::string colored = menu({});
  EXPECT_THAT(colored, HasSubstr("\033[0;96m  0         Benchmark Pi  (all in ram)\033[0m"));
  EXPECT_THAT(colored, HasSubstr("\033[0;36m  7         About\033[0m"));
  const std::string plain = menu({"colors:0"});
  EXPECT_THAT(plain, Not(HasSubstr("\033[")));
  EXPECT_THAT(plain, HasSubstr("  0         Benchmark Pi"));
}

TEST(ShellOnATerminal, PausesAsTheRuleSays) {
  const auto pauses = [](const std::vector<std::string>& words) {
    Child child(nmp::test::program(command(words)), Channel::kTerminal);
    const bool waits = child.wait_for("Press any key to continue");
    if (waits) child.type(" ");
    child.finish();
    return waits;
  };
  EXPECT_FALSE(pauses({"about"}));  // a shell's console: only failures wait
  EXPECT_TRUE(pauses({"bench"}));
  EXPECT_TRUE(pauses({"pause:1", "about"}));
  EXPECT_FALSE(pauses({"pause:-1", "about"}));
  EXPECT_TRUE(pauses({"pause:-1", "bench"}));
  EXPECT_FALSE(pauses({"pause:-2", "bench"}));
  EXPECT_TRUE(pauses({"nosuch"}));
  EXPECT_TRUE(pauses({"pause:-1", "nosuch"}));
  EXPECT_FALSE(pauses({"pause:-2", "nosuch"}));
}

}  // namespace
#endif
