#include "arith/newton/schedule.h"

namespace nmp::newton {

void correct(Context& context, StepProducts& products, BigFloat& y, const BigFloat& factor,
             const BigFloat& residual, std::int32_t divisor, std::size_t h, std::size_t p) {
  if (residual.is_zero()) return;
  BigFloat correction = products.multiply(factor, residual);
  if (divisor != 1) correction.set_div_sW(correction, divisor, h);
  BigFloat sum = products.spare();
  sum.set_add(context, y, correction, p);
  y.set_BigFloat(sum, p);
}

}  // namespace nmp::newton
