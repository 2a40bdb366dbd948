// What the digits do not show: the reciprocal, and who refuses it.
#include "constants/lemniscate.h"

#include <gtest/gtest.h>

#include "foundation/progress.h"
#include "support/arithmetic.h"
#include "support/faults.h"

namespace numforge::Formulas {
namespace {

using nmp::InvalidParametersException;
using nmp::test::expect_fault;
using nmp::test::FencedScratch;
using nmp::test::OwnedFloat;

class Lemniscate : public nmp::test::ArithmeticTest {
 protected:
  OwnedFloat compute(int power, std::size_t p) {
    const auto formula = make_lemniscate("agm-pi", power);
    OwnedFloat number(formula->result_words(context_, p));
    const FencedScratch scratch(formula->scratch_bytes(context_, p));
    nmp::NoProgress progress;
    formula->compute(context_, number, p, progress, scratch.buffer());
    return number;
  }
};

TEST_F(Lemniscate, ReciprocalTimesConstantIsOne) {
  for (const std::size_t p : {1u, 2u, 3u, 10u, 333u}) {
    OwnedFloat product(2 * p + 8), difference(p + 8);
    const FencedScratch scratch(nmp::BigFloat::mul_scratch(context_, p));
    product.set_mul(context_, compute(1, p), compute(-1, p), p, scratch.buffer());
    const OwnedFloat one({1}, 0);
    difference.set_sub(context_, product, one, p);
    // Each factor is off by less than 2^(-32 p) of itself.
    const std::int64_t lowest = -static_cast<std::int64_t>(p);
    EXPECT_LE(difference.mag(), lowest + 1) << p << " words";
    if (difference.mag() == lowest + 1) {
      EXPECT_LE(difference.T[difference.L - 1], 3u) << p << " words";
    }
  }
}

TEST_F(Lemniscate, Refusals) {
  for (const char* algorithm : {"agm-pi", "gauss", "sebah"})
    for (const int power : {0, 2, -2})
      expect_fault<InvalidParametersException>("make_lemniscate()", "Power must be 1 or -1.",
                                               [&] { make_lemniscate(algorithm, power); });
  for (const std::string algorithm : {"gauss", "sebah"})
    expect_fault<InvalidParametersException>(
        "make_lemniscate()", "(Power = -1) is not supported for (Algorithm = " + algorithm + ").",
        [&] { make_lemniscate(algorithm, -1); });
}

}  // namespace
}  // namespace numforge::Formulas
