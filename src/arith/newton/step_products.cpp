#include "arith/newton/step_products.h"

#include <algorithm>

#include "arith/hash61.h"
#include "arith/long_ops.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/product.h"
#include "arith/word_ops.h"
#include "foundation/exceptions.h"
#include "parallel/context.h"

namespace nmp::newton {
namespace {

SpectrumShape spectrum_shape(const StepShape& shape) { return {shape.words, shape.shorter, 1}; }

/// Words of the buffers where products are plain: only what follows a residual needs the second.
std::size_t first_words(const StepShape& shape) { return std::max(shape.longest, shape.words) + 1; }
std::size_t second_words(const StepShape& shape) { return shape.words + 1; }

/// Words of the place of what comes back from transform space.
std::size_t words_back(std::size_t wrap) { return wrap + 1; }

/// A spectrum's memory, seen as words.
BigFloat float_in(const Spectrum& spectrum, std::size_t bytes) {
  return BigFloat(
      reinterpret_cast<Word*>(spectrum.data),
      static_cast<std::uint32_t>(std::min<std::size_t>(bytes / sizeof(Word), ~std::uint32_t{0})));
}

/// Adds `carry` times 2^(32 n), which is `sign`, to x[0, n) modulo 2^(32 n) - sign; returns word n.
Word fold_carry(Word* x, std::size_t n, int sign, std::int64_t carry) {
  while (carry != 0) {
    const std::int64_t add = carry * sign;
    if (add == -1 && sign < 0 && words::low_zero_words(x, n) == n) return 1;
    carry = add > 0 ? words::add_1(x, x, n, static_cast<Word>(add))
                    : -std::int64_t{words::sub_1(x, x, n, static_cast<Word>(-add))};
  }
  return 0;
}

/// x[0, n) -= c 2^(32 offset) modulo 2^(32 n) - sign, where `above` is word n of x; returns the new
/// one.
Word subtract_wrapped(Context& context, Word* x, std::size_t n, int sign, Word above,
                      const BigFloat& c, std::uint64_t offset) {
  std::int64_t carry = above;
  bool add = sign < 0 && offset / n % 2 != 0;
  std::size_t at = static_cast<std::size_t>(offset % n);
  for (std::size_t done = 0; done < c.L; at = 0) {
    const std::size_t part = std::min(c.L - done, n - at);
    Word* const target = x + at;
    Word out = add ? words::add_n(context, target, target, c.T + done, part)
                   : words::sub_n(context, target, target, c.T + done, part);
    if (out != 0)
      out = add ? words::increment(target + part, n - at - part)
                : words::decrement(target + part, n - at - part);
    carry += add ? std::int64_t{out} : -std::int64_t{out};
    done += part;
    if (sign < 0) add = !add;
  }
  return fold_carry(x, n, sign, carry);
}

void require(bool matches) {
  if (!matches)
    throw AlgorithmFailedException("StepProducts", "Multiplication Failed: Checksum Mismatch");
}

}  // namespace

StepProducts::StepProducts(Context& context, const StepShape& shape, AlignedBufferC memory)
    : context_(context) {
  if (memory.bytes() < bytes(context, shape))
    throw BufferTooSmallException("StepProducts", memory.bytes(), bytes(context, shape));
  plan_ = make_spectra(context, spectrum_shape(shape), shape.spectra, memory);
  if (plan_ != nullptr) {
    kept_spectrum_ = plan_->carve(memory);
    second_ = plan_->carve(memory);
    work_[1] = float_in(second_, plan_->bytes());
    if (shape.spectra == 2) {
      work_[0] = carve_float(memory, words_back(plan_->wrap()));
    } else {
      third_ = plan_->carve(memory);
      work_[0] = float_in(third_, plan_->bytes());
    }
  } else {
    work_[0] = carve_float(memory, first_words(shape));
    work_[1] = carve_float(memory, second_words(shape));
    scratch_ = memory;
  }
}

std::size_t StepProducts::bytes(const Context& context, const StepShape& shape) {
  if (const SpectraNeed need = spectra_need(context, spectrum_shape(shape)))
    return need.bytes(shape.spectra) +
           (shape.spectra == 2 ? carved_bytes<Word>(words_back(need.wrap)) : 0);
  return carved_bytes<Word>(first_words(shape)) + carved_bytes<Word>(second_words(shape)) +
         multiply_scratch(context, shape.longest);
}

void StepProducts::keep(const BigFloat& x) {
  kept_ = x;
  if (plan_ == nullptr) return;
  kept_hash_ = words::hash_of(context_, x.T, x.L);
  plan_->forward(kept_spectrum_, x.T, x.L);
}

BigFloat StepProducts::multiply(const BigFloat& y, const BigFloat& z) {
  const std::size_t n = std::size_t{y.L} + z.L;
  Residue full;
  if (plan_ == nullptr) {
    full = plain_product(y, z);
  } else {
    const std::uint64_t expected = hash61::multiply(hash(y), hash(z));
    full = wrapped_product(y, z, n);
    require(words::hash_of(context_, full.words, n) == expected);
  }
  BigFloat product = work_[last_];
  product.L = static_cast<std::uint32_t>(words::stripped_length(full.words, n));
  product.exp = y.exp + z.exp;
  product.sign = y.sign == z.sign;
  return product;
}

BigFloat StepProducts::residual(const BigFloat& c, const BigFloat& y, const BigFloat& z) {
  const std::int64_t exp = y.exp + z.exp;
  if (c.exp < exp)
    throw InvalidParametersException("StepProducts::residual()", "Magnitude is out of range.");
  const auto offset = static_cast<std::uint64_t>(c.exp - exp);
  const bool negative = y.sign != z.sign;  // of both, y z and c
  const std::uint64_t product_hash = plan_ == nullptr ? 0 : hash61::multiply(hash(y), hash(z));
  Residue residue = plan_ == nullptr ? plain_product(y, z) : wrapped_product(y, z, plan_->wrap());
  residue.above = subtract_wrapped(context_, residue.words, residue.count, residue.sign,
                                   residue.above, c, offset);
  BigFloat r = signed_float(residue, exp);  // |y z| - |c|
  if (plan_ != nullptr) {
    const std::uint64_t c_hash = hash61::multiply(
        words::hash_of(context_, c.T, c.L), hash61::word_weight(static_cast<std::int64_t>(offset)));
    const std::uint64_t r_hash = words::hash_of(context_, r.T, r.L);
    require(hash61::add(c_hash, r.sign ? r_hash : hash61::negate(r_hash)) == product_hash);
  }
  if (!negative) r.negate();
  return r;
}

BigFloat StepProducts::subtract_from(const BigFloat& c, const BigFloat& x) {
  Residue residue{x.T, std::size_t{x.L} + 1, 1, 0};
  residue.words[x.L] = 0;
  residue.above = subtract_wrapped(context_, residue.words, residue.count, 1, 0, c,
                                   static_cast<std::uint64_t>(c.exp - x.exp));
  BigFloat r = signed_float(residue, x.exp);
  if (x.sign) r.negate();
  return r;
}

BigFloat StepProducts::spare() const { return work_[1 - last_]; }

StepProducts::Residue StepProducts::plain_product(const BigFloat& y, const BigFloat& z) {
  const auto in_first = [this](const BigFloat& x) {
    return x.T >= work_[0].buffer && x.T < work_[0].buffer + work_[0].buffer_size;
  };
  last_ = in_first(y) || in_first(z) ? 1 : 0;
  const std::size_t n = std::size_t{y.L} + z.L;
  BigFloat& work = work_[last_];
  if (work.buffer_size < n + 1)
    throw BufferTooSmallException("StepProducts", work.buffer_size, n + 1);
  product(context_, work.buffer, y.T, y.L, z.T, z.L, scratch_);
  work.buffer[n] = 0;
  return {work.buffer, n + 1, 1, 0};
}

StepProducts::Residue StepProducts::wrapped_product(const BigFloat& y, const BigFloat& z,
                                                    std::size_t count) {
  const bool square = y.T == z.T && y.L == z.L;
  Spectrum* const a = transformed(y, second_);
  Spectrum* const b = square ? a : transformed(z, a == &second_ ? third_ : second_);
  const Spectra::Term term{a, b};
  plan_->multiply(second_, {&term, 1});
  Word* const out = work_[0].buffer;
  const Word above = plan_->inverse(out, count, second_);
  return {out, count, plan_->wrap_sign(), above};
}

Spectrum* StepProducts::transformed(const BigFloat& x, Spectrum& free) {
  if (is_kept(x)) return &kept_spectrum_;
  if (free.data == nullptr)
    throw InvalidParametersException("StepProducts", "Neither factor is kept.");
  plan_->forward(free, x.T, x.L);
  return &free;
}

BigFloat StepProducts::signed_float(const Residue& residue, std::int64_t exp) {
  BigFloat r = work_[last_];
  r.sign = !take_sign(residue.words, residue.count, residue.sign, residue.above);
  r.T = residue.words;
  r.L = static_cast<std::uint32_t>(words::stripped_length(residue.words, residue.count));
  r.exp = exp;
  if (r.L == 0) r.set_zero();
  return r;
}

std::uint64_t StepProducts::hash(const BigFloat& x) const {
  return is_kept(x) ? kept_hash_ : words::hash_of(context_, x.T, x.L);
}

BigFloat leading(const BigFloat& x, std::size_t words) {
  BigFloat view = x;
  view.truncate(words);
  return view;
}

void cut_below(BigFloat& x, std::int64_t position) {
  if (position > x.exp)
    x.truncate(static_cast<std::size_t>(std::max<std::int64_t>(x.mag() - position, 0)));
}

void extend_below(BigFloat& x, std::int64_t exp) {
  if (exp >= x.exp) return;
  const auto zeros = static_cast<std::size_t>(x.exp - exp);
  if (x.buffer_size < x.L + zeros)
    throw BufferTooSmallException("extend_below()", x.buffer_size, x.L + zeros);
  words::copy(x.buffer + zeros, x.T, x.L);
  words::zero(x.buffer, zeros);
  x.T = x.buffer;
  x.L += static_cast<std::uint32_t>(zeros);
  x.exp = exp;
}

}  // namespace nmp::newton
