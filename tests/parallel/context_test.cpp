#include "parallel/context.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/faults.h"

namespace nmp::parallel {
namespace {

TEST(MakeContext, SaysWhichFrameworksItHas) {
  const auto refuse = [](const std::string& name, const std::string& message) {
    test::expect_fault<InvalidParametersException>("parallel::make_context()", message,
                                                   [&] { make_context(name); });
  };
  for (const std::string name : {"cppasync", "spawn", "taskqueue", "pushpool", "winpool"})
    refuse(name, "The parallel framework \"" + name +
                     "\" is not available in this version. Use \"none\".");
  refuse("fibres",
         "Unknown parallel framework \"fibres\". Known frameworks: \"none\", \"cppasync\", "
         "\"spawn\", \"taskqueue\", \"pushpool\", \"winpool\".");
}

TEST(SerialContext, CoversTheRangeAndRunsBothTasks) {
  const auto context = make_context("none");
  EXPECT_EQ(context->description(), "none");
  EXPECT_EQ(context->threads(), 1u);
  std::vector<int> visits(100, 0);
  const auto count = [&](std::size_t first, std::size_t last) {
    while (first < last) ++visits[first++];
  };
  context->parallel_for(10, 97, 16, count);
  context->parallel_for(5, 5, 1, [](std::size_t, std::size_t) { FAIL() << "empty range"; });
  context->fork_join([&] { count(0, 10); }, [&] { count(97, 100); });
  EXPECT_EQ(visits, std::vector<int>(100, 1));
}

}  // namespace
}  // namespace nmp::parallel
