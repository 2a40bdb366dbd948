// Formulas for log n: found for every n, proved, cheap, and refused when wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "constants/machin_search.h"
#include "constants/machin_verify.h"
#include "foundation/exceptions.h"
#include "support/random.h"

namespace numforge {
namespace {

/// "228[251]+86[449]-60[4801]+98[8749]"
MachinFormula parse(std::uint32_t n, const char* text) {
  MachinFormula formula{n, {}};
  while (*text != 0) {
    char* end;
    const std::int64_t coefficient = std::strtoll(text, &end, 10);
    formula.terms.push_back({coefficient, std::strtoull(end + 1, &end, 10)});
    text = end + 1;
  }
  return formula;
}

struct Costs {
  double primary = 0, secondary = 0, count = 0;
};

/// Both formulas of n: proved, apart, within the limits of what their series can take.
void expect_formulas(std::uint32_t n, double most, Costs& costs) {
  const MachinFormula primary = log_formula(n, "machin-primary");
  const MachinFormula secondary = log_formula(n, "machin-secondary");
  for (const MachinFormula* formula : {&primary, &secondary}) {
    ASSERT_EQ(formula->n, n);
    ASSERT_TRUE(is_exact(*formula) && is_right_modulo_prime(*formula)) << n;
    ASSERT_LE(formula->cost(), most) << n;
    for (const MachinTerm& term : formula->terms) {
      ASSERT_TRUE(term.x >= 2 && term.x < std::uint64_t{1} << 47) << n << " " << term.x;
      ASSERT_TRUE(term.coefficient != 0 && std::abs(term.coefficient) < 1 << 21) << n;
    }
  }
  for (const MachinTerm& term : secondary.terms)
    ASSERT_EQ(std::count_if(primary.terms.begin(), primary.terms.end(),
                            [&](const MachinTerm& other) { return other.x == term.x; }),
              0)
        << n << " " << term.x;
  costs.primary += primary.cost();
  costs.secondary += secondary.cost();
  costs.count += 1;
}

using MachinSearch = nmp::test::RandomTest;
using MachinVerify = nmp::test::RandomTest;

TEST_F(MachinSearch, FindsTheKnownFormulas) {
  const std::tuple<std::uint32_t, const char*, const char*> known[] = {
      {2, "18[26]-2[4801]+8[8749]", "144[351]+160[881]+92[1079]+116[6049]-62[19601]"},
      {3, "228[251]+86[449]-60[4801]+98[8749]", "228[351]+254[881]+146[1079]+184[6049]-98[19601]"},
      {11, "498[351]+872[1079]+554[4801]+402[8749]+188[19601]", nullptr},
      {13, "1998[1574]+1658[4801]+3494[8749]+3064[13311]+6328[21295]+5796[246401]", nullptr},
      {97, "950[251]+358[449]-2[971]-250[4801]+408[8749]", nullptr},
      {1000003, "2868[251]+1080[449]-756[4801]+1236[8749]+2[700001]+2[14000041]", nullptr},
      {4294967291, "4608[251]+1728[449]-1216[4801]+1984[8749]-2[2147483647]-2[8589934583]",
       "128[7]+64[17]-2[1610612735]+2[25769803745]"},
  };
  for (const auto& [n, primary, secondary] : known) {
    EXPECT_EQ(log_formula(n, "machin-primary").terms, parse(n, primary).terms) << n;
    if (secondary != nullptr) {
      EXPECT_EQ(log_formula(n, "machin-secondary").terms, parse(n, secondary).terms) << n;
    }
  }
  EXPECT_EQ(log_formula(2, "machin-primary").text(),
            "Log[2] = \n\n            18 * ArcCoth[26]\n            -2 * ArcCoth[4801]\n"
            "             8 * ArcCoth[8749]\n        Cost = 0.535072");
}

TEST_F(MachinSearch, NeverFails) {
  Costs small, large;
  for (std::uint32_t n = 2; n <= 500; ++n) expect_formulas(n, 0.79, small);
  EXPECT_LT(small.primary, 0.672 * small.count);
  EXPECT_LT(small.secondary, 0.683 * small.count);

  for (std::size_t rep = 0; rep < nmp::test::reps(200); ++rep)
    expect_formulas(static_cast<std::uint32_t>(2 + rng_.below(4294967294u)), 0.96, large);
  EXPECT_LT(large.primary, 0.80 * large.count);
  EXPECT_LT(large.secondary, 0.82 * large.count);
  // Primes near 2^32, powers, products of two large primes.
  for (const std::uint32_t n :
       {4294967295u, 4294967291u, 4294967279u, 4292870399u, 4293001441u, 2147483647u, 2147483648u,
        3486784401u, 4293918721u, 1u << 16, 1u << 30, 65537u, 4294901761u})
    expect_formulas(n, 0.98, large);
}

TEST_F(MachinVerify, RefusesWhatIsWrong) {
  for (std::size_t rep = 0; rep < nmp::test::reps(60); ++rep) {
    const auto n = static_cast<std::uint32_t>(2 + rng_.below(rep % 2 ? 100 : 4294967294u));
    const MachinFormula right = log_formula(n, "machin-primary");
    EXPECT_NO_THROW(verify(right));
    for (std::size_t i = 0; i < right.terms.size(); ++i) {
      MachinFormula wrong[5] = {right, right, right, right, right};
      wrong[0].terms[i].coefficient += 2;
      wrong[1].terms[i].coefficient -= 2;
      wrong[2].terms[i].x += 1;
      wrong[3].terms.erase(wrong[3].terms.begin() + static_cast<std::ptrdiff_t>(i));
      wrong[4].n ^= 1;
      for (const MachinFormula& formula : wrong) {
        EXPECT_FALSE(is_exact(formula)) << n << " " << i;
        EXPECT_FALSE(is_right_modulo_prime(formula)) << n << " " << i;
        EXPECT_THROW(verify(formula), nmp::AlgorithmFailedException);
      }
    }
  }
  EXPECT_FALSE(is_exact({2, {{2, 1}}})) << "arccoth(1) is infinite";
  EXPECT_FALSE(is_exact({2, {}}));
  EXPECT_FALSE(is_exact({1, {}}));
}

// Arguments forbidden at random make other, worse bases; what is found is right all the same.
TEST_F(MachinSearch, SaysWhenThereIsNothingLeft) {
  for (std::size_t rep = 0; rep < nmp::test::reps(150); ++rep) {
    std::vector<MachinTerm> avoided;
    const std::uint64_t share = 1 + rng_.below(6);
    for (std::uint64_t x = 2; x < 9000; ++x)
      if (rng_.below(7) < share) avoided.push_back({1, x});
    const MachinFormula formula = search_machin_formula(2 + rep % 40, avoided);
    ASSERT_TRUE(is_exact(formula)) << formula.text();
  }
  // Three has no large part for which there would always be more.
  std::vector<MachinTerm> avoided;
  const auto avoid_more = [&] {
    const MachinFormula formula = search_machin_formula(3, avoided);
    avoided.insert(avoided.end(), formula.terms.begin(), formula.terms.end());
    return avoided.size();
  };
  EXPECT_THROW(while (avoid_more() < 200){}, nmp::AlgorithmFailedException);
}

}  // namespace
}  // namespace numforge
