// c arccoth(x) = c (P + Q) / (x Q) with
//   P(k) = 1    R(k) = 2k+1    Q(k) = (2k+1) x^2
//
// The product of R/Q up to term k is x^(-2k). The terms after N add up to less than
// x^(-2 (N + 1)) / ((2N + 3) (1 - x^-2)) < x^(-2 (N + 1)), while P/Q + 1 > 1: so N + 1 >= nats /
// (2 ln x) terms are enough.
//
// R of a range is a common denominator of its 1/(2k+1). Factors that R and Q of adjacent ranges
// share are dropped, so that it is their least one.
#include "constants/arccoth_taylor.h"

#include <array>
#include <cmath>

#include "arith/hash61.h"
#include "arith/word_ops.h"
#include "constants/series_length.h"
#include "series/exact_division.h"

namespace numforge::Formulas {
namespace {

namespace words = nmp::words;
using nmp::Word;
using nmp::BinarySplitting::CommonFactors;
using nmp::BinarySplitting::Leaf;
using nmp::BinarySplitting::log2_product;
using nmp::BinarySplitting::RangeBits;
using nmp::BinarySplitting::Residues;
using nmp::BinarySplitting::Series;

/// Terms of a leaf: the length at which a merge of two becomes cheaper.
constexpr std::uint64_t kLeafTerms = 32;

/// A number that grows in place.
struct Growing {
  std::array<Word, 2 * Leaf::kLimbs> T;
  std::size_t L = 0;

  void set_u64(std::uint64_t x) {
    nmp::store_limb(T.data(), x);
    L = words::stripped_length(T.data(), 2);
  }
  void multiply(std::uint64_t factor) {
    nmp::store_limb(T.data() + L, words::mul_2(T.data(), T.data(), L, factor));
    L = words::stripped_length(T.data(), L + 2);
  }
  void divide(Word odd) {
    nmp::divide_exact(T.data(), L, &odd, 1);
    L = words::stripped_length(T.data(), L);
  }
  /// this += x, which is no longer.
  void add(const Growing& x) {
    const Word carry = words::add_n(T.data(), T.data(), x.T.data(), x.L);
    const Word out = words::add_1(T.data() + x.L, T.data() + x.L, L - x.L, carry);
    if (out != 0) T[L++] = out;
  }
};

/// What each term of a leaf has in common with the terms before it: of each odd prime power that
/// divides its 2k+1 and that of an earlier one, the prime.
void find_shared(std::uint64_t a, std::uint64_t n, std::array<Word, kLeafTerms>& shared) {
  struct Power {
    Word p;
    std::uint32_t q;
  };
  static constexpr Power kPowers[] = {{3, 3},   {5, 5},   {7, 7},   {3, 9},   {11, 11},
                                      {13, 13}, {17, 17}, {19, 19}, {23, 23}, {5, 25},
                                      {3, 27},  {29, 29}, {31, 31}};
  static_assert(kLeafTerms <= 32, "two multiples of a longer period would fit");
  shared.fill(1);
  for (const Power& power : kPowers) {
    // 2k+1 is a multiple of q where k + q/2 + 1 is.
    const auto past = static_cast<std::uint64_t>((a + power.q / 2 + 1) % power.q);
    for (std::uint64_t at = 2 * power.q - past; at <= n; at += power.q) shared[at - 1] *= power.p;
  }
}

/// The running sum of a leaf: P over D y^n, where D is the least common multiple of the 2k+1.
struct ArcCothSum {
  Growing P, D, part;
};

/// The first two terms, k and k + 1: 1/(2k+1) + 1/((2k+3) y) over y = x^2.
void ArcCoth_BSR_End_PQR2(ArcCothSum& sum, std::uint64_t x, std::uint64_t k) {
  sum.P.set_u64(2 * k + 3);
  sum.P.multiply(x);
  sum.P.multiply(x);
  sum.part.set_u64(2 * k + 1);
  sum.P.add(sum.part);
  sum.D.set_u64(2 * k + 1);
  sum.D.multiply(2 * k + 3);
}

/// D / (2k+1) for the next term, which is as yet D / shared.
void add_part(ArcCothSum& sum, Word shared) {
  if (shared == 1) return sum.P.add(sum.D);
  sum.part = sum.D;
  sum.part.divide(shared);
  sum.P.add(sum.part);
}

/// One term more, whose `rest` = (2k+1) / shared. Small: rest x^2 is below 2^64.
void ArcCoth_BSR_End_small(ArcCothSum& sum, std::uint64_t x, std::uint64_t rest, Word shared) {
  sum.P.multiply(rest * x * x);
  add_part(sum, shared);
  sum.D.multiply(rest);
}
void ArcCoth_BSR_End_large(ArcCothSum& sum, std::uint64_t x, std::uint64_t rest, Word shared) {
  for (const std::uint64_t factor : {x, x, rest}) sum.P.multiply(factor);
  add_part(sum, shared);
  sum.D.multiply(rest);
}

void set_number(Leaf::Number& number, Growing& x) {
  x.T[x.L] = 0;
  number.length = (x.L + 1) / 2;
  for (std::size_t i = 0; i < number.length; ++i)
    number.limbs[i] = nmp::load_limb(x.T.data() + 2 * i);
}

class SeriesArcCoth : public Series {
 public:
  SeriesArcCoth(std::int64_t c, std::uint64_t x, std::size_t words)
      : x_(x), log2_x_(std::log2(static_cast<double>(x))) {
    terms = linear_series_terms(2 * std::log(static_cast<double>(x)), words);
    coefP = coefQ = c;
    coefD = x;
    expansion_factor = range_bits(0, terms).Q / (static_cast<double>(words) * nmp::kWordBits);
    is_small_ = 2 * log2_x_ + std::log2(static_cast<double>(2 * terms + 1)) < 63;
    power_.set_u64(1);
    for (std::uint64_t i = 0; i < 2 * kLeafTerms; ++i) power_.multiply(x);
  }

  RangeBits range_bits(std::uint64_t a, std::uint64_t b) const override {
    const double r = log2_product(2, 1, a, b);
    const double q = r + 2 * static_cast<double>(b - a) * log2_x_;
    // P/Q is at most its first term over 1 - x^-2 >= 3/4.
    return {q - 2 * log2_x_ - std::log2(static_cast<double>(2 * a + 3)) + 1, q, r};
  }
  double gained_bits(std::uint64_t a) const override {
    return nmp::BinarySplitting::linear_gain(2 * log2_x_, a);
  }
  const CommonFactors* factors() const override {
    static const CommonFactors odd = CommonFactors::of_odd_numbers();
    return &odd;
  }
  std::uint64_t leaf_terms(bool) const override { return kLeafTerms; }
  void leaf(std::uint64_t a, std::uint64_t b, bool drops, Leaf& leaf) const override;
  Residues residues(std::uint64_t k) const override {
    using namespace nmp::hash61;
    const std::uint64_t r = fold(2 * k + 1), x = fold(x_);
    return {1, multiply(r, multiply(x, x)), r};
  }

 private:
  /// x^(2n) for a leaf of n terms.
  void set_power(Growing& power, std::uint64_t n) const {
    if (n == kLeafTerms) {
      power = power_;
      return;
    }
    power.set_u64(1);
    for (std::uint64_t i = 0; i < 2 * n; ++i) power.multiply(x_);
  }

  std::uint64_t x_;
  double log2_x_;
  bool is_small_;
  Growing power_;  ///< x^2 to the terms of a leaf
};

void SeriesArcCoth::leaf(std::uint64_t a, std::uint64_t b, bool drops, Leaf& leaf) const {
  const std::uint64_t n = b - a;
  std::array<Word, kLeafTerms> shared;
  drops ? find_shared(a, n, shared) : shared.fill(1);
  ArcCothSum sum;
  if (n == 1) {
    sum.P.set_u64(1);
    sum.D.set_u64(2 * b + 1);
  } else {
    ArcCoth_BSR_End_PQR2(sum, x_, a + 1);
  }
  leaf.dropped = 1;
  for (std::uint64_t i = 2; i < n; ++i) {
    const std::uint64_t rest = (2 * (a + i) + 3) / shared[i];
    (is_small_ ? ArcCoth_BSR_End_small : ArcCoth_BSR_End_large)(sum, x_, rest, shared[i]);
    if (shared[i] != 1) leaf.dropped = nmp::hash61::multiply(leaf.dropped, shared[i]);
  }
  Growing power, Q;
  set_power(power, n);
  const bool longer = sum.D.L >= power.L;
  const Growing &u = longer ? sum.D : power, &v = longer ? power : sum.D;
  words::mul_schoolbook(Q.T.data(), u.T.data(), u.L, v.T.data(), v.L);
  Q.L = u.L + v.L;
  set_number(leaf.P, sum.P);
  set_number(leaf.Q, Q);
  set_number(leaf.R, sum.D);
  leaf.P_positive = leaf.R_positive = true;
}

}  // namespace

double ArcCothAdd_Taylor_BigFloatR::magnitude() const {
  return std::abs(static_cast<double>(c_)) * std::atanh(1 / static_cast<double>(x_));
}

std::unique_ptr<const Series> ArcCothAdd_Taylor_BigFloatR::series(std::size_t words) const {
  return std::make_unique<SeriesArcCoth>(c_, x_, words);
}

}  // namespace numforge::Formulas
