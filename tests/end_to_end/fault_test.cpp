// A wrong bit in the middle of a computation must stop the job, whatever series it sums.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "constants/catalogue.h"
#include "support/run_program.h"
#include "support/temp_folder.h"

namespace numforge {
namespace {

using nmp::test::ChildResult;
using nmp::test::names_in;
using nmp::test::TempFolder;
using ::testing::HasSubstr;

ChildResult run_spoiled(const std::string& constant, const std::string& algorithm,
                        const char* merge, const std::string& out) {
  ::setenv("NUMFORGE_TEST_SPOIL", merge, 1);
  ChildResult run =
      nmp::test::run_program({NF_PROGRAM_FAULTY, "pause:-2", "custom", constant, "-dec:3000",
                              "-algorithm:" + algorithm, "-PF:pushpool:2", "-o:" + out});
  ::unsetenv("NUMFORGE_TEST_SPOIL");
  return run;
}

class SpoiledMerge : public ::testing::TestWithParam<const char*> {};

TEST_P(SpoiledMerge, EndsTheJob) {
  const std::string constant = GetParam();
  const std::string key = constant.substr(0, constant.find(':'));
  for (const AlgorithmEntry& algorithm : algorithm_menu(constant_by_key(key)).algorithms) {
    const TempFolder folder;
    EXPECT_EQ(run_spoiled(constant, algorithm.key, "0", folder.path()).exit_code, 0)
        << algorithm.key;
    EXPECT_EQ(names_in(folder.path()).size(), 3u);
    for (const char* merge : {"1", "3"}) {
      SCOPED_TRACE(std::string(algorithm.key) + ", merge " + merge);
      const TempFolder spoiled;
      const ChildResult run = run_spoiled(constant, algorithm.key, merge, spoiled.path());
      EXPECT_EQ(run.exit_code, 1);
      EXPECT_THAT(run.output, HasSubstr("Modular Redundancy Check Failed"));
      EXPECT_THAT(run.output, HasSubstr("BSRModularCheckFailedException"));
      EXPECT_EQ(names_in(spoiled.path()), std::set<std::string>{});
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Series, SpoiledMerge,
                         ::testing::Values("e", "pi", "log:2", "zeta3", "catalan", "lemniscate",
                                           "gamma"));

}  // namespace
}  // namespace numforge
