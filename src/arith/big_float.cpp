#include "arith/big_float.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/product.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

/// Words that an operation of precision p reads and keeps. Lengths have 32 bits: beyond, a larger p
/// changes nothing.
std::uint64_t kept_words(std::size_t p) {
  return std::min<std::uint64_t>(p, std::uint64_t{1} << 33) + kExtraPrecision;
}

void need_words(const char* function, const BigFloat& x, std::uint64_t words) {
  if (x.buffer_size < words) throw BufferTooSmallException(function, x.buffer_size, words);
}
/// Room for one word above the top, counted from the start of the buffer.
void need_above(const char* function, const BigFloat& x) {
  need_words(function, x, static_cast<std::uint64_t>(x.T - x.buffer) + x.L + 1);
}

/// The words of an operand that an operation looks at; empty for zero.
struct View {
  const Word* T;
  std::size_t L;
  std::int64_t exp;
  std::int64_t mag() const { return exp + static_cast<std::int64_t>(L); }
  void drop_low(std::size_t n) {
    n = std::min(n, L);
    T += n;
    L -= n;
    exp += static_cast<std::int64_t>(n);
  }
  void drop_below(std::int64_t position) {
    if (position > exp) drop_low(static_cast<std::size_t>(std::min(position, mag()) - exp));
  }
};

template <typename Number>
View top_words(const Number& x, std::uint64_t words) {
  View view{x.T, x.L, x.exp};
  if (view.L > words) view.drop_low(static_cast<std::size_t>(view.L - words));
  return view;
}
View top_factor(const BigFloat& x, std::uint64_t words) {
  View view = top_words(x, words);
  view.drop_low(words::low_zero_words(view.T, view.L));
  return view;
}

void assign(const char* function, BigFloat& r, const View& x, bool sign) {
  need_words(function, r, x.L);
  words::copy(r.buffer, x.T, x.L);
  r.T = r.buffer;
  r.L = static_cast<std::uint32_t>(x.L);
  r.exp = x.L == 0 ? 0 : x.exp;
  r.sign = sign && x.L != 0;
}

/// Strips zero words at the top of the L words at T and keeps the top `words` of the rest.
void settle(BigFloat& r, std::uint64_t words) {
  r.L = static_cast<std::uint32_t>(words::stripped_length(r.T, r.L));
  if (r.L > words) r.truncate(static_cast<std::size_t>(words));
  if (r.L == 0) r.set_zero();
}

/// Cuts both operands at the lower end of a window of `words` words below the higher top, which is
/// returned: the lowest position in use.
std::int64_t cut_to_window(View& a, View& b, std::uint64_t words) {
  const std::int64_t bottom = std::max(a.mag(), b.mag()) - static_cast<std::int64_t>(words);
  a.drop_below(bottom);
  b.drop_below(bottom);
  return std::min(a.exp, b.exp);
}

words::Placed placed(const View& x, std::int64_t lowest) {
  return {x.T, x.L, static_cast<std::size_t>(x.exp - lowest)};
}

/// r = |a| + |b|, positive.
void add_magnitudes(const char* function, Context& context, BigFloat& r, const BigFloat& x,
                    const BigFloat& y, std::uint64_t keep) {
  View a = top_words(x, keep), b = top_words(y, keep);
  if (a.L == 0) return assign(function, r, b, true);
  if (b.L == 0) return assign(function, r, a, true);
  const std::int64_t lowest = cut_to_window(a, b, keep);
  if (b.L == 0) return assign(function, r, a, true);
  if (a.L == 0) return assign(function, r, b, true);
  const auto n = static_cast<std::uint64_t>(std::max(a.mag(), b.mag()) - lowest);
  need_words(function, r, n + 1);
  r.T = r.buffer;
  r.T[n] = words::add_placed(context, r.T, placed(a, lowest), placed(b, lowest));
  r.L = static_cast<std::uint32_t>(n + 1);
  r.exp = lowest;
  r.sign = true;
  settle(r, keep);
}

/// r = |a| - |b|, positive or zero. The window is a word longer than what is kept: where two
/// neighbouring tops cancel, nothing of the operands is lost, and elsewhere at most one word
/// cancels.
void subtract_magnitudes(const char* function, Context& context, BigFloat& r, const BigFloat& x,
                         const BigFloat& y, std::uint64_t keep) {
  View a = top_words(x, keep), b = top_words(y, keep);
  if (b.L == 0) return assign(function, r, a, true);
  constexpr const char* kNegative = "The left operand is below the right one.";
  if (a.L == 0 || a.mag() < b.mag()) throw InvalidParametersException(function, kNegative);
  const std::int64_t lowest = cut_to_window(a, b, keep + 1);
  if (b.L == 0) return assign(function, r, a, true);
  const auto n = static_cast<std::uint64_t>(a.mag() - lowest);
  need_words(function, r, n);
  r.T = r.buffer;
  if (words::sub_placed(context, r.T, placed(a, lowest), placed(b, lowest)) != 0)
    throw InvalidParametersException(function, kNegative);
  r.L = static_cast<std::uint32_t>(n);
  r.exp = lowest;
  r.sign = true;
  settle(r, keep);
}

/// r = a + b, or a - b where the sign of b counts as its opposite.
void add_signed(const char* function, Context& context, BigFloat& r, const BigFloat& a,
                const BigFloat& b, bool b_sign, std::uint64_t keep) {
  bool sign = b.is_zero() ? a.sign : b_sign;
  if (a.is_zero() || b.is_zero() || a.sign == b_sign) {
    add_magnitudes(function, context, r, a, b, keep);
  } else if (compare_magnitude(a, b) >= 0) {
    sign = a.sign;
    subtract_magnitudes(function, context, r, a, b, keep);
  } else {
    subtract_magnitudes(function, context, r, b, a, keep);
  }
  r.sign = sign && !r.is_zero();
}

/// r = a b, formed in r where it has room for all of it, else in scratch.
void multiply_floats(const char* function, Context& context, BigFloat& r, const BigFloat& x,
                     const BigFloat& y, std::uint64_t keep, AlignedBufferC scratch) {
  if (x.is_zero() || y.is_zero()) return r.set_zero();
  const View a = top_factor(x, keep), b = top_factor(y, keep);
  const std::size_t n = a.L + b.L;
  const std::int64_t exp = a.exp + b.exp;
  const bool sign = x.sign == y.sign;
  if (r.buffer_size >= n) {
    product(context, r.buffer, a.T, a.L, b.T, b.L, scratch);
    r.T = r.buffer;
    r.L = static_cast<std::uint32_t>(n);
    r.exp = exp;
    r.sign = sign;
    return settle(r, keep);
  }
  Word* const full = scratch.carve<Word>(n);
  product(context, full, a.T, a.L, b.T, b.L, scratch);
  View top{full, n - (full[n - 1] == 0), exp};
  if (top.L > keep) top.drop_low(static_cast<std::size_t>(top.L - keep));
  assign(function, r, top, sign);
}

/// r = a w, where r may be a itself.
void multiply_word(const char* function, BigFloat& r, const View& a, Word w, bool sign) {
  const Word top = words::mul_1(r.T, a.T, a.L, w);
  r.L = static_cast<std::uint32_t>(a.L);
  r.exp = a.exp;
  r.sign = sign;
  if (top == 0) return;
  need_above(function, r);
  r.T[r.L++] = top;
}

}  // namespace

void BigFloat::set_zero() {
  T = buffer;
  L = 0;
  exp = 0;
  sign = false;
}

void BigFloat::set_double(double x, std::int64_t exponent) {
  constexpr const char* kFunction = "BigFloat::set_double()";
  const auto bits = std::bit_cast<std::uint64_t>(x);
  const auto biased = static_cast<int>((bits >> 52) & 0x7FF);
  const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
  if (biased == 0 && fraction == 0) return set_zero();
  if (biased == 0x7FF) throw InvalidParametersException(kFunction, "The value is not finite.");
  const std::uint64_t mantissa = biased == 0 ? fraction : fraction | std::uint64_t{1} << 52;
  const int e = std::max(biased, 1) - 1075;
  const int shift = e & 31;
  need_words(kFunction, *this, shift == 0 ? 2 : 3);
  T = buffer;
  T[0] = static_cast<Word>(mantissa);
  T[1] = static_cast<Word>(mantissa >> kWordBits);
  L = T[1] == 0 ? 1 : 2;
  exp = exponent + (e >> 5);
  sign = bits >> 63 == 0;
  if (shift != 0) mul_uW(Word{1} << shift);
}

void BigFloat::set_u64(std::uint64_t x) {
  if (x == 0) return set_zero();
  const std::uint32_t words = x >> kWordBits != 0 ? 2 : 1;
  need_words("BigFloat::set_u64()", *this, words);
  T = buffer;
  T[0] = static_cast<Word>(x);
  if (words == 2) T[1] = static_cast<Word>(x >> kWordBits);
  L = words;
  exp = 0;
  sign = true;
}

void BigFloat::set_BigFloat(const BigFloat& x, std::size_t p) {
  assign("BigFloat::set_BigFloat()", *this, top_words(x, kept_words(p)), x.sign);
}
void BigFloat::set_ExactFloat(const ExactFloat& x, std::size_t p) {
  assign("BigFloat::set_ExactFloat()", *this, top_words(x, kept_words(p)), x.sign);
}

void BigFloat::set_uadd(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p) {
  add_magnitudes("BigFloat::set_uadd()", context, *this, a, b, kept_words(p));
}
void BigFloat::set_usub(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p) {
  subtract_magnitudes("BigFloat::set_usub()", context, *this, a, b, kept_words(p));
}
void BigFloat::set_rsub(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p) {
  subtract_magnitudes("BigFloat::set_rsub()", context, *this, b, a, kept_words(p));
}
void BigFloat::set_add(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p) {
  add_signed("BigFloat::set_add()", context, *this, a, b, b.sign, kept_words(p));
}
void BigFloat::set_sub(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p) {
  add_signed("BigFloat::set_sub()", context, *this, a, b, !b.sign, kept_words(p));
}

void BigFloat::set_mul(Context& context, const BigFloat& a, const BigFloat& b, std::size_t p,
                       AlignedBufferC scratch) {
  multiply_floats("BigFloat::set_mul()", context, *this, a, b, kept_words(p), scratch);
}
void BigFloat::set_sqr(Context& context, const BigFloat& a, std::size_t p, AlignedBufferC scratch) {
  multiply_floats("BigFloat::set_sqr()", context, *this, a, a, kept_words(p), scratch);
}
std::size_t BigFloat::mul_scratch(const Context& context, std::size_t p) {
  const std::size_t n = 2 * (p + kExtraPrecision);
  return carved_bytes<Word>(n) + multiply_scratch(context, n);
}

void BigFloat::set_mul_small(const BigFloat& a, const BigFloat& b, std::size_t p) {
  constexpr const char* kFunction = "BigFloat::set_mul_small()";
  if (b.L > 2) throw InvalidParametersException(kFunction, "The factor is too long.");
  if (a.is_zero() || b.is_zero()) return set_zero();
  const View x = top_words(a, kept_words(p));
  const std::uint64_t n = std::uint64_t{x.L} + b.L;
  need_words(kFunction, *this, n);
  T = buffer;
  if (b.L == 1)
    T[x.L] = words::mul_1(T, x.T, x.L, b.T[0]);
  else
    store_limb(T + x.L, words::mul_2(T, x.T, x.L, load_limb(b.T)));
  L = static_cast<std::uint32_t>(n);
  exp = x.exp + b.exp;
  sign = a.sign == b.sign;
  settle(*this, kept_words(p));
}

void BigFloat::mul_uW(Word w) {
  if (w == 0 || is_zero()) return set_zero();
  multiply_word("BigFloat::mul_uW()", *this, {T, L, exp}, w, sign);
}

void BigFloat::set_mul_uW(const BigFloat& a, Word w, std::size_t p) {
  constexpr const char* kFunction = "BigFloat::set_mul_uW()";
  if (w == 0 || a.is_zero()) return set_zero();
  const View x = top_words(a, kept_words(p));
  need_words(kFunction, *this, x.L);
  T = buffer;
  multiply_word(kFunction, *this, x, w, a.sign);
  settle(*this, kept_words(p));
}

void BigFloat::set_div_sW(const BigFloat& a, std::int32_t w, std::size_t p) {
  constexpr const char* kFunction = "BigFloat::set_div_sW()";
  if (w == 0) throw ArithmeticException(kFunction, "Divide by zero.");
  if (a.is_zero()) return set_zero();
  const Word divisor = w < 0 ? Word{0} - static_cast<Word>(w) : static_cast<Word>(w);
  const std::uint64_t keep = kept_words(p);
  const bool top_is_zero = a.T[a.L - 1] < divisor;  // the quotient is a word shorter
  const View x = top_words(a, keep + top_is_zero);
  const std::size_t whole = x.L - top_is_zero;  // quotient words down to x's lowest
  need_words(kFunction, *this, keep);
  const auto below = static_cast<std::size_t>(keep) - whole;

  // In place the quotient must start no lower than the words it comes from.
  Word* const q = &a == this ? buffer + std::max<std::ptrdiff_t>(
                                            x.T - buffer - static_cast<std::ptrdiff_t>(below), 0)
                             : buffer;
  sign = a.sign == (w > 0);
  Word remainder = top_is_zero ? x.T[whole] : 0;
  remainder = words::divrem_1(q + below, x.T, whole, divisor, remainder);
  words::divrem_1(q, nullptr, below, divisor, remainder);
  T = q;
  L = static_cast<std::uint32_t>(keep);
  exp = x.exp - static_cast<std::int64_t>(below);
}

void BigFloat::mp2(std::int64_t bits) {
  if (is_zero()) return;
  const auto shift = static_cast<unsigned>(bits & (kWordBits - 1));
  exp += bits >> 5;  // towards minus infinity
  if (shift != 0) mul_uW(Word{1} << shift);
}

void BigFloat::add_ip(Word w, std::int64_t pos) {
  constexpr const char* kFunction = "BigFloat::add_ip()";
  if (is_zero() || pos < exp || pos > mag())
    throw InvalidParametersException(kFunction, "BigFloat::add_ip(): Magnitude is out of range.");
  need_above(kFunction, *this);
  const auto index = static_cast<std::size_t>(pos - exp);
  T[L] = 0;
  words::add_1(T + index, T + index, L + std::size_t{1} - index, w);
  L += T[L] != 0;
}

void BigFloat::purturb_up(std::size_t p) {
  constexpr const char* kFunction = "BigFloat::purturb_up()";
  if (p >= L) throw InvalidParametersException(kFunction, "Index is out of range.");
  if (words::increment(T + p, L - p) == 0) return;
  need_above(kFunction, *this);
  T[L++] = 1;
}

void BigFloat::truncate(std::size_t words) {
  if (words == 0) return set_zero();
  if (L <= words) return;
  const auto dropped = static_cast<std::uint32_t>(L - words);
  T += dropped;
  L -= dropped;
  exp += dropped;
}

void BigFloat::check_normalization() const {
  if (L != 0 && T[L - 1] == 0)
    throw AlgorithmFailedException("BigFloat::check_normalization()",
                                   "BigFloat::check_normalization(): Top word is zero.");
}

std::string BigFloat::dump() const {
  std::string text = "sign = " + std::to_string(sign) + "\nmag = " + std::to_string(mag()) +
                     "\nexp = " + std::to_string(exp) + "\n";
  for (std::uint32_t i = L; i-- != 0;) {
    char word[16];
    std::snprintf(word, sizeof word, "%08lx%c", static_cast<unsigned long>(T[i]),
                  (L - i) % 8 == 0 || i == 0 ? '\n' : ' ');
    text += word;
  }
  return text;
}

double BigFloat::to_double(std::int64_t* exponent) const {
  *exponent = 0;
  if (is_zero()) return 0.0;
  // The top 64 bits, then the top 53 of them: truncated alike on every machine.
  const auto word = [this](std::uint32_t below_top) {
    return below_top < L ? DoubleWord{T[L - 1 - below_top]} : 0;
  };
  const int zeros = std::countl_zero(T[L - 1]);
  const DoubleWord two = word(0) << kWordBits | word(1);
  const DoubleWord top = two << zeros | (word(2) << zeros) >> kWordBits;
  *exponent = mag() - 1;
  const double value = std::ldexp(static_cast<double>(top >> 11), 11 - 32 - zeros);
  return sign ? value : -value;
}

BigFloat carve_float(AlignedBufferC& memory, std::size_t words) {
  return BigFloat(memory.carve<Word>(words), static_cast<std::uint32_t>(words));
}

int compare_magnitude(const BigFloat& a, const BigFloat& b) {
  if (a.is_zero() || b.is_zero()) return static_cast<int>(!a.is_zero()) - !b.is_zero();
  if (a.mag() != b.mag()) return a.mag() < b.mag() ? -1 : 1;
  return words::compare_tops(a.T, a.L, b.T, b.L);
}

}  // namespace nmp
