#include "constants/euler_gamma.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "arith/newton.h"
#include "constants/euler_gamma_c.h"
#include "constants/series_length.h"
#include "foundation/exceptions.h"
#include "foundation/format.h"
#include "series/brent_mcmillan_ab.h"
#include "series/common_p2b3.h"

namespace numforge::Formulas {
namespace {

using nmp::AlignedBufferC;
using nmp::BigFloat;
using nmp::carve_float;
using nmp::carved_bytes;
using nmp::newton_result_words;
using nmp::Word;
using SeriesAB = nmp::BinarySplitting::BrentMcMillanAB::PSR_SeriesS;
using SumC = nmp::BinarySplitting::CommonP2B3::PSR_SeriesS;

/// The least n for which d is that small, but for a margin.
double bound_for(std::uint64_t p, bool refined) {
  return static_cast<double>(p) * kNatsPerWord / (refined ? 8 : 4);
}
unsigned least_k(double n) {
  unsigned k = 1;
  while (std::ldexp(1.0, static_cast<int>(k)) < n) ++k;
  return k;
}

/// The least N for which the terms beyond are below e^-nats of B.
std::uint64_t terms_for(unsigned k, double nats) {
  const double n = std::ldexp(1.0, static_cast<int>(k));
  // The tail is at most n times its first term's size, times H_N.
  const double wanted = nats + 8 + std::log(n);
  const auto gained = [n](double terms) { return 2 * terms * (std::log(terms / n) - 1) + 2 * n; };
  std::uint64_t low = std::uint64_t{1} << k, high = 2 * low;
  while (gained(static_cast<double>(high)) < wanted) high *= 2;
  while (high - low > 1) {
    const std::uint64_t middle = low + (high - low) / 2;
    (gained(static_cast<double>(middle)) < wanted ? low : high) = middle;
  }
  return high + 5;
}

/// Everything that follows from k and the precision.
struct Shape {
  unsigned k;
  std::size_t q;        ///< words of A/B and log n
  std::size_t c_words;  ///< words of C/B^2; 0: too small to matter
  std::uint64_t terms, c_terms = 0;

  Shape(unsigned chosen_k, bool refined, std::size_t p)
      : k(chosen_k != 0 ? chosen_k : EulerGamma_BrentMcMillan_BigFloatR::k_for(p, refined)),
        q(p + 1),
        c_words(0) {
    check(p, refined);
    const double nats = static_cast<double>(q) * kNatsPerWord;
    terms = terms_for(k, nats);
    const double n = std::ldexp(1.0, static_cast<int>(k)), c_nats = nats - 4 * n;
    if (terms > SeriesAB::kMostTerms) refuse_large(p, refined);
    if (!refined || c_nats <= 0) return;
    c_words = static_cast<std::size_t>(c_nats / kNatsPerWord) + 2;
    c_terms = EulerGammaSeriesC::count_for(k, c_nats + 5);
  }

  SeriesAB series_ab(nmp::Context& context) const { return {context, {k, terms, q}}; }
  EulerGammaSeriesC series_c() const { return {k, c_terms, c_words}; }
  static std::unique_ptr<Formula> log_2() { return make_formula("log", 2, "machin-primary"); }

 private:
  static constexpr const char* kHere = "EulerGamma_BrentMcMillan_BigFloatR";

  /// d < 2^-8 units of the last word.
  static unsigned least_sufficient_k(std::size_t p, bool refined) {
    return least_k(bound_for(p, refined) + 2);
  }
  std::string name() const { return "n = 2^" + std::to_string(k); }
  void check(std::size_t p, bool refined) const {
    const unsigned least = least_sufficient_k(p, refined);
    if (k < least)
      throw nmp::InvalidParametersException(
          kHere, name() + " is too small for this many digits. The least k that suffices is " +
                     std::to_string(least) + ".");
    if (std::ldexp(1.0, static_cast<int>(k)) >= SeriesAB::kMostTerms) refuse_large(p, refined);
  }
  [[noreturn]] void refuse_large(std::size_t p, bool refined) const {
    throw nmp::InvalidParametersException(
        kHere, name() + " takes more than " + nmp::with_commas(SeriesAB::kMostTerms) +
                   " terms, which this program cannot sum. The least k that suffices is " +
                   std::to_string(least_sufficient_k(p, refined)) + ".");
  }
};

/// One run: the steps in turn, each in the scratch that its turn has.
class Run {
 public:
  Run(nmp::Context& context, const Shape& shape, nmp::Progress& progress)
      : context_(context), shape_(shape), progress_(progress) {}

  /// result = A/B; S/R = 1/B, where there is a series C.
  void divide_series(BigFloat& result, BigFloat& S, BigFloat& R, AlignedBufferC scratch) {
    const std::size_t q = shape_.q;
    progress_.stage("Series A and B");
    SeriesAB sum = shape_.series_ab(context_);
    SeriesAB::Results results{BigFloat(result.buffer, result.buffer_size),
                              carve_float(scratch, SeriesAB::result_words(q)), S, R};
    sum.run(results, shape_.c_words, progress_, scratch);
    S = results.S;
    R = results.R;
    divide(result, results.numerator, results.denominator, q, scratch);
  }

  /// result -= C/B^2.
  void refine(BigFloat& result, const BigFloat& S, const BigFloat& R, AlignedBufferC scratch) {
    const std::size_t c = shape_.c_words, words = newton_result_words(c);
    progress_.stage("Series C");
    progress_.step("Squaring...");
    BigFloat s2 = carve_float(scratch, words), r2 = carve_float(scratch, words);
    s2.set_sqr(context_, S, c, scratch);
    r2.set_sqr(context_, R, c, scratch);

    const EulerGammaSeriesC series = shape_.series_c();
    progress_.note("Series C...  " + nmp::with_commas(series.terms) + " terms");
    SumC sum(context_, series, c);
    BigFloat P = carve_float(scratch, sum.result_words());
    BigFloat Q = carve_float(scratch, sum.result_words());
    sum.run(P, Q, progress_, scratch);
    BigFloat x = carve_float(scratch, words), y = carve_float(scratch, words);
    progress_.step("Finishing: P + Q: ");
    x.set_add(context_, P, Q, c);
    progress_.step("Finishing: Q * 2^(k+2): ");
    y.set_BigFloat(Q, c);
    y.mp2(shape_.k + 2);
    BigFloat numerator = carve_float(scratch, words), denominator = carve_float(scratch, words);
    progress_.step("Finalizing: P * S: ");
    numerator.set_mul(context_, x, s2, c, scratch);
    progress_.step("Finalizing: Q * R: ");
    denominator.set_mul(context_, y, r2, c, scratch);
    divide(x, numerator, denominator, c, scratch);
    progress_.step("Substracting");
    BigFloat difference = carve_float(scratch, newton_result_words(shape_.q));
    difference.set_sub(context_, result, x, shape_.q);
    result.set_BigFloat(difference, shape_.q);
  }

  /// result -= k log 2.
  void subtract_log(BigFloat& result, std::size_t p, AlignedBufferC scratch) {
    const std::size_t q = shape_.q;
    const std::unique_ptr<Formula> formula = Shape::log_2();
    BigFloat log = carve_float(scratch, formula->result_words(context_, q));
    formula->compute(context_, log, q, progress_, scratch);
    progress_.stage("Subtraction");
    progress_.step("Substracting");
    BigFloat log_n = carve_float(scratch, newton_result_words(q));
    log_n.set_mul_uW(log, shape_.k, q);
    log.set_sub(context_, result, log_n, q);
    result.set_BigFloat(log, p);
  }

  static std::size_t scratch_bytes(nmp::Context& context, const Shape& shape) {
    const std::size_t q = shape.q, number = carved_bytes<Word>(newton_result_words(q));
    const std::unique_ptr<Formula> log = Shape::log_2();
    const std::size_t dividing = number + nmp::quotient_scratch(context, q);
    std::size_t most = carved_bytes<Word>(SeriesAB::result_words(q)) +
                       std::max(shape.series_ab(context).scratch_bytes(), dividing);
    most = std::max(most, carved_bytes<Word>(log->result_words(context, q)) +
                              std::max(log->scratch_bytes(context, q), number));
    if (shape.c_words == 0) return most;
    const std::size_t c = shape.c_words, short_number = carved_bytes<Word>(newton_result_words(c));
    const EulerGammaSeriesC series = shape.series_c();
    const SumC sum(context, series, c);
    const std::size_t product = BigFloat::mul_scratch(context, c);
    const std::size_t finishing =
        4 * short_number +
        std::max({product, short_number + nmp::quotient_scratch(context, c), number});
    const std::size_t summing =
        2 * carved_bytes<Word>(sum.result_words()) + std::max(sum.scratch_bytes(), finishing);
    return 2 * carved_bytes<Word>(SeriesAB::result_words(c)) +
           std::max(most, 2 * short_number + std::max(product, summing));
  }

 private:
  /// result = a / b at precision p; a may lie in the result's buffer.
  void divide(BigFloat& result, const BigFloat& a, const BigFloat& b, std::size_t p,
              AlignedBufferC scratch) {
    progress_.stage("Division");
    progress_.step("Division...  ");
    BigFloat quotient = carve_float(scratch, newton_result_words(p));
    nmp::set_quotient(context_, quotient, a, b, p, scratch);
    result.set_BigFloat(quotient, p);
  }

  nmp::Context& context_;
  const Shape& shape_;
  nmp::Progress& progress_;
};

}  // namespace

unsigned EulerGamma_BrentMcMillan_BigFloatR::k_for(std::uint64_t p, bool refined) {
  return std::max(2u, least_k(bound_for(p, refined) + 10));
}

std::size_t EulerGamma_BrentMcMillan_BigFloatR::result_words(nmp::Context&, std::size_t p) const {
  const Shape shape(k_, refined_, p);
  return std::max(newton_result_words(shape.q), SeriesAB::result_words(shape.q));
}

std::size_t EulerGamma_BrentMcMillan_BigFloatR::scratch_bytes(nmp::Context& context,
                                                              std::size_t p) const {
  return Run::scratch_bytes(context, Shape(k_, refined_, p));
}

void EulerGamma_BrentMcMillan_BigFloatR::compute(nmp::Context& context, BigFloat& result,
                                                 std::size_t p, nmp::Progress& progress,
                                                 AlignedBufferC scratch) const {
  const Shape shape(k_, refined_, p);
  Run run(context, shape, progress);
  BigFloat S, R;
  const std::size_t words = shape.c_words != 0 ? SeriesAB::result_words(shape.c_words) : 0;
  for (BigFloat* x : {&S, &R}) *x = carve_float(scratch, words);
  run.divide_series(result, S, R, scratch);
  if (shape.c_words != 0) run.refine(result, S, R, scratch);
  run.subtract_log(result, p, scratch);
}

}  // namespace numforge::Formulas
