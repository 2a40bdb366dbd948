#include "arith/agm.h"

#include <algorithm>
#include <cmath>

#include "arith/newton.h"
#include "foundation/exceptions.h"

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

/// Whether |d / m| < 1/4.
bool are_near(const BigFloat& m, const BigFloat& d) {
  std::int64_t m_exponent = 0, d_exponent = 0;
  const double m_top = m.to_double(&m_exponent), d_top = std::abs(d.to_double(&d_exponent));
  if (m_exponent != d_exponent) return m_exponent > d_exponent + 1;
  return d_top < m_top / 4;
}

/// The steps towards the common limit of x and y. Four numbers take turns in their roles.
class Steps {
 public:
  /// `work` is a number of the caller's; the others are taken off `scratch`.
  Steps(Context& context, BigFloat& work, std::size_t q, Progress* progress,
        AlignedBufferC& scratch)
      : context_(context), q_(q), progress_(progress), work_(work) {
    for (BigFloat* x : {&x_, &y_, &mean_}) *x = carve_float(scratch, newton_result_words(q));
    scratch_ = scratch;
  }
  void run(const BigFloat& a, const BigFloat& b) {
    x_.set_BigFloat(a, q_);
    y_.set_BigFloat(b, q_);
    if (step_until_near()) return x_.set_BigFloat(work_, q_);
    start_squares();
    while (!step_in_squares()) {
    }
  }
  /// The mean and half the difference of the last two, near enough for set_limit.
  BigFloat& m() { return mean_; }
  const BigFloat& d() const { return x_; }

 private:
  bool meet(BigFloat& d);
  bool step_until_near();
  void start_squares();
  bool step_in_squares();
  void report(const BigFloat& d);

  Context& context_;
  std::size_t q_;
  Progress* progress_;
  BigFloat& work_;
  BigFloat x_, y_, mean_;
  AlignedBufferC scratch_;
  int done_ = 0;
};

/// mean and d of x and y; d may be x. True where these are the last.
bool Steps::meet(BigFloat& d) {
  throw_if_interrupted();
  mean_.set_uadd(context_, x_, y_, q_);
  mean_.set_div_sW(mean_, 2, q_);
  d.set_sub(context_, mean_, y_, q_);
  if (progress_) report(d);
  return is_last(mean_, d, q_);
}

/// Each step doubles the bits in which x and y agree.
void Steps::report(const BigFloat& d) {
  const std::int64_t words = d.is_zero() ? static_cast<std::int64_t>(q_) : mean_.mag() - d.mag();
  double left = 1;
  for (auto bits = std::max(4.0, kWordBits * static_cast<double>(words));
       bits < kWordBits / 4.0 * static_cast<double>(q_); bits *= 2)
    left += 1;
  progress_->advance(done_ / (done_ + left));
  ++done_;
}

/// True where the last step is among these; d is in work then.
bool Steps::step_until_near() {
  for (;;) {
    if (meet(work_)) return true;
    if (are_near(mean_, work_)) return false;
    work_.set_mul(context_, x_, y_, q_, scratch_);
    set_sqrt(context_, y_, work_, q_, scratch_);
    std::swap(x_, mean_);
  }
}

/// From x, y and their mean to the next x, 2 A in y's place and B in the mean's.
void Steps::start_squares() {
  work_.set_mul(context_, x_, y_, q_, scratch_);
  x_.set_sqr(context_, mean_, q_, scratch_);
  y_.set_mul_uW(x_, 2, q_);
  x_.set_BigFloat(work_, q_);
  std::swap(x_, mean_);
}

bool Steps::step_in_squares() {
  y_.set_div_sW(y_, 2, q_);
  work_.set_uadd(context_, y_, mean_, q_);
  work_.set_div_sW(work_, 2, q_);
  set_sqrt(context_, y_, mean_, q_, scratch_);
  if (meet(x_)) return true;
  x_.set_sqr(context_, mean_, q_, scratch_);
  y_.set_mul_uW(x_, 2, q_);
  x_.set_usub(context_, y_, work_, q_);
  std::swap(x_, mean_);
  return false;
}

}  // namespace

void set_agm(Context& context, BigFloat& r, const BigFloat& a, const BigFloat& b, std::size_t p,
             AlignedBufferC scratch, Progress* progress) {
  if (a.is_zero() || b.is_zero()) return r.set_zero();
  if (!a.sign || !b.sign)
    throw InvalidParametersException("set_agm()", "The argument is negative.");
  const std::size_t q = working_precision(p);
  Steps steps(context, r, q, progress, scratch);
  steps.run(a, b);
  set_limit(context, r, steps.m(), steps.d(), q, scratch);
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
