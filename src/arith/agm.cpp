#include "arith/agm.h"

#include <algorithm>

#include "arith/newton.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {
namespace {

/// Precision of the steps, and that of the last term, which is less than half of it.
constexpr std::size_t working_precision(std::size_t p) { return std::max<std::size_t>(p, 3) + 1; }
constexpr std::size_t term_precision(std::size_t q) { return q / 2 + 2; }

/// Whether (d / m)^4 is below 2^(-32 (q + 2)).
bool is_last(const BigFloat& m, const BigFloat& d, std::size_t q) {
  return d.is_zero() || 4 * (m.mag() - d.mag() - 1) >= static_cast<std::int64_t>(q + 2);
}

/// r = m - d^2 / (4 m).
void set_limit(Context& context, BigFloat& r, BigFloat& m, const BigFloat& d, std::size_t q,
               AlignedBufferC scratch) {
  if (d.is_zero()) return r.set_BigFloat(m, q);
  const std::size_t h = term_precision(q);
  BigFloat square = carve_float(scratch, h + kExtraPrecision);
  BigFloat term = carve_float(scratch, newton_result_words(h));
  square.set_sqr(context, d, h, scratch);
  set_quotient(context, term, square, m, h, scratch);
  term.set_div_sW(term, 4, h);
  r.set_sub(context, m, term, q);
}

}  // namespace

void set_agm(Context& context, BigFloat& r, const BigFloat& a, const BigFloat& b, std::size_t p,
             AlignedBufferC scratch) {
  if (a.is_zero() || b.is_zero()) return r.set_zero();
  if (!a.sign || !b.sign)
    throw InvalidParametersException("set_agm()", "The argument is negative.");
  const std::size_t q = working_precision(p), words = newton_result_words(q);
  BigFloat x = carve_float(scratch, words);
  BigFloat y = carve_float(scratch, words);
  BigFloat mean = carve_float(scratch, words);
  x.set_BigFloat(a, q);
  y.set_BigFloat(b, q);
  for (;;) {
    throw_if_interrupted();
    mean.set_uadd(context, x, y, q);
    mean.set_div_sW(mean, 2, q);
    r.set_sub(context, mean, y, q);
    if (is_last(mean, r, q)) break;
    r.set_mul(context, x, y, q, scratch);
    set_sqrt(context, y, r, q, scratch);
    std::swap(x, mean);
  }
  BigFloat& difference = x;
  difference.set_BigFloat(r, q);
  set_limit(context, r, mean, difference, q, scratch);
  r.truncate(p + kExtraPrecision);
}

std::size_t agm_scratch(const Context& context, std::size_t p) {
  const std::size_t q = working_precision(p), h = term_precision(q);
  const std::size_t limit =
      carved_bytes<Word>(h + kExtraPrecision) + carved_bytes<Word>(newton_result_words(h)) +
      std::max(BigFloat::mul_scratch(context, h), quotient_scratch(context, h));
  return 3 * carved_bytes<Word>(newton_result_words(q)) +
         std::max({BigFloat::mul_scratch(context, q), sqrt_scratch(context, q), limit});
}

}  // namespace nmp
