#include <cmath>

#include "arith/newton.h"
#include "arith/newton/schedule.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {

using namespace newton;

namespace {

StepShape shape_of(std::size_t p) { return step_shape(half_precision(p), p, 2); }

/// a - g^2 for a g of h good words: the words from one above -h on, relative to a, are unknown.
StepShape square_shape(std::size_t p) {
  const std::size_t h = half_precision(p);
  return {h + 10, h + 10, 2 * h + 12, 2};
}
std::size_t residual_words(std::size_t p) { return half_precision(p) + 8; }

/// g = sqrt(a), r = 1 / sqrt(a), to 50 bits.
void approximate(BigFloat& g, BigFloat& r, const BigFloat& a) {
  std::int64_t exponent = 0;
  double top = a.to_double(&exponent);
  if (exponent % 2 != 0) {
    top *= 0x1p32;
    exponent -= 1;
  }
  g.set_double(std::sqrt(top), exponent / 2);
  r.set_double(1 / std::sqrt(top), -(exponent / 2));
}

/// g += r (a - g^2) / 2, then r += r (1 - r g): both roots from h to p words. The second half only
/// where the inverse is wanted.
void step(Context& context, BigFloat& g, BigFloat& r, const BigFloat& a, std::size_t p,
          bool with_inverse, AlignedBufferC scratch) {
  const std::size_t h = half_precision(p);
  const BigFloat square = leading(a, p + kExtraPrecision);
  g.truncate(h + kExtraPrecision);
  r.truncate(h + kExtraPrecision);
  BigFloat residual = carve_float(scratch, residual_words(p));
  {
    const std::int64_t least = square.exp - (square.exp % 2 != 0);
    extend_below(g, least / 2);
    StepProducts products(context, square_shape(p), scratch);
    BigFloat difference = products.residual(square, g, g);
    cut_below(difference, square.mag() - static_cast<std::int64_t>(p + kExtraPrecision + 1));
    residual.set_BigFloat(difference, residual_words(p));
  }
  StepProducts products(context, shape_of(p), scratch);
  products.keep(r);
  correct(context, products, g, r, residual, 2, h, p);
  if (!with_inverse) return;
  const One one;
  BigFloat rest = products.residual(one.value, g, r);
  cut_below(rest, -static_cast<std::int64_t>(p + kExtraPrecision));
  correct(context, products, r, r, rest, 1, h, p);
}

std::size_t step_bytes(const Context& context, std::size_t p) {
  return std::max(StepProducts::bytes(context, square_shape(p)),
                  StepProducts::bytes(context, shape_of(p)));
}

/// Both roots, the inverse one in the last step only where it is wanted.
void both_roots(Context& context, BigFloat& g, BigFloat& r, const BigFloat& a, std::size_t p,
                bool with_inverse, AlignedBufferC scratch) {
  approximate(g, r, a);
  const Schedule schedule(std::max(p, kFirstPrecision));
  for (std::size_t i = schedule.count(); i-- > 0;) {
    throw_if_interrupted();
    step(context, g, r, a, schedule[i], with_inverse || i > 0, scratch);
  }
}

/// The word w of a = w 2^(32 e), if a is of that form, else 0.
Word only_word(const BigFloat& a) {
  for (std::uint32_t i = 0; i + 1 < a.L; ++i)
    if (a.T[i] != 0) return 0;
  return a.T[a.L - 1];
}

void require_positive(const char* function, const BigFloat& a) {
  if (!a.sign) throw InvalidParametersException(function, "The argument is negative.");
}

}  // namespace

void set_invsqrt_uW(Context& context, BigFloat& r, Word n, std::size_t p, AlignedBufferC scratch) {
  if (n == 0) throw ArithmeticException("set_invsqrt_uW()", "Divide by zero.");
  r.set_double(1 / std::sqrt(static_cast<double>(n)));
  const One one;
  const Schedule schedule(std::max(p, kFirstPrecision));
  for (std::size_t i = schedule.count(); i-- > 0;) {
    throw_if_interrupted();
    const std::size_t target = schedule[i], h = half_precision(target);
    // The square of h + kExtraPrecision words is exact, so that 1 - n r^2 loses nothing.
    r.truncate(h + kExtraPrecision);
    StepProducts products(context, shape_of(target), scratch);
    products.keep(r);
    BigFloat square = products.multiply(r, r);
    square.mul_uW(n);
    BigFloat residual = products.subtract_from(one.value, square);
    cut_below(residual, -static_cast<std::int64_t>(target + kExtraPrecision));
    correct(context, products, r, r, residual, 2, h, target);
  }
}

std::size_t invsqrt_scratch(const Context& context, std::size_t p) {
  return Schedule(std::max(p, kFirstPrecision)).most([&](std::size_t target) {
    return StepProducts::bytes(context, shape_of(target));
  });
}

void set_sqrt(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
              AlignedBufferC scratch) {
  if (a.is_zero()) return r.set_zero();
  require_positive("set_sqrt()", a);
  p = std::max(p, kFirstPrecision);
  if (const Word w = only_word(a)) {
    set_invsqrt_uW(context, r, w, p, scratch);
    r.mul_uW(w);
    return r.mp2((a.mag() - 1) * (kWordBits / 2));
  }
  BigFloat inverse = carve_float(scratch, newton_result_words(p));
  both_roots(context, r, inverse, a, p, false, scratch);
}

void set_invsqrt(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
                 AlignedBufferC scratch) {
  if (a.is_zero()) throw ArithmeticException("set_invsqrt()", "Divide by zero.");
  require_positive("set_invsqrt()", a);
  p = std::max(p, kFirstPrecision);
  if (const Word w = only_word(a)) {
    set_invsqrt_uW(context, r, w, p, scratch);
    return r.mp2((1 - a.mag()) * std::int64_t{kWordBits / 2});
  }
  BigFloat root = carve_float(scratch, newton_result_words(p));
  both_roots(context, root, r, a, p, true, scratch);
}

std::size_t sqrt_scratch(const Context& context, std::size_t p) {
  p = std::max(p, kFirstPrecision);
  const std::size_t steps = Schedule(p).most([&](std::size_t target) {
    return carved_bytes<Word>(residual_words(target)) + step_bytes(context, target);
  });
  return carved_bytes<Word>(newton_result_words(p)) + steps;
}

}  // namespace nmp
