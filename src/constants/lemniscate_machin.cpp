// c arcsinlemn(x/y) = c x y^3 P/Q with
//   P(k) = 2k    Q(k) = 2 y^4 k (4k-3)    R(k) = x^4 (2k-1) (4k-3)
//
// arcsinlemn(z) is the integral of 1/sqrt(1 - t^4) from 0 to z, z times the sum over n = 0, 1, ...
// of binomial(2n choose n) 4^-n z^(4n) / (4n+1); the term of n = k-1 is y^4 P(k)/Q(k) times the
// product of R/Q up to k-1, in which the 4k-3 cancel. The terms after N add up to less than z^(4N)
// / (1 - z^4) of the first one, and z <= 2/3: three terms more than nats / (4 ln(1/z)) leave 1/60
// of the last place.
#include "constants/lemniscate_machin.h"

#include <cmath>
#include <memory>
#include <string>

#include "constants/series_length.h"
#include "series/polynomial_series.h"

namespace numforge::Formulas {
namespace {

using nmp::BinarySplitting::PolynomialSeries;
using nmp::BinarySplitting::PolynomialTerms;
using Summand = Lemniscate_Machin_BigFloatR::Summand;

PolynomialTerms ArcSinlemn_BSR_End1(std::uint64_t x, std::uint64_t y) {
  return {{2 * y * y * y * y, {{{1, 0}, {4, 3}}}}, {x * x * x * x, {{{2, 1}, {4, 3}}}}, {0, 2}};
}

struct OwnedTerms {
  PolynomialTerms shape;
};

class SeriesArcSinlemn : private OwnedTerms, public PolynomialSeries {
 public:
  SeriesArcSinlemn(const Summand& summand, std::size_t words)
      : OwnedTerms{ArcSinlemn_BSR_End1(summand.x, summand.y)},
        PolynomialSeries(shape, terms_for(summand, words)) {
    coefP = summand.c * static_cast<std::int64_t>(summand.x * summand.y * summand.y * summand.y);
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(words) * nmp::kWordBits);
  }

 private:
  static std::uint64_t terms_for(const Summand& summand, std::size_t words) {
    const double ratio = static_cast<double>(summand.y) / static_cast<double>(summand.x);
    return linear_series_terms(4 * std::log(ratio), words);
  }
};

/// Of both formulas; V = 8 arcsinlemn(2/3) + 4 arcsinlemn(7/137) is 1.08 times the constant.
constexpr double kCancellation = 1.1;

}  // namespace

SeriesSum Lemniscate_Machin_BigFloatR::sum(std::size_t p) const {
  const std::size_t words = SeriesSum::series_words(p, summands_.size(), kCancellation);
  SeriesSum sum;
  sum.cancellation = kCancellation;
  for (const Summand& summand : summands_) {
    sum.series.push_back(std::make_unique<SeriesArcSinlemn>(summand, words));
    sum.names.push_back("ArcSinlemn(" + std::to_string(summand.x) + "/" +
                        std::to_string(summand.y) + ")");
  }
  return sum;
}

std::size_t Lemniscate_Machin_BigFloatR::result_words(nmp::Context& context, std::size_t p) const {
  return sum(p).result_words(context, p);
}

std::size_t Lemniscate_Machin_BigFloatR::scratch_bytes(nmp::Context& context, std::size_t p) const {
  return sum(p).scratch_bytes(context, p);
}

void Lemniscate_Machin_BigFloatR::compute(nmp::Context& context, nmp::BigFloat& result,
                                          std::size_t p, nmp::Progress& progress,
                                          nmp::AlignedBufferC scratch) const {
  sum(p).compute(context, result, p, progress, scratch);
}

}  // namespace numforge::Formulas
