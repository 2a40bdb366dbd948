#include "series/binary_bbp.h"

#include <algorithm>
#include <utility>

#include "arith/hash61.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp::BinarySplitting::BinaryBBP {
namespace {

constexpr std::size_t kWords = 2 * Leaf::kLimbs;

/// A magnitude, and room for a product beside it.
class Product {
 public:
  void set(const BasicInt& x) {
    length_ = x.L;
    words::copy(words_, x.T, x.L);
  }
  /// this = a * b.
  void set_mul(const Product& a, const BasicInt& b) {
    const std::size_t n = a.length_ + b.L;
    if (n + 2 > kWords) throw BufferTooSmallException("BinaryBBP::leaf()", kWords, n + 2);
    const bool a_longer = a.length_ >= b.L;
    words::mul_schoolbook(words_, a_longer ? a.words_ : b.T, std::max<std::size_t>(a.length_, b.L),
                          a_longer ? b.T : a.words_, std::min<std::size_t>(a.length_, b.L));
    length_ = words::stripped_length(words_, n);
  }
  void shift(unsigned bits) {
    if (bits == 0) return;
    words_[length_] = words::lshift(words_, words_, length_, bits);
    length_ += words_[length_] != 0;
  }
  /// this = |this +- x|, where this is the larger.
  void accumulate(const Product& x, bool add) {
    const auto rest = [&] { return length_ - x.length_; };
    const Word carry = add ? words::add_n(words_, words_, x.words_, x.length_)
                           : words::sub_n(words_, words_, x.words_, x.length_);
    if (carry == 0) return;
    Word* const above = words_ + x.length_;
    if (!add)
      words::decrement(above, rest());
    else if (words::increment(above, rest()) != 0)
      words_[length_++] = 1;
  }
  void copy_to(Leaf::Number& number) {
    length_ = words::stripped_length(words_, length_);
    words_[length_] = 0;
    number.length = (length_ + 1) / 2;
    for (std::size_t i = 0; i < number.length; ++i) number.limbs[i] = load_limb(words_ + 2 * i);
  }

 private:
  Word words_[kWords];
  std::size_t length_ = 0;
};

}  // namespace

BinaryBBPSeries::BinaryBBPSeries(BinaryScale scale) : scale_(scale) {
  family = Family::kBinaryBBP;
  cut_unit = scale.bits % 2 == 0 ? 16 : 32;
}

void BinaryBBPSeries::leaf(std::uint64_t a, std::uint64_t b, bool, Leaf& leaf) const {
  Product numbers[5];
  Product *P = &numbers[0], *Q = &numbers[1], *next_P = &numbers[2], *next_Q = &numbers[3];
  Product& second = numbers[4];
  Term term;
  bool z_positive = true;
  for (std::uint64_t k = a + 1; k <= b; ++k) {
    end_case_1(k, term);
    const bool positive = term.P_positive == z_positive;
    if (k == a + 1) {
      P->set(term.P);
      Q->set(term.Q);
      leaf.P_positive = positive;
    } else {
      next_P->set_mul(*P, term.Q);
      next_P->shift(scale_.bits);
      second.set_mul(*Q, term.P);
      next_P->accumulate(second, positive == leaf.P_positive);
      next_Q->set_mul(*Q, term.Q);
      std::swap(P, next_P);
      std::swap(Q, next_Q);
    }
    if (scale_.alternating) z_positive = !z_positive;
  }
  // P is too large by 2^(bits (b - a - 1)).
  const std::uint64_t excess = scale_.bits * (b - a - 1);
  const std::uint64_t words = (excess + kWordBits - 1) / kWordBits;
  P->shift(static_cast<unsigned>(words * kWordBits - excess));
  P->copy_to(leaf.P);
  leaf.P_exp = -static_cast<std::int64_t>(words);
  Q->copy_to(leaf.Q);
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
