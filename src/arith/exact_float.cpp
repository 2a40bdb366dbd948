#include "arith/exact_float.h"

#include <algorithm>
#include <limits>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/product.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

void need_words(const char* function, const ExactFloat& x, std::uint64_t words) {
  if (x.buffer_size < words) throw BufferTooSmallException(function, x.buffer_size, words);
}
/// Room above the top, counted from the start of the buffer.
void need_above(const char* function, const ExactFloat& x, std::uint64_t words) {
  need_words(function, x, static_cast<std::uint64_t>(x.T - x.buffer) + x.L + words);
}

/// The residue of |x|.
std::uint64_t magnitude_hash(const ExactFloat& x) {
  return x.sign ? x.hash : hash61::negate(x.hash);
}

void make_positive(ExactFloat& x) {
  x.hash = magnitude_hash(x);
  x.sign = !x.is_zero();
}

words::Placed placed(const ExactFloat& x, std::int64_t lowest) {
  return {x.T, x.L, static_cast<std::size_t>(x.exp - lowest)};
}

/// Drops zero words at the top; zero keeps the positions of its buffer where position 0 is one.
void strip(ExactFloat& x) {
  x.L = static_cast<std::uint32_t>(words::stripped_length(x.T, x.L));
  if (x.L != 0) return;
  const std::int64_t origin =
      std::clamp<std::int64_t>(-x.Tmin(), 0, static_cast<std::int64_t>(x.buffer_size));
  x.set_zero();
  x.T += origin;
}

/// r = |b| for r zero, at b's positions in r's buffer.
void copy_in_place(Context& context, ExactFloat& r, const ExactFloat& b) {
  r.T = r.buffer + (b.exp - r.Tmin());
  words::copy(context, r.T, b.T, b.L);
  r.L = b.L;
  r.exp = b.exp;
  r.hash = magnitude_hash(b);
  r.sign = true;
}

/// r = |r| + |b| in place. `r_first` tells whose top is checked first.
void add_in_place(const char* function, bool r_first, Context& context, ExactFloat& r,
                  const ExactFloat& b) {
  if (b.is_zero()) return make_positive(r);
  const bool a_full = !r.is_zero() && r.mag() >= r.Tmax(), b_full = b.mag() >= r.Tmax();
  if (a_full || b_full)
    throw InvalidParametersException(
        function, a_full && (r_first || !b_full) ? "Amag >= Tmax" : "Bmag >= Tmax");
  if (b.exp < r.Tmin()) throw InvalidParametersException(function, "Bexp < Tmin");

  const std::uint64_t hash = hash61::add(magnitude_hash(r), magnitude_hash(b));
  if (r.is_zero()) return copy_in_place(context, r, b);
  const std::int64_t lowest = std::min(r.exp, b.exp);
  Word* const bottom = r.buffer + (lowest - r.Tmin());
  const auto n = static_cast<std::uint32_t>(std::max(r.mag(), b.mag()) - lowest);
  const Word carry = words::add_placed(context, bottom, placed(r, lowest), placed(b, lowest));
  if (carry != 0) bottom[n] = 1;
  r.T = bottom;
  r.L = n + carry;
  r.exp = lowest;
  r.hash = hash;
  r.sign = true;
}

/// r = |r| - |b| or |b| - |r| in place.
void subtract_in_place(const char* function, bool r_is_left, Context& context, ExactFloat& r,
                       const ExactFloat& b) {
  const ExactFloat& left = r_is_left ? r : b;
  const ExactFloat& right = r_is_left ? b : r;
  if (!left.is_zero() && left.mag() > r.Tmax())
    throw InvalidParametersException(function, r_is_left ? "Amag > Tmax" : "Bmag > Tmax");
  if (!b.is_zero() && b.exp < r.Tmin()) throw InvalidParametersException(function, "Bexp < Tmin");
  if (right.is_zero()) {
    if (!r_is_left && !b.is_zero()) return copy_in_place(context, r, b);
    return make_positive(r);
  }
  constexpr const char* kNegative = "The left operand is below the right one.";
  if (left.is_zero() || left.mag() < right.mag())
    throw InvalidParametersException(function, kNegative);

  const std::uint64_t hash = hash61::subtract(magnitude_hash(left), magnitude_hash(right));
  const std::int64_t lowest = std::min(r.exp, b.exp);
  Word* const bottom = r.buffer + (lowest - r.Tmin());
  const auto n = static_cast<std::uint32_t>(left.mag() - lowest);
  if (words::sub_placed(context, bottom, placed(left, lowest), placed(right, lowest)) != 0)
    throw InvalidParametersException(function, kNegative);
  r.T = bottom;
  r.L = n;
  r.exp = lowest;
  r.hash = hash;
  r.sign = true;
  strip(r);
}

}  // namespace

ExactFloat::ExactFloat(AlignedBufferC storage) {
  buffer = T = reinterpret_cast<Word*>(storage.ptr());
  buffer_size = static_cast<std::uint32_t>(std::min<std::uint64_t>(
      storage.bytes() / sizeof(Word), std::numeric_limits<std::uint32_t>::max()));
}

void ExactFloat::set_zero() {
  T = buffer;
  L = 0;
  exp = 0;
  sign = false;
  hash = 0;
}

void ExactFloat::negate() {
  sign = !sign && L != 0;
  hash = hash61::negate(hash);
}

void ExactFloat::set_BasicInt(const BasicInt& x, bool positive) {
  need_words("ExactFloat::set_BasicInt()", *this, x.L);
  words::copy(buffer, x.T, x.L);
  T = buffer;
  L = x.L;
  exp = 0;
  sign = positive && L != 0;
  hash = positive ? x.hash : hash61::negate(x.hash);
}

void ExactFloat::set_ExactFloat(Context& context, const ExactFloat& x) {
  need_words("ExactFloat::set_ExactFloat()", *this, x.L);
  words::copy(context, buffer, x.T, x.L);
  T = buffer;
  L = x.L;
  exp = x.exp;
  sign = x.sign;
  hash = x.hash;
}

void ExactFloat::set_add(Context& context, const ExactFloat& a, const ExactFloat& b) {
  if (a.is_zero()) return set_ExactFloat(context, b);
  if (b.is_zero()) return set_ExactFloat(context, a);
  const std::int64_t lowest = std::min(a.exp, b.exp);
  const auto n = static_cast<std::uint64_t>(std::max(a.mag(), b.mag()) - lowest);
  need_words("ExactFloat::set_add()", *this, n + 1);
  T = buffer;
  exp = lowest;
  hash = hash61::add(a.hash, b.hash);
  L = static_cast<std::uint32_t>(n);
  if (a.sign == b.sign) {
    sign = a.sign;
    T[n] = words::add_placed(context, T, placed(a, lowest), placed(b, lowest));
    L += T[n] != 0;
    return;
  }
  const bool a_larger = compare_magnitude(a, b) >= 0;
  const ExactFloat& left = a_larger ? a : b;
  sign = left.sign;
  words::sub_placed(context, T, placed(left, lowest), placed(a_larger ? b : a, lowest));
  strip(*this);
}

void ExactFloat::set_mul(Context& context, const ExactFloat& a, const ExactFloat& b,
                         AlignedBufferC scratch) {
  if (a.is_zero() || b.is_zero()) return set_zero();
  const std::uint64_t n = std::uint64_t{a.L} + b.L;
  need_words("ExactFloat::set_mul()", *this, n);
  T = buffer;
  std::optional<std::uint64_t> residue;  // short products have no use for it
  if (n >= kCheckedProductWords) residue = hash61::multiply(a.magnitude_hash(), b.magnitude_hash());
  product(context, T, a.T, a.L, b.T, b.L, scratch, residue);
  L = static_cast<std::uint32_t>(n) - (T[n - 1] == 0);
  exp = a.exp + b.exp;
  sign = a.sign == b.sign;
  hash = hash61::multiply(a.hash, b.hash);
}

void ExactFloat::mul_uW(Word w) {
  if (is_zero()) return;
  if (w == 0) return set_zero();
  need_above("ExactFloat::mul_uW()", *this, 1);
  T[L] = words::mul_1(T, T, L, w);
  L += T[L] != 0;
  hash = hash61::multiply(hash, w);
}

void ExactFloat::mp2(std::int64_t bits) {
  if (is_zero()) return;
  const auto shift = static_cast<unsigned>(bits & (kWordBits - 1));
  if (shift != 0) {
    need_above("ExactFloat::mp2()", *this, 1);
    T[L] = words::lshift(T, T, L, shift);
    L += T[L] != 0;
  }
  exp += bits >> 5;  // towards minus infinity
  hash = hash61::multiply(hash, hash61::word_weight(bits >> 5));
  hash = hash61::multiply(hash, std::uint64_t{1} << shift);
}

void ExactFloat::uaddAB_ip(Context& context, const ExactFloat& b) {
  add_in_place("ExactFloat::uaddAB_ip()", true, context, *this, b);
}
void ExactFloat::uaddBA_ip(Context& context, const ExactFloat& b) {
  add_in_place("ExactFloat::uaddBA_ip()", false, context, *this, b);
}
void ExactFloat::usubAB_ip(Context& context, const ExactFloat& b) {
  subtract_in_place("ExactFloat::usubAB_ip()", true, context, *this, b);
}
void ExactFloat::usubBA_ip(Context& context, const ExactFloat& b) {
  subtract_in_place("ExactFloat::usubBA_ip()", false, context, *this, b);
}

void ExactFloat::add_ip(Context& context, const ExactFloat& b) {
  if (b.is_zero()) return;
  bool positive = sign;
  if (is_zero() || sign == b.sign) {
    positive = b.sign;
    if (mag() >= b.mag())
      uaddAB_ip(context, b);
    else
      uaddBA_ip(context, b);
  } else if (compare_magnitude(*this, b) >= 0) {
    usubAB_ip(context, b);
  } else {
    positive = b.sign;
    usubBA_ip(context, b);
  }
  if (!positive) negate();
}

void ExactFloat::truncate(Context& context, std::size_t words) {
  if (L > words) truncate_below(context, mag() - static_cast<std::int64_t>(words));
}

void ExactFloat::truncate_below(Context& context, std::int64_t lowest) {
  if (is_zero() || lowest <= exp) return;
  if (lowest >= mag()) return set_zero();
  const auto dropped = static_cast<std::uint32_t>(lowest - exp);
  T += dropped;
  L -= dropped;
  exp = lowest;
  hash = computed_hash(context);
}

std::uint64_t ExactFloat::computed_hash() const {
  return is_zero() ? 0 : placed_hash(hash61::of_words(T, L));
}
std::uint64_t ExactFloat::computed_hash(Context& context) const {
  return is_zero() ? 0 : placed_hash(words::hash_of(context, T, L));
}

std::uint64_t ExactFloat::magnitude_hash() const {
  return hash61::multiply(sign ? hash : hash61::negate(hash), hash61::word_weight(-exp));
}

std::uint64_t ExactFloat::placed_hash(std::uint64_t of_words) const {
  const std::uint64_t h = hash61::multiply(of_words, hash61::word_weight(exp));
  return sign ? h : hash61::negate(h);
}

int compare_magnitude(const ExactFloat& a, const ExactFloat& b) {
  if (a.is_zero() || b.is_zero()) return static_cast<int>(!a.is_zero()) - !b.is_zero();
  if (a.mag() != b.mag()) return a.mag() < b.mag() ? -1 : 1;
  return words::compare_tops(a.T, a.L, b.T, b.L);
}

ExactFloat carve_number(AlignedBufferC& memory, std::size_t words) {
  return ExactFloat(memory.carve<Word>(words), static_cast<std::uint32_t>(words));
}

}  // namespace nmp
