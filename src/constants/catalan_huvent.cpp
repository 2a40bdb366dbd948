// 384 G = the sum over k = 0, 1, ... of (-1/64)^k t(k),
//   t(k) = 576/(12k+1)^2 - 144/(6k+1)^2 - 64/(4k+1)^2 - 144/(12k+5)^2 - 8/(2k+1)^2
//          - 72/(12k+7)^2 - 8/(4k+3)^2 - 9/(6k+5)^2 + 18/(12k+11)^2
//        = p(k) / q(k),   q(k) = [(12k+1)(6k+1)(4k+1)(12k+5)(2k+1)(12k+7)(4k+3)(6k+5)(12k+11)]^2.
//
// |t(k)| falls from t(0) < 352 like 8.2 / k^2, so that three terms more than nats / ln 64 leave
// less than 64^-3 of the last place. Source: G. Huvent, 2006 [Huvent2006]; by partial fractions of
// degree 2, each equal to the sum above.
#include "constants/catalan_huvent.h"

#include <array>
#include <cmath>
#include <span>

#include "arith/hash61.h"
#include "constants/quotient_finish.h"
#include "constants/series_length.h"
#include "series/binary_bbp.h"

namespace numforge::Formulas {
namespace {

using nmp::BasicInt;
using nmp::BinarySplitting::log2_product;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::BinarySplitting::Term;
using nmp::BinarySplitting::BinaryBBP::BinaryBBPSeries;

/// alpha k + beta, the root of a factor of q, and c / (alpha k + beta)^2 in t.
struct Fraction {
  std::uint32_t alpha, beta;
  std::int64_t c;
};
constexpr Fraction kFractions[] = {{12, 1, 576},  {6, 1, -144}, {4, 1, -64},
                                   {12, 5, -144}, {2, 1, -8},   {12, 7, -72},
                                   {4, 3, -8},    {6, 5, -9},   {12, 11, 18}};

/// p = p_positive - k^4 p_negative, coefficients from the highest power down.
constexpr std::array<std::uint64_t, 13> kNegative = {
    4636372233093120,   37721048963088384,  140614334152704000, 318025249742389248,
    486920573914447872, 532937589964406784, 428868733241327616, 256653109156773888,
    113872382317283328, 36670081182465024,  8098743309464448,   1029713994232704,
    5572409156528};
constexpr std::array<std::uint64_t, 4> kPositive = {24153149527360, 4419704161120, 360406957080,
                                                    11728430425};

/// value = the polynomial at k > 0, by Horner's rule.
void evaluate(BasicInt& value, std::span<const std::uint64_t> coefficients, std::uint64_t k) {
  nmp::Word words[2];
  BasicInt coefficient(words, 2);
  value.set_u64(coefficients[0]);
  for (const std::uint64_t c : coefficients.subspan(1)) {
    value.mul_u64(k);
    coefficient.set_u64(c);
    value += coefficient;
  }
}

/// P = |p(k)|, which is positive for k = 0 only, and Q = q(k).
void Catalan_Huvent_BSR_End(Term& term, std::uint64_t k) {
  term.P_positive = k == 0;
  if (k == 0) {
    term.P.set_u64(kPositive.back());
  } else {
    nmp::Word words[16];
    BasicInt positive(words, 16);
    evaluate(positive, kPositive, k);
    evaluate(term.P, kNegative, k);
    for (int i = 0; i < 4; ++i) term.P.mul_u64(k);
    term.P -= positive;
  }
  term.Q.set_u64(1);
  for (const Fraction& f : kFractions) {
    const std::uint64_t root = f.alpha * k + f.beta;
    term.Q.mul_u64(root);
    term.Q.mul_u64(root);
  }
}

class SeriesCatalanHuvent : public BinaryBBPSeries {
 public:
  explicit SeriesCatalanHuvent(std::size_t p) : BinaryBBPSeries({6, true}) {
    terms = linear_series_terms(std::log(64.0), p);
    coefD = 384;
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(p) * nmp::kWordBits);
  }

  // The engine's term k is that of k - 1.
  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    double q = 0;
    for (const Fraction& f : kFractions)
      q += 2 * log2_product(f.alpha, static_cast<double>(f.beta) - f.alpha, a, b);
    // |t| < 2^9; a word for the exponent, and one to spare for the words where sums are formed.
    return {q + 6 * static_cast<double>(b - a) + 9 + 64, q, 0};
  }
  void end_case_1(std::uint64_t k, Term& term) const override {
    Catalan_Huvent_BSR_End(term, k - 1);
  }

 private:
  /// P by the nine fractions: nothing of p's coefficients.
  Residues fraction_residues(std::uint64_t k) const override {
    using namespace nmp::hash61;
    std::uint64_t p = 0, q = 1;
    for (const Fraction& f : kFractions) {
      const std::uint64_t root = fold(f.alpha * (k - 1) + f.beta), square = multiply(root, root);
      const auto c = static_cast<std::uint64_t>(f.c < 0 ? -f.c : f.c);
      const std::uint64_t summand = multiply(c, q);
      p = add(multiply(p, square), f.c < 0 ? negate(summand) : summand);
      q = multiply(q, square);
    }
    return {p, q, 1};
  }
};

class Catalan_Huvent_BigFloatR : public Formula {
 public:
  std::size_t result_words(nmp::Context& context, std::size_t p) const override {
    return QuotientFinish{SeriesCatalanHuvent(series_precision(p))}.result_words(context, p);
  }
  std::size_t scratch_bytes(nmp::Context& context, std::size_t p) const override {
    return QuotientFinish{SeriesCatalanHuvent(series_precision(p))}.scratch_bytes(context, p);
  }
  void compute(nmp::Context& context, nmp::BigFloat& result, std::size_t p, nmp::Progress& progress,
               nmp::AlignedBufferC scratch) const override {
    QuotientFinish{SeriesCatalanHuvent(series_precision(p))}.compute(context, result, p, progress,
                                                                     scratch);
  }
};

}  // namespace

std::unique_ptr<Formula> make_catalan_huvent() {
  return std::make_unique<Catalan_Huvent_BigFloatR>();
}

}  // namespace numforge::Formulas
