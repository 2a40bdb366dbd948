// The arccoth series' leaves, bounds and residues against its terms multiplied out.
#include "constants/arccoth_taylor.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <numeric>
#include <tuple>

#include "arith/hash61.h"
#include "support/random.h"
#include "support/reference.h"

namespace numforge::Formulas {
namespace {

using nmp::BinarySplitting::Leaf;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::test::multiply;
using nmp::test::Natural;

Natural natural(std::uint64_t x) {
  const std::uint32_t words[] = {static_cast<std::uint32_t>(x),
                                 static_cast<std::uint32_t>(x >> 32)};
  return nmp::test::natural(words, 2);
}
Natural natural(const Leaf::Number& x) {
  Natural words;
  for (std::size_t i = 0; i < x.length; ++i)
    for (const std::uint64_t half : {x.limbs[i], x.limbs[i] >> 32})
      words.push_back(static_cast<std::uint32_t>(half));
  return nmp::test::stripped(words);
}
/// The whole part of log2 x.
double bits(const Natural& x) {
  return 32 * static_cast<double>(x.size()) - std::countl_zero(x.back()) - 1;
}
std::uint64_t residue(const Natural& x) { return nmp::hash61::of_words(x.data(), x.size()); }

/// The share of u that the least common multiple of the earlier numbers lacks.
std::uint64_t share(const std::vector<std::uint64_t>& earlier, std::uint64_t u) {
  std::uint64_t common = 1;
  for (const std::uint64_t v : earlier) common = std::lcm(common, std::gcd(u, v));
  return u / common;
}

namespace h = nmp::hash61;

class ArcCothTest : public nmp::test::RandomTest {};

TEST_F(ArcCothTest, LeavesAreSumsOverLeastCommonDenominators) {
  for (std::size_t rep = 0; rep < nmp::test::reps(120); ++rep) {
    const std::uint64_t x = rep % 8 == 0 ? (std::uint64_t{1} << 47) - 1 - rng_.below(9)
                                         : 2 + rng_.size(std::size_t{1} << (rep % 3 ? 14 : 30)) - 1;
    const std::uint64_t a = rep < 16 ? rep : rng_.below(std::uint64_t{1} << (rep % 2 ? 12 : 27));
    const double words = static_cast<double>(a + 64) * std::log2(static_cast<double>(x)) / 16;
    const auto series =
        ArcCothAdd_Taylor_BigFloatR(3, x).series(static_cast<std::size_t>(words) + 1);
    const std::uint64_t n = 1 + rng_.below(series->leaf_terms(true)), b = a + n;
    SCOPED_TRACE(std::to_string(x) + ": " + std::to_string(a) + " to " + std::to_string(b));
    const bool drops = rep % 5 != 0;
    Natural P, Q{1}, R{1}, least{1};  // the sum with nothing dropped; the least denominator
    std::vector<std::uint64_t> odd;
    Residues whole{0, 1, 1};
    for (std::uint64_t k = a + 1; k <= b; ++k) {
      const std::uint64_t u = 2 * k + 1;
      const Natural factor = multiply(natural(u), multiply(natural(x), natural(x)));
      P = nmp::test::add(multiply(P, factor), R);
      Q = multiply(Q, factor);
      R = multiply(R, natural(u));
      least = multiply(least, natural(share(odd, u)));
      odd.push_back(u);
      const Residues term = series->residues(k);
      whole = {h::add(h::multiply(whole.P, term.Q), h::multiply(whole.R, term.P)),
               h::multiply(whole.Q, term.Q), h::multiply(whole.R, term.R)};
    }
    Leaf leaf;
    series->leaf(a, b, drops, leaf);
    ASSERT_EQ(natural(leaf.R), drops ? least : R);
    // What is dropped cancels.
    ASSERT_EQ(multiply(natural(leaf.P), Q), multiply(natural(leaf.Q), P));
    ASSERT_EQ(multiply(natural(leaf.R), Q), multiply(natural(leaf.Q), R));
    const RangeBits bound = series->range_bits(a, b);
    for (const auto& [kept, full, expected, most] : {std::tuple(leaf.P, P, whole.P, bound.P),
                                                     {leaf.Q, Q, whole.Q, bound.Q},
                                                     {leaf.R, R, whole.R, bound.R}}) {
      ASSERT_EQ(residue(full), expected);
      ASSERT_EQ(h::multiply(residue(natural(kept)), leaf.dropped), expected);
      ASSERT_LE(bits(natural(kept)), most);
    }
  }
}

}  // namespace
}  // namespace numforge::Formulas
