#include "arith/newton.h"
#include "arith/newton/schedule.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {

using namespace newton;

// q = inverse * a to h words, then q += inverse * (a - b q). The inverse is transformed once; b and
// q take the places of the two spectra that are free between its products.
void set_quotient(Context& context, BigFloat& q, const BigFloat& a, const BigFloat& b,
                  std::size_t p, AlignedBufferC scratch) {
  if (b.is_zero()) throw ArithmeticException("set_quotient()", "Divide by zero.");
  if (a.is_zero()) return q.set_zero();
  p = std::max(p, kFirstPrecision);
  const std::size_t h = half_precision(p);
  BigFloat inverse = carve_float(scratch, newton_result_words(h));
  set_reciprocal(context, inverse, b, h, scratch);
  throw_if_interrupted();

  const BigFloat dividend = leading(a, p + kExtraPrecision);
  const BigFloat divisor = leading(b, p + kExtraPrecision);
  StepProducts products(context, step_shape(h, p, 3), scratch);
  products.keep(inverse);
  q.set_BigFloat(products.multiply(inverse, leading(a, h + kExtraPrecision)), h);
  extend_below(q, dividend.exp - divisor.exp);
  BigFloat residual = products.residual(dividend, divisor, q);
  cut_below(residual, dividend.mag() - static_cast<std::int64_t>(p + kExtraPrecision));
  correct(context, products, q, inverse, residual, 1, h, p);
}

std::size_t quotient_scratch(const Context& context, std::size_t p) {
  p = std::max(p, kFirstPrecision);
  const std::size_t h = half_precision(p);
  return carved_bytes<Word>(newton_result_words(h)) +
         std::max(reciprocal_scratch(context, h),
                  StepProducts::bytes(context, step_shape(h, p, 3)));
}

}  // namespace nmp
