#include "arith/newton.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "arith/multiply/algorithm_table.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {
namespace {

/// Precision that the step to p words starts from: twice as many good words, less two, reach p.
constexpr std::size_t half_precision(std::size_t p) { return p / 2 + 1 + p % 2; }
/// What the first step, from a double, reaches.
constexpr std::size_t kFirstPrecision = 3;

/// The precisions of all steps, last first.
class Schedule {
 public:
  explicit Schedule(std::size_t p) {
    for (steps_[count_++] = p; p > kFirstPrecision; steps_[count_++] = p) p = half_precision(p);
  }
  std::size_t count() const { return count_; }
  std::size_t operator[](std::size_t i) const { return steps_[i]; }

 private:
  std::array<std::size_t, 72> steps_{};
  std::size_t count_ = 0;
};

BigFloat carve_float(AlignedBufferC& scratch, std::size_t words) {
  return BigFloat(scratch.carve<Word>(words), static_cast<std::uint32_t>(words));
}
/// Words of a product of an x at precision a with a y at precision b.
constexpr std::size_t product_words(std::size_t a, std::size_t b) {
  return a + b + 2 * kExtraPrecision + 2;
}

/// residual = 1 - x, for an x near 1 in a buffer that `residual` may not share.
void set_one_minus(Context& context, BigFloat& residual, const BigFloat& x, std::size_t p) {
  Word one_word = 1;
  BigFloat one(&one_word, 1);
  one.set_u64(1);
  residual.set_sub(context, one, x, p);
}

/// y += y * residual / divisor, the product at precision h, the sum at precision p. `work` has room
/// for the product and `sum` for the result; y receives it.
void correct(Context& context, BigFloat& y, const BigFloat& residual, std::int32_t divisor,
             std::size_t h, std::size_t p, BigFloat& work, BigFloat& sum, AlignedBufferC scratch) {
  work.set_mul(context, y, residual, h, scratch);
  if (divisor != 1) work.set_div_sW(work, divisor, h);
  sum.set_add(context, y, work, p);
  y.set_BigFloat(sum, p);
}

/// Bytes that one step to precision p takes besides its result.
std::size_t step_bytes(const Context& context, std::size_t p, std::size_t product) {
  return carved_bytes<Word>(product) + 2 * carved_bytes<Word>(newton_result_words(p)) +
         multiply_scratch(context, product);
}

}  // namespace

void set_reciprocal(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
                    AlignedBufferC scratch) {
  if (a.is_zero()) throw ArithmeticException("set_reciprocal()", "Divide by zero.");
  std::int64_t exponent = 0;
  const double top = a.to_double(&exponent);
  r.set_double(1 / top, -exponent);
  const Schedule schedule(std::max(p, kFirstPrecision));
  for (std::size_t i = schedule.count(); i-- > 0;) {
    throw_if_interrupted();
    const std::size_t target = schedule[i], h = half_precision(target);
    AlignedBufferC rest = scratch;
    BigFloat product = carve_float(rest, product_words(target, target));
    BigFloat residual = carve_float(rest, newton_result_words(target));
    BigFloat sum = carve_float(rest, newton_result_words(target));
    product.set_mul(context, a, r, target, rest);
    set_one_minus(context, residual, product, target);
    correct(context, r, residual, 1, h, target, product, sum, rest);
  }
}

std::size_t reciprocal_scratch(const Context& context, std::size_t p) {
  p = std::max(p, kFirstPrecision);
  return step_bytes(context, p, product_words(p, p));
}

void set_quotient(Context& context, BigFloat& q, const BigFloat& a, const BigFloat& b,
                  std::size_t p, AlignedBufferC scratch) {
  if (b.is_zero()) throw ArithmeticException("set_quotient()", "Divide by zero.");
  if (a.is_zero()) return q.set_zero();
  p = std::max(p, kFirstPrecision);
  const std::size_t h = half_precision(p);
  BigFloat inverse = carve_float(scratch, newton_result_words(h));
  set_reciprocal(context, inverse, b, h, scratch);

  // q = a_high * inverse, then q += inverse * (a - b * q).
  BigFloat product = carve_float(scratch, product_words(p, h));
  product.set_mul(context, a, inverse, h, scratch);
  q.set_BigFloat(product, h);
  product.set_mul(context, b, q, p, scratch);
  BigFloat residual = carve_float(scratch, newton_result_words(p));
  residual.set_sub(context, a, product, p);
  product.set_mul(context, inverse, residual, h, scratch);
  residual.set_add(context, q, product, p);
  q.set_BigFloat(residual, p);
}

std::size_t quotient_scratch(const Context& context, std::size_t p) {
  p = std::max(p, kFirstPrecision);
  const std::size_t h = half_precision(p), product = product_words(p, h);
  const std::size_t finishing = carved_bytes<Word>(product) +
                                carved_bytes<Word>(newton_result_words(p)) +
                                multiply_scratch(context, product);
  return carved_bytes<Word>(newton_result_words(h)) +
         std::max(reciprocal_scratch(context, h), finishing);
}

void set_invsqrt_uW(Context& context, BigFloat& r, Word n, std::size_t p, AlignedBufferC scratch) {
  if (n == 0) throw ArithmeticException("set_invsqrt_uW()", "Divide by zero.");
  r.set_double(1 / std::sqrt(static_cast<double>(n)));
  const Schedule schedule(std::max(p, kFirstPrecision));
  for (std::size_t i = schedule.count(); i-- > 0;) {
    throw_if_interrupted();
    const std::size_t target = schedule[i], h = half_precision(target);
    AlignedBufferC rest = scratch;
    BigFloat product = carve_float(rest, product_words(h, h) + 1);
    BigFloat residual = carve_float(rest, newton_result_words(target));
    BigFloat sum = carve_float(rest, newton_result_words(target));
    // The square of h + kExtraPrecision words is exact, so that 1 - n r^2 loses nothing.
    r.truncate(h + kExtraPrecision);
    product.set_sqr(context, r, 2 * (h + kExtraPrecision), rest);
    product.mul_uW(n);
    set_one_minus(context, residual, product, target);
    correct(context, r, residual, 2, h, target, product, sum, rest);
  }
}

std::size_t invsqrt_scratch(const Context& context, std::size_t p) {
  p = std::max(p, kFirstPrecision);
  const std::size_t h = half_precision(p);
  return step_bytes(context, p, product_words(h, h) + 1);
}

}  // namespace nmp
