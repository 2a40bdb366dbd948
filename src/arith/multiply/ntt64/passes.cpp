#include "arith/multiply/ntt64/passes.h"

#include <algorithm>

namespace nmp::n64 {
namespace {

/// (x, y) -> (x + r y, x - r y).
inline void split(const Modulus& modulus, std::uint64_t& x, std::uint64_t& y, const Factor& r) {
  const std::uint64_t u = modulus.halve_range(x);
  const std::uint64_t v = modulus.multiply_lazy(y, r);
  x = u + v;
  y = u - v + 2 * modulus.p();
}

/// (x, y) -> (x + y, (x - y) r).
inline void join(const Modulus& modulus, std::uint64_t& x, std::uint64_t& y, const Factor& r) {
  const std::uint64_t u = x;
  x = modulus.halve_range(u + y);
  y = modulus.multiply_lazy(u - y + 2 * modulus.p(), r);
}

inline void split4(const Modulus& modulus, std::uint64_t* x, std::size_t q, const Radix4& r) {
  std::uint64_t a0 = x[0], a1 = x[q], a2 = x[2 * q], a3 = x[3 * q];
  split(modulus, a0, a2, r.square);
  split(modulus, a1, a3, r.square);
  split(modulus, a0, a1, r.even);
  split(modulus, a2, a3, r.odd);
  x[0] = a0, x[q] = a1, x[2 * q] = a2, x[3 * q] = a3;
}

inline void join4(const Modulus& modulus, std::uint64_t* x, std::size_t q, const Radix4& r) {
  std::uint64_t a0 = x[0], a1 = x[q], a2 = x[2 * q], a3 = x[3 * q];
  join(modulus, a0, a1, r.even);
  join(modulus, a2, a3, r.odd);
  join(modulus, a0, a2, r.square);
  join(modulus, a1, a3, r.square);
  x[0] = a0, x[q] = a1, x[2 * q] = a2, x[3 * q] = a3;
}

}  // namespace

void forward_radix2(const Modulus& m, std::uint64_t* x, std::size_t half, const Factor& r) {
  const Modulus modulus = m;
  const Factor factor = r;
  for (std::size_t j = 0; j < half; ++j) split(modulus, x[j], x[half + j], factor);
}

void inverse_radix2(const Modulus& m, std::uint64_t* x, std::size_t half, const Factor& r) {
  const Modulus modulus = m;
  const Factor factor = r;
  for (std::size_t j = 0; j < half; ++j) join(modulus, x[j], x[half + j], factor);
}

// Copies of the arguments tell the compiler that the stores to x do not change them.
void forward_radix4(const Modulus& m, std::uint64_t* x, std::size_t quarter, std::size_t columns,
                    const Radix4& r) {
  const Modulus modulus = m;
  const Radix4 factors = r;
  for (std::size_t j = 0; j < columns; ++j) split4(modulus, x + j, quarter, factors);
}

void inverse_radix4(const Modulus& m, std::uint64_t* x, std::size_t quarter, std::size_t columns,
                    const Radix4& r) {
  const Modulus modulus = m;
  const Radix4 factors = r;
  for (std::size_t j = 0; j < columns; ++j) join4(modulus, x + j, quarter, factors);
}

void forward_last(const Modulus& m, std::uint64_t* x, std::size_t blocks, const Factor* twiddles,
                  std::size_t node) {
  const Modulus modulus = m;
  for (std::size_t j = node; j < node + blocks; ++j, x += 4)
    split4(modulus, x, 1, {twiddles[j], twiddles[2 * j], twiddles[2 * j + 1]});
}

void inverse_first(const Modulus& m, std::uint64_t* x, std::size_t blocks, const Factor* twiddles,
                   std::size_t node) {
  const Modulus modulus = m;
  for (std::size_t j = node; j < node + blocks; ++j, x += 4)
    join4(modulus, x, 1, {twiddles[j], twiddles[2 * j], twiddles[2 * j + 1]});
}

namespace {

/// A transform of 3 points by one product: with w^2 = -1 - w,
/// y1 = x0 - x2 + w (x1 - x2) and y2 = x0 - x1 - w (x1 - x2).
struct Points3 {
  explicit Points3(const Field& field)
      : modulus(field.modulus()), w(modulus.factor(field.root15(5))) {}

  void transform(std::uint64_t (&x)[3]) const {
    const std::uint64_t product = modulus.multiply_lazy(x[1] - x[2] + 2 * modulus.p(), w);
    const std::uint64_t y0 = modulus.add(modulus.add(x[0], x[1]), x[2]);
    const std::uint64_t y1 = modulus.add(modulus.subtract(x[0], x[2]), product);
    x[2] = modulus.subtract(modulus.subtract(x[0], x[1]), product);
    x[0] = y0, x[1] = y1;
  }

  Modulus modulus;
  Factor w;
};

/// A transform of 5 points by six products, from the sums and differences of the pairs (1, 4) and
/// (2, 3): with c_i = (w^i + w^-i) / 2 and e_i = (w^i - w^-i) / 2, c_1 + c_2 = -1/2.
struct Points5 {
  explicit Points5(const Field& field) : modulus(field.modulus()) {
    const std::uint64_t p = modulus.p(), half = (p + 1) / 2;
    const auto w = [&](std::uint64_t e) { return field.root15(3 * e); };
    const auto sum = [&](std::uint64_t x, std::uint64_t y) { return modulus.reduce(x + y); };
    const auto halved = [&](std::uint64_t x) { return modulus.multiply(x, half); };
    const std::uint64_t c1 = halved(sum(w(1), w(4))), c2 = halved(sum(w(2), w(3)));
    minus_quarter = modulus.factor(p - modulus.multiply(half, half));
    spread = modulus.factor(halved(sum(c1, p - c2)));
    e1 = modulus.factor(halved(sum(w(1), p - w(4))));
    e2 = modulus.factor(halved(sum(w(2), p - w(3))));
  }

  void transform(std::uint64_t (&x)[5]) const {
    const Modulus& f = modulus;
    const std::uint64_t s1 = f.add(x[1], x[4]), d1 = f.subtract(x[1], x[4]);
    const std::uint64_t s2 = f.add(x[2], x[3]), d2 = f.subtract(x[2], x[3]);
    const std::uint64_t s = f.add(s1, s2);
    const std::uint64_t mean = f.add(x[0], f.multiply_lazy(s, minus_quarter));
    const std::uint64_t offset = f.multiply_lazy(f.subtract(s1, s2), spread);
    const std::uint64_t a1 = f.add(mean, offset), a2 = f.subtract(mean, offset);
    const std::uint64_t b1 = f.add(f.multiply_lazy(d1, e1), f.multiply_lazy(d2, e2));
    const std::uint64_t b2 = f.subtract(f.multiply_lazy(d1, e2), f.multiply_lazy(d2, e1));
    x[0] = f.add(x[0], s);
    x[1] = f.add(a1, b1), x[4] = f.subtract(a1, b1);
    x[2] = f.add(a2, b2), x[3] = f.subtract(a2, b2);
  }

  Modulus modulus;
  Factor minus_quarter{}, spread{}, e1{}, e2{};
};

template <std::size_t kRadix, class Points>
void forward_odd(const Points& points, std::uint64_t* x, std::size_t m, std::size_t columns,
                 const Factor* r) {
  for (std::size_t j = 0; j < columns; ++j) {
    std::uint64_t y[kRadix];
    y[0] = points.modulus.halve_range(x[j]);
    for (std::size_t i = 1; i < kRadix; ++i)
      y[i] = points.modulus.multiply_lazy(x[i * m + j], r[i - 1]);
    points.transform(y);
    for (std::size_t i = 0; i < kRadix; ++i) x[i * m + j] = y[i];
  }
}

/// Transforming once more reverses points 1 ... kRadix - 1, up to the factor kRadix.
template <std::size_t kRadix, class Points>
void inverse_odd(const Points& points, std::uint64_t* x, std::size_t m, std::size_t columns,
                 const Factor* r) {
  for (std::size_t j = 0; j < columns; ++j) {
    std::uint64_t y[kRadix];
    for (std::size_t i = 0; i < kRadix; ++i) y[i] = x[i * m + j];
    points.transform(y);
    x[j] = y[0];
    for (std::size_t i = 1; i < kRadix; ++i)
      x[i * m + j] = points.modulus.multiply_lazy(y[kRadix - i], r[i - 1]);
  }
}

}  // namespace

void forward_radix3(const Field& field, std::uint64_t* x, std::size_t third, std::size_t columns,
                    const Radix3& r) {
  forward_odd<3>(Points3(field), x, third, columns, r.r);
}
void inverse_radix3(const Field& field, std::uint64_t* x, std::size_t third, std::size_t columns,
                    const Radix3& r) {
  inverse_odd<3>(Points3(field), x, third, columns, r.r);
}
void forward_radix5(const Field& field, std::uint64_t* x, std::size_t fifth, std::size_t columns,
                    const Radix5& r) {
  forward_odd<5>(Points5(field), x, fifth, columns, r.r);
}
void inverse_radix5(const Field& field, std::uint64_t* x, std::size_t fifth, std::size_t columns,
                    const Radix5& r) {
  inverse_odd<5>(Points5(field), x, fifth, columns, r.r);
}

// s^j = s^(run i) s^j' from two short progressions.
void twist(const Modulus& m, std::uint64_t* x, std::size_t n, std::uint64_t s) {
  constexpr std::size_t kMostRun = 64;
  std::size_t run_length = 1;
  while (run_length < kMostRun && 4 * run_length * run_length <= n) run_length *= 2;
  const Modulus modulus = m;
  const Factor step = modulus.factor(s);
  Factor low[kMostRun];
  std::uint64_t power = 1;
  for (std::size_t j = 0; j < run_length; ++j) {
    low[j] = modulus.factor(power);
    power = modulus.reduce(modulus.multiply_lazy(power, step));
  }
  const Factor run_step = modulus.factor(power);
  Factor high = low[0];
  for (std::size_t first = 0; first < n; first += run_length) {
    const std::size_t run = std::min(run_length, n - first);
    for (std::size_t j = 0; j < run; ++j)
      x[first + j] = modulus.multiply_lazy(modulus.multiply_lazy(x[first + j], low[j]), high);
    high = modulus.factor(modulus.reduce(modulus.multiply_lazy(high.value, run_step)));
  }
}

}  // namespace nmp::n64
