#include "arith/newton.h"
#include "arith/newton/schedule.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {

using namespace newton;

namespace {

StepShape shape_of(std::size_t p) { return step_shape(half_precision(p), p, 2); }

}  // namespace

void set_reciprocal(Context& context, BigFloat& r, const BigFloat& a, std::size_t p,
                    AlignedBufferC scratch) {
  if (a.is_zero()) throw ArithmeticException("set_reciprocal()", "Divide by zero.");
  std::int64_t exponent = 0;
  const double top = a.to_double(&exponent);
  r.set_double(1 / top, -exponent);
  const One one;
  const Schedule schedule(std::max(p, kFirstPrecision));
  for (std::size_t i = schedule.count(); i-- > 0;) {
    throw_if_interrupted();
    const std::size_t target = schedule[i], h = half_precision(target);
    r.truncate(h + kExtraPrecision);
    StepProducts products(context, shape_of(target), scratch);
    products.keep(r);
    BigFloat residual = products.residual(one.value, leading(a, target + kExtraPrecision), r);
    cut_below(residual, -static_cast<std::int64_t>(target + kExtraPrecision));
    correct(context, products, r, r, residual, 1, h, target);
  }
}

std::size_t reciprocal_scratch(const Context& context, std::size_t p) {
  return Schedule(std::max(p, kFirstPrecision)).most([&](std::size_t target) {
    return StepProducts::bytes(context, shape_of(target));
  });
}

}  // namespace nmp
