#include "constants/catalogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "constants/catalogue_menu.h"
#include "foundation/exceptions.h"
#include "support/console_io.h"

namespace numforge {
namespace {

using nmp::test::on_console;
using testing::HasSubstr;

template <typename Call>
std::string refusal(Call call) {
  try {
    call();
  } catch (const nmp::InvalidParametersException& e) {
    return e.message();
  }
  return "";
}

TEST(Catalogue, EveryRowHasAMenuWithDistinctAlgorithms) {
  EXPECT_EQ(catalogue().size(), 11u);
  std::set<std::string> keys;
  for (const ConstantCatalogueEntry& entry : catalogue()) {
    EXPECT_TRUE(keys.insert(entry.key).second) << entry.key;
    EXPECT_EQ(&constant_by_key(entry.key), &entry);
    const AlgorithmMenu& menu = algorithm_menu(entry);
    EXPECT_STREQ(menu.constant, entry.key);
    ASSERT_FALSE(menu.algorithms.empty()) << entry.key;
    std::set<std::string> algorithms, files;
    for (const AlgorithmEntry& algorithm : menu.algorithms) {
      EXPECT_TRUE(algorithms.insert(algorithm.key).second) << algorithm.key;
      EXPECT_TRUE(files.insert(file_name_text(algorithm)).second) << algorithm.key;
      EXPECT_EQ(&algorithm_by_key(entry, algorithm.key), &algorithm);
    }
  }
  EXPECT_STREQ(algorithm_menu(constant_by_key("catalan")).algorithms[1].key, "guillera2019");
}

TEST(Catalogue, RefusesUnknownKeys) {
  EXPECT_THAT(refusal([] { constant_by_key("phi"); }), HasSubstr("Invalid Constant: phi\n"));
  EXPECT_THAT(refusal([] { constant_by_key("phi"); }), HasSubstr("goldenratio"));
  EXPECT_EQ(refusal([] { algorithm_by_key(constant_by_key("pi"), "newton"); }),
            "Invalid Algorithm: newton");
}

TEST(Catalogue, ChecksArguments) {
  for (std::int64_t n : {-5, 0, 1}) {
    EXPECT_EQ(refusal([n] { check_sqrt_argument(n); }), "Argument must be greater than 1.") << n;
    EXPECT_EQ(refusal([n] { check_log_argument(n); }), "Argument must be greater than 1.") << n;
  }
  EXPECT_EQ(check_sqrt_argument(4294967295), 4294967295u);
  EXPECT_EQ(refusal([] { check_sqrt_argument(4294967296); }), "Argument is too large.");
  EXPECT_EQ(refusal([] { check_log_argument(4294967296); }), "Argument is too large.");
  EXPECT_EQ(check_log_argument(4), 4u);
  for (std::int64_t r : {2, 3, 256, 46341, 65535}) {
    EXPECT_EQ(refusal([r] { check_sqrt_argument(r * r); }),
              std::to_string(r * r) + " is a perfect square.");
    EXPECT_EQ(check_sqrt_argument(r * r + 1), static_cast<std::uint64_t>(r * r + 1));
    EXPECT_EQ(check_sqrt_argument(r * r - 1), static_cast<std::uint64_t>(r * r - 1));
  }
  EXPECT_EQ(check_brent_argument(63), std::uint64_t{1} << 63);
  EXPECT_EQ(refusal([] { check_brent_argument(64); }), "64 is out of range.");
  EXPECT_EQ(refusal([] { check_brent_argument(0); }), "Argument must be greater than 0.");
  EXPECT_EQ(refusal([] { check_brent_argument(4294967296); }), "Argument is too large.");
}

TEST(Catalogue, ReadsArgumentsFromText) {
  EXPECT_EQ(parse_argument(constant_by_key("sqrt"), "2K"), 2u);
  EXPECT_EQ(refusal([] { parse_argument(constant_by_key("sqrt"), ""); }),
            "Argument must be greater than 1.");
  EXPECT_EQ(parse_argument(constant_by_key("pi"), ""), 0u);
  EXPECT_EQ(refusal([] { parse_argument(constant_by_key("pi"), "5"); }), "Pi takes no argument.");
}

TEST(Catalogue, NamesResults) {
  EXPECT_EQ(result_name(constant_by_key("sqrt"), 125), "Sqrt(125)");
  EXPECT_EQ(result_name(constant_by_key("log"), 10), "Log(10)");
  EXPECT_EQ(result_name(constant_by_key("brent"), 1024), "Euler-Mascheroni");
  EXPECT_EQ(result_name(constant_by_key("goldenratio"), 0), "Golden Ratio");
  EXPECT_EQ(file_name_text({"k", "l", "", "a<b>:\"c/d\\e|f?g*(-1)"}), "abcdefg(-1)");
}

TEST(CatalogueMenu, PrintsItsRows) {
  const std::string output = on_console("11\n", [] { EXPECT_FALSE(choose_constant()); });
  EXPECT_THAT(output,
              HasSubstr("Compute a Constant: (in ascending order of difficulty to compute)\n\n"
                        "  #         Constant                      Value        "
                        "Approximate Difficulty*\n\nFast Constants:\n"
                        "  0         Sqrt(n)                                         1.46\n"
                        "  1         Golden Ratio                = 1.618034...       1.46\n"));
  EXPECT_THAT(output, HasSubstr("Other:\n  9         Euler-Mascheroni Constant (parameter "));
  EXPECT_THAT(output, HasSubstr("\n 10         Custom constant with user-defined formula."));
}

TEST(CatalogueMenu, LeadsToAChoice) {
  std::optional<ConstantChoice> choice;
  std::string output =
      on_console("0\n1\n4294967296\n\n144\n145\n\n", [&] { choice = choose_constant(); });
  ASSERT_TRUE(choice);
  EXPECT_EQ(choice->argument, 145u);
  EXPECT_STREQ(choice->algorithm->key, "newton");
  for (const char* text :
       {"Square Root of n\n", "n = \nArgument must be greater than 1.\n",
        "Argument is too large.\n", "This number is a perfect square.\n",
        "Please choose something more interesting :)\n", "\nSelect an Algorithm:\n",
        "   0        1st order Newton's Method\n", "compute sqrt(100*n) instead."})
    EXPECT_THAT(output, HasSubstr(text));

  output = on_console("3\n4\n-1\n2\n", [&] { choice = choose_constant(); });
  ASSERT_TRUE(choice);
  EXPECT_STREQ(choice->algorithm->key, "chudnovsky-reduced");
  EXPECT_THAT(output, HasSubstr("Algorithm: Invalid input.\nAlgorithm: Invalid input.\n"));
}

TEST(CatalogueMenu, EndOfInputIsNoChoice) {
  for (const char* input : {"", "0\n", "0\n1\n", "0\n2\n", "3\n"})
    on_console(input, [&] { EXPECT_FALSE(choose_constant()) << input; });
}

TEST(CatalogueMenu, SaysWhatItCannotCompute) {
  for (int row = 0; row < 11; ++row) {
    const ConstantCatalogueEntry& entry = catalogue()[static_cast<std::size_t>(row)];
    const std::string output =
        on_console(std::to_string(row) + "\n2\n0\n", [] { choose_constant(); });
    EXPECT_EQ(output.find(unavailable_text(entry)) == std::string::npos, is_available(entry.key))
        << entry.key;
  }
}

TEST(CatalogueMenu, AsksForTheExponentOfBrent) {
  const ConstantCatalogueEntry& brent = constant_by_key("brent");
  std::optional<std::uint64_t> argument;
  std::string output = on_console("0\n64\n10\n", [&] { argument = prompt_argument(brent); });
  EXPECT_EQ(argument, 1024u);
  EXPECT_THAT(output, HasSubstr("64 is out of range."));
  output = on_console(
      "1\n", [&] { EXPECT_STREQ(choose_algorithm(brent, *argument)->key, "brent-original"); });
  EXPECT_THAT(output, HasSubstr("Brent-McMillan with Refinement ( n = 2^10)\n"));
}

}  // namespace
}  // namespace numforge
