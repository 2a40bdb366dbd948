#include "arith/multiply/ntt64/transform.h"

#include <array>
#include <bit>

#include "arith/multiply/ntt64/passes.h"
#include "foundation/exceptions.h"

namespace nmp::n64 {
namespace {

/// Blocks of a leaf that are finished level by level; larger ones are split depth first.
constexpr std::size_t kInnerPoints = 1024;

bool is_odd_power(std::size_t n) { return std::countr_zero(n) % 2 != 0; }

Radix4 table_radix4(const Factor* twiddles, std::size_t node) {
  return {twiddles[node], twiddles[2 * node], twiddles[2 * node + 1]};
}

/// A block of n = 4^k points, node `node` of its level.
void forward_inner(const Field& field, std::uint64_t* x, std::size_t n, std::size_t node) {
  const Factor* twiddles = field.twiddles();
  if (n > kInnerPoints) {
    forward_radix4(field.modulus(), x, n / 4, table_radix4(twiddles, node));
    for (std::size_t i = 0; i < 4; ++i) forward_inner(field, x + i * (n / 4), n / 4, 4 * node + i);
    return;
  }
  std::size_t blocks = 1;
  for (std::size_t m = n; m > 4; m /= 4, blocks *= 4, node *= 4)
    for (std::size_t j = 0; j < blocks; ++j)
      forward_radix4(field.modulus(), x + j * m, m / 4, table_radix4(twiddles, node + j));
  if (n >= 4) forward_last(field.modulus(), x, blocks, twiddles, node);
}

void inverse_inner(const Field& field, std::uint64_t* x, std::size_t n, std::size_t node) {
  const Factor* twiddles = field.inverse_twiddles();
  if (n > kInnerPoints) {
    for (std::size_t i = 0; i < 4; ++i) inverse_inner(field, x + i * (n / 4), n / 4, 4 * node + i);
    inverse_radix4(field.modulus(), x, n / 4, table_radix4(twiddles, node));
    return;
  }
  if (n < 4) return;
  inverse_first(field.modulus(), x, n / 4, twiddles, node * (n / 4));
  for (std::size_t m = 16; m <= n; m *= 4)
    for (std::size_t j = 0; j < n / m; ++j)
      inverse_radix4(field.modulus(), x + j * m, m / 4, table_radix4(twiddles, node * (n / m) + j));
}

/// A cyclic transform of n = 2^k <= kLeafPoints points.
void forward_leaf(const Field& field, std::uint64_t* x, std::size_t n) {
  if (!is_odd_power(n)) return forward_inner(field, x, n, 0);
  forward_radix2(field.modulus(), x, n / 2, field.twiddles()[0]);
  forward_inner(field, x, n / 2, 0);
  forward_inner(field, x + n / 2, n / 2, 1);
}

void inverse_leaf(const Field& field, std::uint64_t* x, std::size_t n) {
  if (!is_odd_power(n)) return inverse_inner(field, x, n, 0);
  inverse_inner(field, x, n / 2, 0);
  inverse_inner(field, x + n / 2, n / 2, 1);
  inverse_radix2(field.modulus(), x, n / 2, field.inverse_twiddles()[0]);
}

/// Splits of blocks x^m - W^e, where W has order n: the length of the whole transform. The
/// directions differ in the sign of every exponent and in the order of the steps.
class Splitter {
 public:
  Splitter(const Field& field, std::uint64_t n) : field_(field), n_(n), root_(field.root(n, 1)) {}

  void forward(std::uint64_t* x, std::size_t m, std::uint64_t e) const {
    if (m % 3 == 0) {
      forward_radix3(field_, x, m / 3, radix3(e / 3, false));
      for (std::size_t i = 0; i < 3; ++i) forward(x + i * (m / 3), m / 3, e / 3 + i * (n_ / 3));
    } else if (m % 5 == 0) {
      forward_radix5(field_, x, m / 5, radix5(e / 5, false));
      for (std::size_t i = 0; i < 5; ++i) forward(x + i * (m / 5), m / 5, e / 5 + i * (n_ / 5));
    } else if (m > kLeafPoints) {
      forward_radix4(field_.modulus(), x, m / 4, radix4(e, false));
      for (std::size_t i = 0; i < 4; ++i) forward(x + i * (m / 4), m / 4, quarter(e, i));
    } else {
      if (e != 0) twist(field_.modulus(), x, m, root(e / m));
      forward_leaf(field_, x, m);
    }
  }

  void inverse(std::uint64_t* x, std::size_t m, std::uint64_t e) const {
    if (m % 3 == 0) {
      for (std::size_t i = 0; i < 3; ++i) inverse(x + i * (m / 3), m / 3, e / 3 + i * (n_ / 3));
      inverse_radix3(field_, x, m / 3, radix3(e / 3, true));
    } else if (m % 5 == 0) {
      for (std::size_t i = 0; i < 5; ++i) inverse(x + i * (m / 5), m / 5, e / 5 + i * (n_ / 5));
      inverse_radix5(field_, x, m / 5, radix5(e / 5, true));
    } else if (m > kLeafPoints) {
      for (std::size_t i = 0; i < 4; ++i) inverse(x + i * (m / 4), m / 4, quarter(e, i));
      inverse_radix4(field_.modulus(), x, m / 4, radix4(e, true));
    } else {
      inverse_leaf(field_, x, m);
      if (e != 0) twist(field_.modulus(), x, m, root(n_ - e / m));
    }
  }

 private:
  std::uint64_t root(std::uint64_t e) const { return field_.modulus().power(root_, e % n_); }
  Factor power(std::uint64_t e, bool inverse) const {
    return field_.modulus().factor(root(inverse ? n_ - e % n_ : e));
  }
  Radix3 radix3(std::uint64_t e, bool inverse) const {
    return {{power(e, inverse), power(2 * e, inverse)}};
  }
  Radix5 radix5(std::uint64_t e, bool inverse) const {
    return {
        {power(e, inverse), power(2 * e, inverse), power(3 * e, inverse), power(4 * e, inverse)}};
  }
  Radix4 radix4(std::uint64_t e, bool inverse) const {
    return {power(e / 2, inverse), power(e / 4, inverse), power(e / 4 + n_ / 4, inverse)};
  }
  /// Exponents of the four blocks: square roots of +-sqrt(W^e), the plus signs first.
  std::uint64_t quarter(std::uint64_t e, std::size_t i) const {
    constexpr std::size_t kOrder[4] = {0, 2, 1, 3};
    return e / 4 + kOrder[i] * (n_ / 4);
  }

  const Field& field_;
  std::uint64_t n_;
  std::uint64_t root_;  ///< W
};

}  // namespace

std::uint64_t transform_length(std::uint64_t points) {
  if (points > kRootOrder)
    throw LimitExceededException("n64::transform_length()",
                                 "The transform has more points than its roots of unity serve.",
                                 points, kRootOrder);
  std::uint64_t best = std::bit_ceil(points);
  for (const std::uint64_t odd : {3, 5, 15}) {
    const std::uint64_t length = odd * std::bit_ceil((points + odd - 1) / odd);
    if (length < best) best = length;
  }
  // Above 2^48 only the lengths with odd factors divide the order of the roots.
  return best;
}

void forward(const Field& field, std::uint64_t* plane, std::size_t n) {
  Splitter(field, n).forward(plane, n, 0);
}

void inverse(const Field& field, std::uint64_t* plane, std::size_t n) {
  Splitter(field, n).inverse(plane, n, 0);
}

void multiply_points(const Field& field, std::uint64_t* a, const std::uint64_t* b, std::size_t n) {
  const Modulus modulus = field.modulus();
  for (std::size_t j = 0; j < n; ++j) {
    const std::uint64_t x = modulus.halve_range(a[j]);
    a[j] = modulus.halve_range(modulus.multiply_wide(x, modulus.reduce(b[j])));
  }
}

}  // namespace nmp::n64
