#include "series/binary_bbp.h"

#include <bit>
#include <cstddef>

#include "arith/hash61.h"
#include "arith/multiply/basecase/word_multiply.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp::BinarySplitting::BinaryBBP {
namespace {

constexpr std::size_t kWords = 2 * Leaf::kLimbs;

/// A magnitude with room for any product in a leaf.
class Product {
 public:
  void set(const Word* x, std::size_t length) {
    length_ = length;
    words::copy(words_, x, length);
  }
  void set(const Product& x) { set(x.words_, x.length_); }
  /// this = a * b; overlaps neither.
  void set_mul(const Product& a, const Product& b) {
    const std::size_t n = a.length_ + b.length_;
    need_words(n);
    alignas(kBufferAlignment) std::byte work[32 * kWords];
    WordMultiply::native().multiply(words_, a.words_, a.length_, b.words_, b.length_,
                                    AlignedBufferC(work, sizeof work));
    length_ = words::stripped_length(words_, n);
  }
  /// this *= 2^bits.
  void shift(std::uint64_t bits) {
    const auto whole = static_cast<std::size_t>(bits / kWordBits);
    need_words(length_ + whole + 1);
    words_[length_] =
        words::lshift(words_, words_, length_, static_cast<unsigned>(bits % kWordBits));
    length_ += words_[length_] != 0;
    if (whole == 0) return;
    words::copy(words_ + whole, words_, length_);
    words::zero(words_, whole);
    length_ += whole;
  }
  /// this = |this +- x|, where this is the larger.
  void accumulate(const Product& x, bool add) {
    const std::size_t rest = length_ - x.length_;
    Word* const above = words_ + x.length_;
    const Word carry = add ? words::add_n(words_, words_, x.words_, x.length_)
                           : words::sub_n(words_, words_, x.words_, x.length_);
    if (carry == 0) return;
    if (!add)
      words::decrement(above, rest);
    else if (words::increment(above, rest) != 0)
      words_[length_++] = 1;
  }
  void copy_to(Leaf::Number& number) {
    length_ = words::stripped_length(words_, length_);
    words_[length_] = 0;
    number.length = (length_ + 1) / 2;
    for (std::size_t i = 0; i < number.length; ++i) number.limbs[i] = load_limb(words_ + 2 * i);
  }

 private:
  /// A sum may carry into one word more, and a limb's upper half be another.
  static void need_words(std::size_t n) {
    if (n + 2 > kWords) throw BufferTooSmallException("BinaryBBP::leaf()", kWords, n + 2);
  }

  Word words_[kWords];
  std::size_t length_ = 0;
};

struct Fraction {
  Product P, Q;
  bool P_positive;
};

/// The terms a+1..b; P is too large by 2^(bits (b - a - 1)).
void sum_terms(const BinaryBBPSeries& series, std::uint64_t a, std::uint64_t b, Fraction& sum) {
  if (b - a == 1) {
    Term term;
    series.end_case_1(b, term);
    sum.P.set(term.P.T, term.P.L);
    sum.Q.set(term.Q.T, term.Q.L);
    sum.P_positive = term.P_positive;
    return;
  }
  const std::uint64_t m = a + std::bit_floor(b - a - 1);
  const BinaryScale scale = series.scale();
  Fraction right;
  sum_terms(series, a, m, sum);
  sum_terms(series, m, b, right);
  if (scale.alternating && (m - a) % 2 != 0) right.P_positive = !right.P_positive;
  Product product;
  product.set_mul(sum.P, right.Q);
  product.shift(scale.bits * (b - m));
  sum.P.set_mul(sum.Q, right.P);
  product.accumulate(sum.P, sum.P_positive == right.P_positive);
  sum.P.set(product);
  product.set_mul(sum.Q, right.Q);
  sum.Q.set(product);
}

}  // namespace

BinaryBBPSeries::BinaryBBPSeries(BinaryScale scale) : scale_(scale) {
  family = Family::kBinaryBBP;
  cut_unit = scale.bits % 2 == 0 ? 16 : 32;
}

void BinaryBBPSeries::leaf(std::uint64_t a, std::uint64_t b, bool, Leaf& leaf) const {
  Fraction sum;
  sum_terms(*this, a, b, sum);
  const std::uint64_t excess = scale_.bits * (b - a - 1);
  const std::uint64_t words = (excess + kWordBits - 1) / kWordBits;
  sum.P.shift(words * kWordBits - excess);
  sum.P.copy_to(leaf.P);
  sum.Q.copy_to(leaf.Q);
  leaf.P_positive = sum.P_positive;
  leaf.P_exp = -static_cast<std::int64_t>(words);
  leaf.R.length = 0;
  leaf.dropped = 1;
}

Residues BinaryBBPSeries::residues(std::uint64_t k) const {
  using namespace hash61;
  const Residues term = fraction_residues(k);
  const std::uint64_t ratio = multiply(term.Q, std::uint64_t{1} << (61 - scale_.bits));
  return {term.P, term.Q, scale_.alternating ? negate(ratio) : ratio};
}

void lend_ratio(CommonP2B3::Range& left, const CommonP2B3::Range& right, const BinaryScale& scale,
                std::uint64_t terms, std::size_t kept) {
  const auto down = static_cast<std::int64_t>(scale.bits * terms / kWordBits);
  left.R = left.Q;
  left.R.exp -= down;
  left.R.hash = hash61::multiply(left.R.hash, hash61::word_weight(-down));
  if (scale.alternating && terms % 2 != 0) left.R.negate();

  const std::int64_t lower = left.P.exp + right.Q.exp - (left.R.exp + right.P.exp);
  if (lower <= 0 || std::size_t{left.P.L} + right.Q.L > kept) return;
  ExactFloat& P = left.P;
  const auto zeros = static_cast<std::uint32_t>(lower);
  if (P.buffer_size < P.L + std::uint64_t{zeros})
    throw BufferTooSmallException("BinaryBBP::lend_ratio()", P.buffer_size,
                                  P.L + std::uint64_t{zeros});
  words::copy(P.buffer + zeros, P.T, P.L);
  words::zero(P.buffer, zeros);
  P.T = P.buffer;
  P.L += zeros;
  P.exp -= lower;
}

}  // namespace nmp::BinarySplitting::BinaryBBP
