// The digit viewer by the real program: its menu, its action, and files that are not what they
// seem.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "digits/ncd_oracle.h"
#include "support/run_program.h"
#include "support/temp_folder.h"

namespace {

using nmp::test::Child;
using nmp::test::ChildResult;
using nmp::test::contents;
using nmp::test::put_file;
using testing::HasSubstr;
using testing::Not;

const std::string kPi =
    "14159265358979323846264338327950288419716939937510"
    "58209749445923078164062862089986280348253421170679";

class Viewer : public testing::Test {
 protected:
  Viewer() {
    for (int i = 0; i < 20; ++i) digits_ += kPi;
    put_file(file_, "3." + digits_);
  }
  ChildResult view(std::vector<std::string> words, const std::string& input = "") const {
    words.insert(words.begin(), {NF_PROGRAM, "pause:-2"});
    return nmp::test::run_program(words, input);
  }
  ChildResult choose(const std::string& file, std::vector<std::string> choices) const {
    choices.insert(choices.begin(), {"digitviewer", file});
    return view(choices);
  }

  const nmp::test::TempFolder folder_;
  const std::string file_ = folder_ / "Pi - Dec - Test.txt";
  std::string digits_;
};

TEST_F(Viewer, RunsChoicesOfTheCommandLineInTheirOrder) {
  const ChildResult run =
      choose(file_, {"stats:1-20", "view:51-100", "stats:1", "-PF:none", "stats"});
  EXPECT_EQ(run.exit_code, 0) << run.output;
  const std::size_t view = run.output.find(
      "5820974944 5923078164 0628620899 8628034825 3421170679 "
      " :  100\n");
  const std::size_t first = run.output.find("Hash(1 - current):  324207303697160140\n");
  EXPECT_LT(first, view);  // 14159265358979323846 mod 2^61 - 1
  EXPECT_THAT(run.output.substr(view), HasSubstr("Hash(1 - current):  1\n"));
  EXPECT_THAT(run.output, HasSubstr("Processing 2,000 digits...\n"));
  EXPECT_THAT(run.output, HasSubstr("Digit Counts (1 - current):\n    0 : 160\n    1 : 160\n"));
  EXPECT_THAT(
      run.output,
      HasSubstr("Hash(A - B) are the digits from A - B as an integer modulo (2^61 - 1).\n"));
  EXPECT_THAT(run.output, HasSubstr("Chi-square:"));
  EXPECT_EQ(run.output.find_first_of("\r\x1b"), std::string::npos);  // not a terminal
}

TEST_F(Viewer, RewritesDigitsInBothDirections) {
  const std::string set = folder_ / "pi", part = folder_ / "part", one = folder_ / "one";
  ASSERT_EQ(
      choose(file_, {"compress::300:" + set, "compress:1K:-1:" + one, "blocks:5-6:300:" + part})
          .exit_code,
      0);
  const std::string all = folder_ / "all.txt", some = folder_ / "some.txt";
  const ChildResult run =
      choose(set + "4.ncd", {"extract::" + all, "extract:301-650:" + some, "stats:1-20"});
  EXPECT_EQ(run.exit_code, 0) << run.output;
  EXPECT_EQ(contents(all), "3." + digits_);
  EXPECT_EQ(contents(some), "0." + digits_.substr(300, 350));
  EXPECT_THAT(run.output, HasSubstr("Hash(1 - current):  324207303697160140\n"));
  EXPECT_THAT(choose(one + "0.ncd", {"view:991-1K", "view:1001-1001"}).output,
              testing::AllOf(HasSubstr("3421170679"),
                             HasSubstr("This range of digits is not accessible.")));
  // Blocks 5 and 6 belong to the same set: its parts may lie in several folders.
  EXPECT_EQ(contents(part + "5.ncd"), contents(set + "5.ncd"));
  EXPECT_EQ(contents(part + "6.ncd"), contents(set + "6.ncd"));
  EXPECT_THAT(choose(set + "0.ncd", {"compress::200:" + set}).output,
              HasSubstr("These names belong to the files that would be read.\n"));
  const std::string other = folder_ / "other";
  ::mkdir(other.c_str(), 0777);
  ::rename((set + "2.ncd").c_str(), (other + "/pi2.ncd").c_str());
  EXPECT_THAT(choose(set + "0.ncd", {"stats"}).output,
              HasSubstr("The following needed files are missing or inaccessible:\npi2.ncd\n"));
  EXPECT_EQ(choose(set + "0.ncd", {"stats", "path:" + other}).exit_code, 0);
}

TEST_F(Viewer, HasAMenu) {
  const std::string all = folder_ / "all.txt", set = folder_ / "pi", part = folder_ / "part";
  const ChildResult text =
      view({}, "5\n " + file_ + "\n0\n51\n50\n1\n1\n20\n2\n1\n2000\n" + all + "\n3\n2000\n300\n" +
                   set + "\n4\n300\n5\n6\n" + part + "\n");
  EXPECT_EQ(text.exit_code, 0) << text.output;
  for (const char* line :
       {"\n\nText File\n", "First Digits:                3.\n",
        "Digits after Decimal Place:  2,000\n", "\nWhat would you like to do?\n\n",
        "View a small range of digits.\n", "Compute Stats (Digit Counts + Hash).\n",
        "Extract digits into a .txt file.\n",
        "Compress digits 1 - N into one or more .ncd files.\n",
        "Compress a subset of digits into .ncd files.\n", "\nEnter your choice: ",
        "\n\nView a Range of Digits\n", "3421170679  :  100\n", "324207303697160140\n"})
    EXPECT_THAT(text.output, HasSubstr(line));
  EXPECT_THAT(text.output, Not(HasSubstr("Add search directory.")));
  EXPECT_EQ(contents(all), "3." + digits_);
  EXPECT_EQ(contents(part + "5.ncd"), contents(set + "5.ncd"));

  const std::string other = folder_ / "other";
  ::mkdir(other.c_str(), 0777);
  ::rename((set + "2.ncd").c_str(), (other + "/pi2.ncd").c_str());
  const ChildResult compressed =
      view({"digitviewer", set + "0.ncd"}, "5\n" + other + "\n1\n1\n2000\nx\n9\n");
  EXPECT_EQ(compressed.exit_code, 0);
  for (const std::string& line :
       {std::string("\n\nCompressed Digit File\n"),
        std::string("Digits per File:             300\n"), std::string("Search paths:\n"),
        "    " + other + "/\n",
        std::string("Add search directory. (if .ncd files are in multiple paths)\n"),
        std::string("Current Offset:  2,000\n")})
    EXPECT_THAT(compressed.output, HasSubstr(line));
}

TEST_F(Viewer, TellsTheRadixOfATextFile) {
  put_file(folder_ / "a.txt", "3.243f6a");
  put_file(folder_ / "b.txt", "3.1415");
  put_file(folder_ / "c - Hex - d.txt", "3.1415");
  put_file(folder_ / "e - Dec - f.txt", "3.14a5");
  for (const auto& [name, count] : {std::pair{"a.txt", 16}, {"b.txt", 10}, {"c - Hex - d.txt", 16}})
    EXPECT_EQ(choose(folder_ / name, {"stats"}).output.find("    f : ") != std::string::npos,
              count == 16)
        << name;
  EXPECT_THAT(choose(folder_ / "b.txt", {"stats", "radix:16"}).output, HasSubstr("    f : 0\n"));
  EXPECT_THAT(choose(folder_ / "e - Dec - f.txt", {"stats"}).output, HasSubstr("Invalid Digit\n"));
}

TEST_F(Viewer, FailsInPlainWords) {
  put_file(folder_ / "nul.txt", std::string(1000, '\0'));
  put_file(folder_ / "spoilt.txt", "3." + digits_ + std::string(1, '\0') + digits_);
  put_file(folder_ / "empty.ncd", "");
  constexpr std::uint64_t kMany = 10'000'000'000;
  put_file(folder_ / "claim0.ncd", nmp::test::fields_of(kMany, kMany, 0).text());
  ::mkdir((folder_ / "folder.txt").c_str(), 0777);
  ::mkfifo((folder_ / "pipe.txt").c_str(), 0666);
  const std::string not_there = "This range of digits is not accessible.\n";
  const struct {
    std::string file, choice, message;
  } cases[] = {
      {"noextension", "stats", "No Extension found.\n"},
      {"digits.zip", "stats", "Unrecognized Extension: .zip\nIn Function Menu_DigitViewer()"},
      {"missing.txt", "stats", "No such file or directory"},
      {"folder.txt", "stats", "Is a directory"},
      {"pipe.txt", "stats", "This is not a regular file."},
      {"nul.txt", "stats",
       "A decimal place was not found within the first 63 bytes of the file.\n"},
      {"spoilt.txt", "stats", "Invalid Digit\n"},
      {"empty.ncd", "stats", "No version # found.\n"},
      {"claim0.ncd", "stats", "Read error.\n"},
      {"Pi - Dec - Test.txt", "view:0-5", not_there + "In Function view_range()"},
      {"Pi - Dec - Test.txt", "view:2000-2001", not_there},
      {"Pi - Dec - Test.txt", "stats:7-6", not_there + "In Function compute_stats()"},
      {"Pi - Dec - Test.txt", "stats:1-9999999999999999999999", not_there},
      {"Pi - Dec - Test.txt", "stats:1-2x", "\"2x\" is not a number of digits.\n"},
      {"Pi - Dec - Test.txt", "compress::99:/tmp/x", "Invalid Parameters\n"},
      {"Pi - Dec - Test.txt", "blocks:0-7:300:/tmp/x", not_there},
      {"Pi - Dec - Test.txt", "extract:1-9", "A value is missing"},
      {"Pi - Dec - Test.txt", "extract:1-9:/nowhere/at/all.txt", "No such file or directory"},
      {"Pi - Dec - Test.txt", "radix:8", "Invalid Radix\n"},
      {"Pi - Dec - Test.txt", "nosuch:1", "Invalid Parameter: nosuch\n"},
  };
  for (const auto& [file, choice, message] : cases) {
    const ChildResult run = choose(folder_ / file, {choice});
    EXPECT_EQ(run.exit_code, 1) << file << " " << choice;
    EXPECT_THAT(run.output, HasSubstr(message)) << file << " " << choice;
    // The menu fails the same way, also for a script.
    if (choice == "stats" && file != "spoilt.txt" && file != "claim0.ncd") {
      EXPECT_EQ(view({"digitviewer"}, folder_ / file + "\n").exit_code, 1) << file;
    }
  }
  EXPECT_EQ(view({"digitviewer"}).exit_code, 0);  // nobody answers
}

TEST_F(Viewer, GoesOnAfterAFailureOnATerminal) {
  if (!nmp::test::has_terminals()) GTEST_SKIP() << "no pseudo-terminals here";
  Child child(nmp::test::program({NF_PROGRAM, "pause:-2", "colors:0", "digitviewer", file_}),
              nmp::test::Channel::kTerminal);
  child.type("0\n5\n9999\n1\n1\n1\n9\n");
  const ChildResult run = child.finish();
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_THAT(run.output, HasSubstr("This range of digits is not accessible."));
  EXPECT_THAT(run.output, HasSubstr("Hash(1 - current):  1\r\n"));
}

}  // namespace
