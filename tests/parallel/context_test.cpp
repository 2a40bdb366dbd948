#include "parallel/context.h"

#include <gtest/gtest.h>

#include <vector>

#include "foundation/exceptions.h"

namespace nmp::parallel {
namespace {

std::string refusal(std::string_view name) {
  try {
    make_context(name);
  } catch (const InvalidParametersException& e) {
    return e.message();
  }
  return "accepted";
}

TEST(MakeContext, SaysWhichFrameworksItHas) {
  EXPECT_EQ(make_context("none")->description(), "none");
  for (const std::string name : {"cppasync", "spawn", "taskqueue", "pushpool", "winpool"})
    EXPECT_EQ(refusal(name), "The parallel framework \"" + name +
                                 "\" is not available in this version. Use \"none\".");
  EXPECT_EQ(refusal("fibres"),
            "Unknown parallel framework \"fibres\". Known frameworks: \"none\", \"cppasync\", "
            "\"spawn\", \"taskqueue\", \"pushpool\", \"winpool\".");
}

TEST(SerialContext, CoversTheRangeAndRunsBothTasks) {
  const auto context = make_context("none");
  EXPECT_EQ(context->threads(), 1u);
  std::vector<int> visits(100, 0);
  const auto count = [&](std::size_t first, std::size_t last) {
    while (first < last) ++visits[first++];
  };
  context->parallel_for(10, 97, 16, count);
  context->parallel_for(5, 5, 1, [](std::size_t, std::size_t) { FAIL() << "empty range"; });
  context->fork_join([&] { count(0, 10); }, [&] { count(97, 100); });
  EXPECT_EQ(visits, std::vector<int>(100, 1));
  EXPECT_THROW(context->parallel_for(0, 1, 1, [](std::size_t, std::size_t) { throw 1; }), int);
}

}  // namespace
}  // namespace nmp::parallel
