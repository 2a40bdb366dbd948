// The Custom Compute menu and configuration files, driven through the real program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/run_program.h"
#include "support/temp_folder.h"

namespace {

using nmp::test::ChildResult;
using nmp::test::contents;
using nmp::test::names_in;
using nmp::test::put_file;
using nmp::test::TempFolder;
using ::testing::HasSubstr;
using ::testing::Not;

ChildResult menu(const std::string& input) {
  return nmp::test::run_program({NF_PROGRAM, "pause:-2", "custom"}, input);
}
ChildResult config(const std::string& path) {
  return nmp::test::run_program({NF_PROGRAM, "pause:-2", "config", path});
}
/// What the menu showed last.
std::string last_screen(const std::string& output) {
  return output.substr(output.rfind("Custom Compute a Constant"));
}
/// A file with this inside its settings object.
std::string settings(const std::string& text) {
  return "{ Action : \"CustomCompute\" CustomCompute : { " + text + " } }";
}

TEST(CustomMenu, ShowsEveryLine) {
  const std::string ram = menu("").output;
  for (const char* line :
       {"\n\nCustom Compute a Constant\n", "\n  1     Constant:", "\n  2     Algorithm:",
        "\n  3     Decimal Digits:         1,000,000\n",
        "\n  4     Hexadecimal Digits:     830,482\n",
        "\n  5     Output To:              Default Path\n",
        "\n  6     Digit Format:           None - Write digits to a text file.\n",
        "\n  7     Verify Output:          Enabled\n",
        "\n  8     Computation Mode:       Ram Only\n",
        "\n  9     Multi-Threading:", "\n 10     Logical Memory Needed:",
        "\n        Logical Disk Needed:    0 bytes  +  1.74 MiB for output\n",
        "\n 20/21   Load/Save Configuration File\n", "\n  0     Start Computation!\n", "option: "})
    EXPECT_THAT(ram, HasSubstr(line));
  const std::string swap = last_screen(menu("8\n2\n10\n1\nsync\n12\n2m\n1\n13\n1m\n").output);
  for (const char* line :
       {"\n  8     Computation Mode:       Swap Mode\n",
        "\n 10     Checkpointing:          Enabled  +  Post-Checkpoint Command\n",
        "\n 11     Far Memory Config:",
        "\n 12     Far Memory Tuning:      1.90 MiB per seek, parallel",
        "\n 13     Logical Memory Needed:  976 KiB"})
    EXPECT_THAT(swap, HasSubstr(line));
  const std::string modes = menu("8\n").output;
  EXPECT_THAT(modes,
              HasSubstr("Select a Mode:\n\nOption      Mode            Memory      Disk Memory\n"));
  EXPECT_THAT(modes,
              HasSubstr("    *Disk usage varies with the amount of memory that is being used."));
}

TEST(CustomMenu, ChangesTheJobAndRunsIt) {
  const TempFolder folder;
  const ChildResult run = menu("1\n0\n1\n4294967296\n\n144\n3\n-1\n0\n3\n2k\n4\n5\n" +
                               folder / "new" + "\n9\n3\n2\n4\n7\n0\n");
  EXPECT_EQ(run.exit_code, 0) << run.output;
  for (const char* text :
       {"Compute a Constant: (in ascending order of difficulty to compute)\n\n"
        "  #         Constant                      Value        "
        "Approximate Difficulty*\n\nFast Constants:\n"
        "  0         Sqrt(n)                                         1.46\n",
        "Square Root of n\n", "n = \nArgument must be greater than 1.\n",
        "Argument is too large.\n",
        "This number is a perfect square.\nPlease choose something more interesting :)\n",
        "\nSelect an Algorithm:\n", "compute sqrt(100*n) instead.", "Algorithm: Invalid input.\n"})
    EXPECT_THAT(run.output, HasSubstr(text));
  const std::string screen = last_screen(run.output);
  for (const char* line : {"Sqrt(3)\n", "2,000\n", "Hexadecimal Digits:     Disabled\n",
                           "Verify Output:          Disabled\n", "taskqueue:2  ->  4 tasks\n"})
    EXPECT_THAT(screen, HasSubstr(line));
  EXPECT_EQ(names_in(folder / "new"),
            (std::set<std::string>{"Sqrt(3) - Dec - Newton's Method.txt",
                                   "Sqrt(3) - Report - Newton's Method.txt"}));
}

TEST(CustomMenu, ShowsTheFormulasOfALogarithm) {
  const TempFolder folder;
  const ChildResult run = menu("1\n4\n97\n1\n3\n150\n4\n5\n" + folder.path() + "\n7\n0\n");
  EXPECT_EQ(run.exit_code, 0) << run.output;
  std::size_t at = 0;
  for (const char* text :
       {"Log(n)", "\nGenerating Primary Formula...", " seconds\nGenerating Secondary Formula...",
        "Log[97] = \n", "\n           950 * ArcCoth[251]\n", " -2 * ArcCoth[971]\n",
        "\n        112714 * ArcCoth[57799]\n", "\n        Cost = 0.680572\n",
        "  0        Primary Machin-like Formula (5 terms)\n",
        "  1        Secondary Machin-like Formula (9 terms)\n",
        "Algorithm:              Secondary Machin-like Formula (9 terms)\n",
        "Algorithm:           Secondary Machin-like Formula (9 terms)\n", "ArcCoth(57799)\n",
        "Series CommonP2B3..."}) {
    at = run.output.find(text, at);
    ASSERT_NE(at, std::string::npos) << text << run.output;
  }
  const std::string name = "Log(97) - Dec - Secondary Machin-like Formula (9 terms).txt";
  EXPECT_THAT(contents(folder / name), testing::StartsWith("4.5747109785033828221167"));
}

TEST(CustomMenu, SurvivesWhatItRefuses) {
  const std::pair<const char*, const char*> rounds[] = {
      {"99\n", "Invalid input."},
      {"5\n/proc/nowhere\n", "Path is not writable."},
      {"3\n5000\n6\n2\n", "\n\nToo few digits to compress.\n"},
      {"3\n2m\n6\n3\n1000\n", "Too few digits for file."},
      {"9\n3\n9999\n1\n",
       "The number of threads of a parallel framework must be between 1 and 1024"},
      {"9\n0\n65537\n", "Task decomposition must be between 1 and 65536."},
      {"3\n0\n0\n", "The number of digits to compute must be at least 1."},
      {"3\n1t\n", "64-bit is required to use more than 2GB of memory."},
      {"8\n2\n0\n", "Swap Mode cannot run in this version yet."},
      {"20\n/proc/nowhere\n", "/proc/nowhere"},
      {"1\n10\n", "The constant \"custom\" is not built into this version yet."},
      {"1\n11\n", "Custom Compute a Constant"}};
  for (const auto& [input, text] : rounds) {
    const ChildResult run = menu(input);
    EXPECT_EQ(run.exit_code, 0) << input;
    const std::size_t first = run.output.find("option: ");
    EXPECT_THAT(run.output.substr(first), HasSubstr(text)) << input;
    EXPECT_GT(run.output.rfind("  0     Start Computation!"), first) << input;
  }
  for (const char* ended : {"1\n", "1\n0\n", "1\n0\n1\n", "1\n3\n"})
    EXPECT_EQ(menu(ended).exit_code, 0) << ended;
  // A refused setting leaves the others as they were.
  EXPECT_THAT(last_screen(menu("9\n3\n2\n65537\n").output), Not(HasSubstr("taskqueue")));
}

TEST(CustomMenu, SavesAndLoadsTheWholeJob) {
  const TempFolder folder;
  for (const std::string name : {"job", "job.json"}) {
    const std::string path = folder / name;
    const std::string changes = "1\n0\n5\n0\n3\n1234\n4\n5\n" + folder.path() +
                                "\n6\n0\n7\n9\n5\n8\n2\n10\n0\n11\nlanes \"a\" \\b\n13\n5m\n";
    const std::string changed = menu(changes + "8\n2\n21\n" + path + "\n").output;
    const std::string loaded = menu("20\n" + path + "\n").output;
    EXPECT_EQ(last_screen(loaded), last_screen(changed)) << contents(folder / "job.cfg");
    EXPECT_NE(last_screen(loaded), last_screen(menu("").output));
  }
  EXPECT_EQ(names_in(folder.path()), (std::set<std::string>{"job.cfg", "job.json"}));
  EXPECT_THAT(contents(folder / "job.cfg"),
              testing::StartsWith("//  numforge Configuration File\r\n"));
}

TEST(Config, RunsSavedJobsAndTheSamples) {
  const TempFolder folder;
  put_file(folder / "job.cfg",
           settings("Constant : {Constant:\"e\" Algorithm:\"exp(-1)\"}\n"
                    "ComputeSize : {DecimalDigits : 3000 EnableHexDigits : 0} // no hex\n"
                    "Output : {Path : \"" +
                    folder / "digits" + "\"}"));
  EXPECT_EQ(config(folder / "job").exit_code, 0);
  EXPECT_EQ(contents(folder / "digits/e - Dec - exp(-1).txt").substr(0, 12), "2.7182818284");
  for (const std::string sample : {"pi-million.cfg", "sqrt2-benchmark.json"}) {
    const ChildResult done =
        nmp::test::Child(
            nmp::test::program({NF_PROGRAM, "pause:-2", "config", NF_SAMPLES "/" + sample},
                               [&] { (void)!::chdir(folder.path().c_str()); }))
            .finish();
    EXPECT_EQ(done.exit_code, 0) << done.output;
  }
  EXPECT_EQ(contents(folder / "out/Pi - Dec - Chudnovsky.txt").size(), 1000002u);
}

TEST(Config, SaysWhatIsWrongWithAFile) {
  const TempFolder folder;
  const std::string pi = "Constant : {Constant : \"pi\"} ";
  const std::string cannot = "Cannot run computation with these parameters.";
  const std::pair<std::string, std::vector<std::string>> files[] = {
      {"{ Action : \"CustomCompute\" ", {"Unexpected end of stream."}},
      {"{ Action : \"Paint\" }", {"Invalid Action: Paint"}},
      {"{ Action : \"BenchIO\" BenchIO : {} }", {"I/O Performance Analysis is not part of"}},
      {"{}", {"Action"}},
      {"[]", {"object"}},
      {"\n{ Action : 7 }", {"line 2"}},
      {settings(""), {cannot, "Constant"}},
      {settings("Constant : {Constant : \"tau\"}"), {cannot, "Invalid Constant: tau"}},
      {settings(pi + "\n OutPut : {}"), {cannot, "Unknown key \"OutPut\". (line 2)"}},
      {settings(pi + "\n\n Mode : 1"), {cannot, "line 3"}},
      {settings(pi + "Mode : \"swap\""), {cannot, "Swap Mode cannot run"}},
      {settings(pi + "Output : {Path : \"/proc/nowhere\"}"), {cannot, "Path is not writable."}},
      {settings(pi + "ComputeSize : {DecimalDigits : 0}"), {cannot, "at least 1"}}};
  for (const auto& [text, messages] : files) {
    put_file(folder / "bad.cfg", text);
    const ChildResult run = config(folder / "bad.cfg");
    EXPECT_EQ(run.exit_code, 1) << text;
    for (const std::string& message : messages) EXPECT_THAT(run.output, HasSubstr(message)) << text;
  }
}

}  // namespace
