#include "constants/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "foundation/exceptions.h"

namespace numforge {
namespace {

using testing::StartsWith;

TEST(Catalogue, EveryRowHasAMenuWithDistinctAlgorithms) {
  EXPECT_EQ(catalogue().size(), 11u);
  std::set<std::string> keys;
  for (const ConstantCatalogueEntry& entry : catalogue()) {
    EXPECT_TRUE(keys.insert(entry.key).second) << entry.key;
    EXPECT_EQ(&constant_by_key(entry.key), &entry);
    const AlgorithmMenu& menu = algorithm_menu(entry);
    EXPECT_STREQ(menu.constant, entry.key);
    ASSERT_FALSE(menu.algorithms.empty()) << entry.key;
    std::set<std::string> files;
    for (const AlgorithmEntry& algorithm : menu.algorithms) {
      EXPECT_TRUE(files.insert(file_name_text(algorithm.short_name)).second) << algorithm.key;
      EXPECT_EQ(&algorithm_by_key(entry, algorithm.key), &algorithm);
    }
  }
}

TEST(Catalogue, RefusesWhatItDoesNotKnowOrCannotTake) {
  const auto expect_refusal = [](const auto& call, const std::string& text) {
    try {
      call();
      ADD_FAILURE() << "accepted instead of: " << text;
    } catch (const nmp::InvalidParametersException& e) {
      EXPECT_THAT(e.message(), StartsWith(text));
    }
  };
  expect_refusal([] { constant_by_key("phi"); }, "Invalid Constant: phi\n");
  expect_refusal([] { parse_argument(constant_by_key("pi"), "5"); }, "Pi takes no argument.");
  expect_refusal([] { parse_argument(constant_by_key("sqrt"), ""); },
                 "Argument must be greater than 1.");
  EXPECT_EQ(parse_argument(constant_by_key("sqrt"), "2K"), 2u);
  EXPECT_EQ(parse_argument(constant_by_key("pi"), ""), 0u);

  for (const auto& check : {check_sqrt_argument, check_log_argument}) {
    for (std::int64_t n : {-5, 0, 1})
      expect_refusal([&] { check(n); }, "Argument must be greater than 1.");
    expect_refusal([&] { check(4294967296); }, "Argument is too large.");
    EXPECT_EQ(check(4294967295), 4294967295u);
    EXPECT_EQ(check(2), 2u);
  }
  EXPECT_EQ(check_log_argument(4), 4u);
  for (std::int64_t r : {2, 3, 256, 46341, 65535}) {
    expect_refusal([r] { check_sqrt_argument(r * r); },
                   std::to_string(r * r) + " is a perfect square.");
    EXPECT_EQ(check_sqrt_argument(r * r + 1), static_cast<std::uint64_t>(r * r + 1));
    EXPECT_EQ(check_sqrt_argument(r * r - 1), static_cast<std::uint64_t>(r * r - 1));
  }
  EXPECT_EQ(check_brent_argument(63), std::uint64_t{1} << 63);
  expect_refusal([] { check_brent_argument(64); }, "64 is out of range.");
  expect_refusal([] { check_brent_argument(0); }, "Argument must be greater than 0.");
  expect_refusal([] { check_brent_argument(4294967296); }, "Argument is too large.");
}

TEST(Catalogue, NamesResults) {
  EXPECT_EQ(result_name(constant_by_key("sqrt"), 125), "Sqrt(125)");
  EXPECT_EQ(result_name(constant_by_key("brent"), 1024), "Euler-Mascheroni");
  // gamma's n follows from the precision: 10,000 digits need 2878 (refined) or 5756.
  const ConstantCatalogueEntry& gamma = constant_by_key("gamma");
  for (const auto& [words, refined, original] :
       {std::tuple{0u, "", ""}, std::tuple{1042u, " ( n = 2^12)", " ( n = 2^13)"},
        std::tuple{1u, " ( n = 2^4)", " ( n = 2^4)"}}) {
    EXPECT_EQ(long_name(gamma, algorithm_by_key(gamma, "brent-refined"), 0, words),
              std::string("Brent-McMillan with Refinement") + refined);
    EXPECT_EQ(long_name(gamma, algorithm_by_key(gamma, "brent-original"), 0, words),
              std::string("Brent-McMillan") + original);
  }
  EXPECT_EQ(file_name_text("a<b>:\"c/d\\e|f?g*(-1)"), "abcdefg(-1)");
}

}  // namespace
}  // namespace numforge
