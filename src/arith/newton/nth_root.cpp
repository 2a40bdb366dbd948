#include <cmath>

#include "arith/newton.h"
#include "arith/newton/schedule.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {

using namespace newton;

namespace {

constexpr std::uint32_t kMaxDegree = 0x7FFFFFFF;

/// The last step of a root starts from a word more: there the degree counts squared.
constexpr std::size_t root_start(std::size_t p) { return half_precision(p) + 1; }

StepShape shape_of(std::size_t p) { return step_shape(half_precision(p), p, 2); }

void check_arguments(const char* function, const BigFloat& a, std::uint32_t degree) {
  if (degree < 2) throw InvalidParametersException(function, "The degree must be at least 2.");
  if (degree > kMaxDegree) throw InvalidParametersException(function, "The degree is too large.");
  if (!a.is_zero() && !a.sign && degree % 2 == 0)
    throw InvalidParametersException(function, "The argument is negative.");
}

/// power = x^e to p words, e >= 1, from the top bit of e downwards. `other` is work space like
/// `power`.
void set_power(Context& context, BigFloat& power, BigFloat& other, const BigFloat& x,
               std::uint32_t e, std::size_t p, AlignedBufferC scratch) {
  unsigned bit = 31;
  while ((e >> bit) == 0) --bit;
  power.set_BigFloat(x, p);
  const auto replace = [&](const BigFloat& factor) {
    throw_if_interrupted();
    other.set_mul(context, power, factor, p, scratch);
    std::swap(power, other);
  };
  while (bit-- > 0) {
    replace(power);
    if ((e >> bit & 1) != 0) replace(x);
  }
}

/// r = a^(-1/n) to 46 bits: with a = m 2^(32 e) and 32 e = n q + s, it is (m 2^s)^(-1/n) 2^(-q).
void approximate(BigFloat& r, const BigFloat& a, std::uint32_t n) {
  std::int64_t exponent = 0;
  const double top = a.to_double(&exponent);
  // In words first: 32 times an exponent may not fit.
  std::int64_t q = exponent / n * std::int64_t{kWordBits};
  std::int64_t s = exponent % n * std::int64_t{kWordBits};
  q += s / n;
  s %= n;
  const double root = std::exp2(-(std::log2(std::fabs(top)) + static_cast<double>(s)) / n);
  r.set_double(top < 0 ? -root : root);
  r.mp2(-q);
}

/// What both roots carve besides their result: two numbers for powers.
struct Powers {
  Powers(std::size_t p, AlignedBufferC& memory)
      : first(carve_float(memory, newton_result_words(p))),
        second(carve_float(memory, newton_result_words(p))) {}
  static std::size_t bytes(std::size_t p) { return 2 * carved_bytes<Word>(newton_result_words(p)); }
  BigFloat first, second;
};

/// r += r (1 - a r^n) / n, from h to p words. r^n is made as (a r^(n - 1)) r, so that the last
/// product has r, whose spectrum is used again, and wraps around.
void inverse_step(Context& context, BigFloat& r, const BigFloat& a, std::uint32_t n, std::size_t p,
                  AlignedBufferC scratch) {
  const std::size_t h = half_precision(p);
  r.truncate(h + kExtraPrecision);
  Powers powers(p, scratch);
  set_power(context, powers.first, powers.second, r, n - 1, p, scratch);
  powers.second.set_mul(context, powers.first, a, p, scratch);
  StepProducts products(context, shape_of(p), scratch);
  products.keep(r);
  const One one;
  BigFloat residual = products.residual(one.value, powers.second, r);
  cut_below(residual, -static_cast<std::int64_t>(p + kExtraPrecision));
  correct(context, products, r, r, residual, static_cast<std::int32_t>(n), h, p);
}

std::size_t inverse_bytes(const Context& context, std::size_t p) {
  return Schedule(std::max(p, kFirstPrecision), kFirstRootPrecision).most([&](std::size_t target) {
    return Powers::bytes(target) + std::max(BigFloat::mul_scratch(context, target),
                                            StepProducts::bytes(context, shape_of(target)));
  });
}

}  // namespace

void set_inverse_root(Context& context, BigFloat& r, const BigFloat& a, std::uint32_t degree,
                      std::size_t p, AlignedBufferC scratch) {
  check_arguments("set_inverse_root()", a, degree);
  if (a.is_zero()) throw ArithmeticException("set_inverse_root()", "Divide by zero.");
  if (degree == 2) return set_invsqrt(context, r, a, p, scratch);
  approximate(r, a, degree);
  const Schedule schedule(std::max(p, kFirstPrecision), kFirstRootPrecision);
  for (std::size_t i = schedule.count(); i-- > 0;) {
    throw_if_interrupted();
    inverse_step(context, r, a, degree, schedule[i], scratch);
  }
}

// y = a s to h words, where s = a^(-(n-1)/n), then y += s (a - y^n) / n.
void set_root(Context& context, BigFloat& r, const BigFloat& a, std::uint32_t degree, std::size_t p,
              AlignedBufferC scratch) {
  check_arguments("set_root()", a, degree);
  if (a.is_zero()) return r.set_zero();
  if (degree == 2) return set_sqrt(context, r, a, p, scratch);
  p = std::max(p, kFirstPrecision);
  const std::size_t h = root_start(p);
  BigFloat slope = carve_float(scratch, newton_result_words(h));
  set_inverse_root(context, r, a, degree, h, scratch);
  Powers powers(p, scratch);
  set_power(context, powers.first, powers.second, r, degree - 1, h, scratch);
  slope.set_BigFloat(powers.first, h);
  r.set_mul(context, slope, a, h, scratch);

  const BigFloat power = leading(a, p + kExtraPrecision);
  set_power(context, powers.first, powers.second, r, degree - 1, p, scratch);
  extend_below(r, power.exp - powers.first.exp);
  StepProducts products(context, step_shape(h, p, 3), scratch);
  products.keep(slope);
  BigFloat residual = products.residual(power, powers.first, r);
  cut_below(residual, power.mag() - static_cast<std::int64_t>(p + kExtraPrecision));
  correct(context, products, r, slope, residual, static_cast<std::int32_t>(degree), h, p);
}

std::size_t root_scratch(const Context& context, std::size_t p) {
  p = std::max(p, kFirstPrecision);
  const std::size_t h = root_start(p);
  const std::size_t last =
      Powers::bytes(p) + std::max(BigFloat::mul_scratch(context, p),
                                  StepProducts::bytes(context, step_shape(h, p, 3)));
  const std::size_t root =
      carved_bytes<Word>(newton_result_words(h)) + std::max(inverse_bytes(context, h), last);
  return std::max({root, inverse_bytes(context, p), sqrt_scratch(context, p)});
}

}  // namespace nmp
