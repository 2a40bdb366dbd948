// What the descriptions of frameworks mean, and which are refused.
#include "parallel/context.h"

#include <gtest/gtest.h>

#include "platform/processor.h"
#include "platform/system_pool.h"
#include "support/faults.h"

namespace nmp::parallel {
namespace {

TEST(Descriptions, NameEveryFrameworkAndItsThreads) {
  const std::string all = ":" + std::to_string(platform::logical_processors());
  for (const std::string key : {"cppasync", "spawn", "taskqueue", "pushpool"}) {
    EXPECT_EQ(canonical_description(key), key + all);
    EXPECT_EQ(canonical_description(key + ":007"), key + ":7");
    EXPECT_EQ(canonical_description(key + ":1024"), key + ":1024");
    EXPECT_EQ(make_context(key)->description(), key + all);
    EXPECT_EQ(make_context(key + ":3")->description(), key + ":3");
    EXPECT_EQ(make_context(key + ":3")->threads(), 3u);
    EXPECT_EQ(make_context(key + ":1")->threads(), 1u);
  }
  EXPECT_EQ(canonical_description("none"), "none");
  EXPECT_EQ(make_context("none")->description(), "none");
  EXPECT_EQ(make_context("none")->threads(), 1u);
}

TEST(Descriptions, AreRefusedInPlainWords) {
  const auto refuse = [](const std::string& description, const std::string& message) {
    for (const bool only_look : {true, false})
      test::expect_fault<InvalidParametersException>("parallel::make_context()", message, [&] {
        only_look ? (void)canonical_description(description) : (void)make_context(description);
      });
  };
  for (const std::string number : {"", "0", "1025", "-1", "+2", "2 ", "2:2", "4294967297", "many"})
    refuse("pushpool:" + number,
           "The number of threads of a parallel framework must be between 1 and 1024, not \"" +
               number + "\".");
  for (const char* number : {"none:", "none:1", "none:2"})
    refuse(number, "The parallel framework \"none\" takes no number of threads.");
  for (const std::string name : {"", "fibres", "Pushpool", " none"})
    refuse(name + ":2", "Unknown parallel framework \"" + name +
                            "\". Known frameworks: \"none\", \"cppasync\", \"spawn\", "
                            "\"taskqueue\", \"pushpool\", \"winpool\".");
  if (!platform::SystemPool::is_available())
    for (const char* description : {"winpool", "winpool:2", "winpool:0"})
      refuse(description, "The parallel framework \"winpool\" is only available on Windows.");
}

}  // namespace
}  // namespace nmp::parallel
