#include "compute/job_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "compute/equivalent_digits.h"
#include "foundation/exceptions.h"
#include "support/console_io.h"
#include "support/temp_folder.h"

namespace numforge {
namespace {

using nmp::test::on_console;

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
  EXPECT_EQ(hex_digits_of(10), 8u);
  EXPECT_EQ(hex_digits_of(1'000'000), 830'482u);
  EXPECT_EQ(hex_digits_of(9223372036854775807u), 7659844674706589054u);
  EXPECT_EQ(hex_digits_of(1'000'000'000'000'000'047), 830'482'023'721'840'626u);
  EXPECT_EQ(decimal_digits_of(1), 1u);
  EXPECT_EQ(decimal_digits_of(1'000'000'000'000'000'084), 1'204'119'982'655'924'882u);
  EXPECT_EQ(decimal_digits_of(25'000'000), 30'102'999u);
  EXPECT_EQ(decimal_digits_of(9223372036854775807u), 11106046577046714263u);
}

TEST(JobOptions, FillTheJob) {
  const Job job = parse(
      {"sqrt:5", "-dec:1m", "-od:0", "-verify:0", "-MA:mmap", "-PF:none", "-TD:7", "-compress:2M"});
  EXPECT_EQ(job.constant, "sqrt");
  EXPECT_EQ(job.argument, 5u);
  EXPECT_EQ(job.algorithm, "newton");
  EXPECT_EQ(job.decimal_digits, 1'000'000u);
  EXPECT_EQ(job.hex_digits, 830'482u);
  EXPECT_FALSE(job.output_enable);
  EXPECT_FALSE(job.verify);
  EXPECT_EQ(job.allocator, "mmap");
  EXPECT_EQ(job.framework, "none");
  EXPECT_EQ(job.task_decomposition, 7u);
  EXPECT_EQ(job.digits_per_file, 2'000'000u);
  EXPECT_EQ(parse({"pi", "-hex:100", "-algorithm:ramanujan"}).decimal_digits, 120u);
  EXPECT_EQ(parse({"pi", "-C:-1"}).digits_per_file, kOneFile);
}

TEST(JobOptions, OfSwapModeNeedSwapMode) {
  for (const char* option : {"-M", "-minIO", "-swap"}) {
    const std::string refused =
        "Option " + std::string(option) + " is not supported for this mode.";
    const std::string word = std::string(option) + ":4000000000";
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
  EXPECT_EQ(refusal({"pi", "-mode:tape"}), "Invalid Command: tape");
  EXPECT_EQ(refusal({"pi", "-algorithm:newton"}), "Invalid Algorithm: newton");
  EXPECT_EQ(refusal({"pi", "-MA:heap"}), "Invalid Memory Allocator: heap");
  EXPECT_NE(refusal({"pi", "-PF:nosuch"}), "");
  for (const char* tasks : {"-TD:0", "-TD:-1", "-TD:65537", "-TD:4294967297"})
    EXPECT_EQ(refusal({"pi", tasks}), "Task decomposition must be between 1 and 65536.") << tasks;
  EXPECT_EQ(parse({"pi", "-TD:65536"}).task_decomposition, 65536u);
  EXPECT_EQ(refusal({"sqrt:16"}), "16 is a perfect square.");
}

TEST(JobOptions, RefuseJobsThatCannotStart) {
  for (const char* digits : {"-dec:", "-dec:0", "-dec:-5", "-hex:0", "-hex:-1T"})
    EXPECT_EQ(refusal({"pi", digits}), "The number of digits to compute must be at least 1.");
  EXPECT_EQ(refusal({"pi", "-od:0", "-dec:1"}), "");
  EXPECT_EQ(refusal({"pi", "-od:0", "-dec:1000000000000000000"}), "");
  EXPECT_THAT(refusal({"pi", "-mode:swap"}), testing::StartsWith("Swap Mode cannot run"));
  EXPECT_THAT(refusal({"zeta3"}), testing::HasSubstr("\"zeta3\" is not built"));
  EXPECT_THAT(refusal({"pi", "-dec:2M", "-C:1M"}), testing::StartsWith("Compressed digit files"));
}

TEST(JobOptions, SwitchCompressionOffForFewDigits) {
  std::string warnings = on_console("", [] {
    Job job = parse({"pi", "-dec:1M", "-C:999999"});  // 830,482 hexadecimal digits
    settle_output_format(job);
    EXPECT_EQ(job.digits_per_file, 0u);
  });
  EXPECT_EQ(warnings,
            "Warning: Too few digits for file.\n"
            "Warning: Digits per file below minimum: Disabling compression.\n");
  warnings = on_console("", [] {
    Job job = parse({"pi", "-hex:1M", "-C:1000000"});
    settle_output_format(job);
    EXPECT_EQ(job.digits_per_file, 1'000'000u);
  });
  EXPECT_EQ(warnings, "");
}

TEST(JobOptions, MakeTheOutputFolder) {
  const nmp::test::TempFolder folder;
  nmp::test::put_file(folder / "file", "x");
  EXPECT_EQ(parse({"pi", "-o:" + (folder / "new/deep")}).output_path, folder / "new/deep");
  EXPECT_TRUE(std::filesystem::is_empty(folder / "new/deep"));
  EXPECT_EQ(refusal({"pi", "-o:" + (folder / "file")}), "Path is not writable.");
  EXPECT_EQ(refusal({"pi", "-o:" + (folder / "file/below")}), "Path is not writable.");
}

TEST(JobOptionsDeathTest, UnknownWordsEndTheProgram) {
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        parse({"pi", "-digits:5"});
      },
      testing::ExitedWithCode(1), "Invalid Parameter: -digits\n");
}

}  // namespace
}  // namespace numforge
