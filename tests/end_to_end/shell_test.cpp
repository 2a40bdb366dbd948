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
    "  6         Advanced Options\n"
    "  7         About\n"
    "\n"
    "Enter your choice:\n"
    "option: ";

TEST(Shell, OpensTheMenuWithoutAnAction) {
  const ChildResult outcome =
      numforge({"colors:0", "pause:-2", "PII:-1", "height:0", "priority:-9"}, "x\n9\n");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.output, testing::StartsWith("\nChecking processor/OS features...\n\n"
                                                  "Required Features:\n    none\n"));
  EXPECT_THAT(outcome.output, testing::EndsWith(kMenu + std::string("Invalid input.\noption: ")));
  Child closed(nmp::test::program(command({}), [] { ::close(STDIN_FILENO); }));
  for (const ChildResult& quiet : {closed.finish(), numforge({})}) {
    EXPECT_EQ(quiet.exit_code, 0);
    EXPECT_THAT(quiet.output, testing::EndsWith(kMenu));
  }
}

TEST(Shell, RunsOneMenuChoice) {
  const std::pair<const char*, const char*> choices[] = {
      {"0\n", "Benchmark Pi is not part of this version yet."},
      {"1\n", "The Component Stress Tester is not part of this version yet."},
      {"2\n", "The I/O Performance Analysis is not part of this version yet."},
      {"3\n", "Custom Compute a Constant\n"},
      {"4\n", "numforge BBP Pi Digit Extractor v"},
      {"5\n", "Enter the path of the file (include .txt or .ncd extensions):"},
      {"6\n", "The Advanced Options are not part of this version yet."},
      {"7\n", "numforge computes mathematical constants"},
  };
  for (const auto& [input, text] : choices) {
    const ChildResult outcome = numforge({}, input);
    EXPECT_THAT(outcome.output.substr(outcome.output.find("option: ")), HasSubstr(text));
    EXPECT_EQ(outcome.exit_code, 0) << input;
  }
}

TEST(Shell, ExplainsItself) {
  for (const char* word : {"--help", "-h", "help"}) {
    const ChildResult outcome = numforge({word});
    EXPECT_EQ(outcome.exit_code, 0);
    for (const char* text :
         {"skip-warnings", "digitviewer FILE", "stats:A-B", "-minIO:BYTES", "-swap:CONFIG"})
      EXPECT_THAT(outcome.output, HasSubstr(text));
  }
  EXPECT_THAT(numforge({"--version"}).output, testing::EndsWith("(Legacy x86, 00-x86)\n"));
  EXPECT_THAT(nmp::test::run_program({NF_PROGRAM_X64, "--version"}).output,
              testing::EndsWith("(x64, 01-x64)\n"));
  EXPECT_EQ(numforge({"about"}).exit_code, 0);
}

TEST(Shell, FailsInPlainWords) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"nosuch"}, "Invalid Parameter: nosuch\n"},
      {{"about", "more"}, "Invalid Parameter: more\n"},
      {{"custom", "pi", "-nosuch:1"}, "Invalid Parameter: -nosuch\n"},
      {{"custom", "pi", "-dec:0"},
       "\nInvalidParametersException\nException Encountered\nThe number of digits to compute must "
       "be at least 1.\n"},
      {{"config"}, "Please specify a config file.\n"},
      {{"bench"}, "Benchmark Pi is not part of this version yet."},
      {{"bbp", "formula:2"}, "Invalid Algorithm\nIn Function BBPSession::update_settings()\n"},
      {{"bbp", "modes:"}, "Cannot Start: No modes enabled.\n"},
      {{"bbp", "modes:d"}, "Unknown mode in \"d\"."},
      {{"bbp", "offset:9999999T"}, "Cannot Start: Divisor exceeds limit of 2^61 - 1\n"},
      {{"bbp", "offset:-1"}, "The hexadecimal offset must not be negative.\n"},
      {{"bbp", "digits:1000001"}, "The number of digits to compute must be between 1 and"},
      {{"bbp", "threads:1025"}, "must be between 1 and"},
      {{"bbp", "nosuch:1"}, "Invalid Parameter: nosuch\n"},
      {{"custom", "e", "-bbp:1"}, "-bbp:1 checks the last hexadecimal digits of Pi"},
      {{"custom", "pi", "-mode:swap"},
       "\nModeNotSupportedException\nException Encountered\nSwap Mode cannot run in this version"},
      {{"config", "job"}, "\nFileException\nException Encountered\nPath: job.cfg\n"},
      {{"slave"}, "The slave mode is not part of this version yet."}};
  for (const auto& [words, text] : cases) {
    const ChildResult outcome = numforge(words);
    EXPECT_EQ(outcome.exit_code, 1) << text;
    EXPECT_THAT(outcome.output, HasSubstr(text));
    EXPECT_EQ(outcome.output.find("Exception\nException Encountered\n") == std::string::npos,
              text.starts_with("Invalid Parameter:"))
        << outcome.output;
  }
}

TEST(Shell, NoticesThatNobodyCouldReadTheOutput) {
  const std::function<void()> to_full_disk = [] {
    ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO);
  };
  const std::function<void()> to_nowhere = [] { ::close(STDOUT_FILENO); };
  const std::function<void()> to_a_reader_that_left = [] {
    int ends[2];
    if (::pipe(ends) == 0) ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
  };
  for (const auto& prepare : {to_full_disk, to_nowhere, to_a_reader_that_left}) {
    const ChildResult outcome = Child(nmp::test::program(command({"about"}), prepare)).finish();
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(outcome.output, "numforge: standard output could not be written.\n");
  }
}

TEST(ShellOnATerminal, IsColouredUnlessAskedNotToBe) {
  if (!nmp::test::has_terminals()) GTEST_SKIP() << "no pseudo-terminals here";
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
  if (!nmp::test::has_terminals()) GTEST_SKIP() << "no pseudo-terminals here";
  struct Case {
    std::vector<std::string> words;
    bool pauses;
  };
  const Case cases[] = {{{"about"}, false},  // a shell's console: only failures wait
                        {{"bench"}, true},
                        {{"pause:1", "about"}, true},
                        {{"pause:-1", "about"}, false},
                        {{"pause:-1", "bench"}, true},
                        {{"pause:-2", "bench"}, false},
                        {{"pause:-1", "nosuch"}, true},
                        {{"pause:-2", "nosuch"}, false}};
  for (const Case& c : cases) {
    Child child(nmp::test::program(command(c.words)), Channel::kTerminal);
    EXPECT_EQ(child.wait_for("Press any key to continue . . . "), c.pauses) << c.words.back();
    if (c.pauses) child.type(" ");
    child.finish();
  }
}

}  // namespace
#endif
