#include "constants/series_sum.h"

#include <gtest/gtest.h>

#include <cmath>

#include "constants/arccoth_taylor.h"
#include "foundation/progress.h"
#include "support/arithmetic.h"
#include "support/threads.h"

namespace numforge::Formulas {
namespace {

using nmp::test::FencedScratch;
using nmp::test::OwnedFloat;

using Summand = std::pair<std::int64_t, std::uint64_t>;  ///< c and x of c arccoth(x)

class SeriesSumTest : public nmp::test::ArithmeticTest {
 protected:
  /// The sum of c arccoth(x), of which the whole is `value`.
  static SeriesSum sum_of(const std::vector<Summand>& summands, double value, std::size_t p) {
    SeriesSum sum;
    double magnitudes = 0;
    for (const auto& [c, x] : summands) magnitudes += ArcCothAdd_Taylor_BigFloatR(c, x).magnitude();
    sum.cancellation = magnitudes / value;
    const std::size_t words = SeriesSum::series_words(p, summands.size(), sum.cancellation);
    for (const auto& [c, x] : summands)
      sum.series.push_back(ArcCothAdd_Taylor_BigFloatR(c, x).series(words));
    return sum;
  }
  OwnedFloat compute(nmp::Context& context, const SeriesSum& sum, std::size_t p) {
    OwnedFloat result(sum.result_words(context, p));
    FencedScratch scratch(sum.scratch_bytes(context, p));
    sum.compute(context, result, p, progress_, scratch.buffer());
    return result;
  }

  nmp::NoProgress progress_;
};

TEST_F(SeriesSumTest, KeepsItsPrecisionWhateverCancels) {
  for (std::size_t rep = 0; rep < nmp::test::reps(20); ++rep) {
    const std::size_t p = rng_.size(300);
    // arccoth(10) = arccoth(19) + arccoth(21)
    const std::int64_t c = std::int64_t{1} << (rep % 2 == 0 ? rng_.below(60) : 59);
    const OwnedFloat plain = compute(context_, sum_of({{2, 3}}, std::log(2), p), p);
    const OwnedFloat sum =
        compute(context_, sum_of({{c, 10}, {2, 3}, {-c, 19}, {-c, 21}}, std::log(2), p), p);
    OwnedFloat difference(p + 8);
    difference.set_sub(context_, plain, sum, p);
    std::int64_t exponent = 0;
    const double d = std::abs(difference.to_double(&exponent));
    ASSERT_LT(std::ldexp(d, static_cast<int>(32 * (exponent + static_cast<std::int64_t>(p)))),
              std::log(2))
        << c << ", " << p << " words";
  }
}

TEST_F(SeriesSumTest, OneAfterTheOtherOrAtOnceGivesTheSameWords) {
  const std::vector<Summand> summands = {{144, 251}, {54, 449}, {-38, 4801}, {62, 8749}};
  for (const std::size_t p : {std::size_t{3}, std::size_t{700}, 2 * SeriesSum::kWordsPerThread,
                              2 * SeriesSum::kWordsPerThread + 1}) {
    const SeriesSum sum = sum_of(summands, std::log(2), p);
    const OwnedFloat serial = compute(context_, sum, p);
    for (const unsigned count : {2u, 3u, 8u}) {
      nmp::test::Threads threads(count);
      nmp::Context context{threads, context_.products};
      const OwnedFloat parallel = compute(context, sum, p);
      ASSERT_EQ(parallel.exp, serial.exp) << p << " words, " << count << " threads";
      ASSERT_EQ(std::vector(parallel.T, parallel.T + parallel.L),
                std::vector(serial.T, serial.T + serial.L))
          << p << " words, " << count << " threads";
    }
  }
}

}  // namespace
}  // namespace numforge::Formulas
