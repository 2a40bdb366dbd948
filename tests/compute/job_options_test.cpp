#include "compute/job_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "compute/equivalent_digits.h"
#include "foundation/exceptions.h"
#include "support/temp_folder.h"

namespace numforge {
namespace {

const nmp::BuildProfile kTestProfile = {
    .tag = "test", .label = "Test", .ram_only_limit = 1 << 20, .swap_memory_cap = 1'879'048'185};

Job parse(std::vector<std::string> words) {
  words.insert(words.begin(), "numforge");
  nmp::CommandLine line(words);
  return parse_job(line, kTestProfile);
}

/// The message of the refusal by the parser or by `validate`, or nothing.
std::string refusal(const std::vector<std::string>& words) {
  try {
    Job job = parse(words);
    settle_output_format(job);
    validate(job);
  } catch (const nmp::InvalidParametersException& e) {
    return e.message();
  }
  return "";
}

TEST(EquivalentDigits, AreExact) {
  // Against 90-digit arithmetic.
  EXPECT_EQ(hex_digits_of(0), 0u);
  EXPECT_EQ(hex_digits_of(1), 0u);
  EXPECT_EQ(hex_digits_of(1'000'000), 830'482u);
  EXPECT_EQ(hex_digits_of(9223372036854775807u), 7659844674706589054u);
  EXPECT_EQ(hex_digits_of(1'000'000'000'000'000'047), 830'482'023'721'840'626u);
  EXPECT_EQ(decimal_digits_of(1), 1u);
  EXPECT_EQ(decimal_digits_of(1'000'000'000'000'000'084), 1'204'119'982'655'924'882u);
  EXPECT_EQ(decimal_digits_of(9223372036854775807u), 11106046577046714263u);
}

TEST(JobOptions, FillTheJob) {
  const nmp::test::TempFolder folder;
  const Job job =
      parse({"sqrt:5", "-dec:1m", "-od:0", "-verify:0", "-MA:mmap:lockedpages,largepages",
             "-PF:spawn:12", "-TD:65536", "-compress:2M", "-o:" + (folder / "new/deep")});
  EXPECT_FALSE(job.verify);
  EXPECT_EQ(job.allocator, "mmap:largepages,lockedpages");
  EXPECT_EQ(job.framework, "spawn:12");
  EXPECT_EQ(job.task_decomposition, 65536u);
  EXPECT_EQ(job.digits_per_file, 2'000'000u);
  EXPECT_EQ(job.output_path, folder / "new/deep");
  EXPECT_TRUE(std::filesystem::is_empty(folder / "new/deep"));
  EXPECT_EQ(parse({"pi", "-hex:100", "-algorithm:ramanujan"}).decimal_digits, 120u);
  EXPECT_EQ(parse({"pi", "-C:-1"}).digits_per_file, kOneFile);
  EXPECT_EQ(parse({"pi"}).framework, "pushpool");
}

TEST(JobOptions, OfSwapModeNeedSwapMode) {
  for (const std::string option : {"-M", "-minIO", "-swap"}) {
    const std::string refused = "Option " + option + " is not supported for this mode.";
    const std::string word = option + ":4000000000";
    EXPECT_EQ(refusal({"pi", word}), refused);
    EXPECT_EQ(refusal({"pi", word, "-mode:swap"}), refused);
    EXPECT_EQ(refusal({"pi", "-mode:swap", "-mode:ram", word}), refused);
    EXPECT_NE(refusal({"pi", "-mode:swap", word}), refused);
  }
  EXPECT_EQ(parse({"pi", "-mode:swap", "-M:4000000000"}).swap_memory, 1'879'048'185u);
  EXPECT_EQ(parse({"pi", "-mode:swap", "-M:1G"}).swap_memory, 1u);
  EXPECT_EQ(parse({"pi", "-mode:swap", "-minIO:1"}).minimum_io, 4096u);
  EXPECT_EQ(parse({"pi", "-mode:swap", "-minIO:1T"}).minimum_io, 2'147'483'647u);
  EXPECT_EQ(parse({"pi", "-mode:swap", "-swap:C:/a;D:/b"}).swap, "C:/a;D:/b");
}

TEST(JobOptions, AreRefusedInPlainWords) {
  const nmp::test::TempFolder folder;
  nmp::test::put_file(folder / "file", "x");
  const std::string tasks = "Task decomposition must be between 1 and 65536.";
  const std::string few = "The number of digits to compute must be at least 1.";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"pi", "-mode:tape"}, "Invalid Command: tape"},
      {{"pi", "-algorithm:newton"}, "Invalid Algorithm: newton"},
      {{"pi", "-MA:heap"}, "Invalid Memory Allocator: heap"},
      {{"pi", "-PF:nosuch"}, "Unknown parallel framework \"nosuch\"."},
      {{"pi", "-TD:0"}, tasks},
      {{"pi", "-TD:4294967297"}, tasks},
      {{"sqrt:16"}, "16 is a perfect square."},
      {{"pi", "-dec:"}, few},
      {{"pi", "-hex:-1T"}, few},
      {{"pi", "-dec:2M", "-C:99"}, "Invalid Digits per File"},
      {{"pi", "-o:" + (folder / "file")}, "Path is not writable."},
      {{"pi", "-o:" + (folder / "file/below")}, "Path is not writable."}};
  for (const auto& [words, text] : cases) EXPECT_THAT(refusal(words), testing::HasSubstr(text));
  EXPECT_EQ(refusal({"pi", "-od:0", "-dec:1"}), "");
  EXPECT_EQ(refusal({"pi", "-od:0", "-dec:1000000000000000000"}), "");
}

}  // namespace
}  // namespace numforge
