#include "arith/multiply/hybrid/hybrid_field.h"

#include <bit>
#include <cmath>

#include "arith/multiply/hybrid/hybrid_format.h"
#include "foundation/exceptions.h"

namespace nmp::hybrid {
namespace {

constexpr unsigned kOdd[4] = {1, 3, 5, 15};

/// a * b modulo p < 2^50, with 64-bit arithmetic only.
constexpr std::uint64_t multiply_modulo(std::uint64_t a, std::uint64_t b, std::uint64_t p) {
  std::uint64_t result = 0;
  for (int shift = 39; shift >= 0; shift -= 13) {
    result = ((result << 13) + a * (b >> shift & 0x1FFF)) % p;
  }
  return result;
}

/// An element of order exactly 15 * 2^36.
std::uint64_t principal_root(const Field& f) {
  for (std::uint64_t x = 2;; ++x) {
    const std::uint64_t root = f.power(x, (f.p - 1) / kUnit);
    if (f.power(root, kUnit / 2) != 1 && f.power(root, kUnit / 3) != 1 &&
        f.power(root, kUnit / 5) != 1) {
      return root;
    }
  }
}

void fill_roots(Field& f, std::uint64_t principal, Direction direction) {
  for (unsigned i = 0; i < 4; ++i) {
    std::uint64_t root = f.power(principal, 15 / kOdd[i]);
    for (unsigned k = kMaxLogLength + 1; k-- > 0;) {
      f.root[direction][i][k] = f.centred(root);
      root = f.multiply(root, root);
    }
  }
}

/// The radix-3 and radix-5 steps with the roots g3 and g5.
OddRoots odd_roots(const Field& f, std::uint64_t g3, std::uint64_t g5) {
  const std::uint64_t half = f.inverse_of_two;
  const auto sum = [&](std::uint64_t g, unsigned k, unsigned order, bool minus) {
    const std::uint64_t a = f.power(g, k), b = f.power(g, order - k);
    return f.centred(f.multiply(minus ? a + f.p - b : a + b, half));
  };
  OddRoots r;
  r.half3 = f.centred(f.p - half);
  r.sine3 = sum(g3, 1, 3, true);
  for (unsigned k = 1; k <= 2; ++k) {
    r.cosine5[k - 1] = sum(g5, k, 5, false);
    r.sine5[k - 1] = sum(g5, k, 5, true);
  }
  return r;
}

void fill_odd_roots(Field& f, std::uint64_t principal, Direction direction) {
  const std::uint64_t g15 = f.power(principal, std::uint64_t{1} << kMaxLogLength);
  const auto g = [&](unsigned exponent) { return f.power(g15, exponent); };
  f.odd_roots[direction][odd_index(1)] = {};
  f.odd_roots[direction][odd_index(3)] = odd_roots(f, g(5), g(3));
  f.odd_roots[direction][odd_index(5)] = odd_roots(f, g(5), g(3));
  f.odd_roots[direction][odd_index(15)] = odd_roots(f, g(10), g(6));
}

void fill_row_trees(Field& f, Direction direction, const Kernels& kernels) {
  double* const t = f.roots_in_order[direction];
  kernels.make_roots(t, kMaxLogRow - 1, f.root[direction][0], f.mod);
  kernels.make_blocks(f.blocks[direction], t, std::size_t{1} << kMaxLogRow);
  for (unsigned log = kMinLogRow; log <= kMaxLogRow; ++log) {
    Tree& tree = f.row[direction][log];
    tree.log = log;
    tree.half = 1;
    for (Level& level : tree.level) level = {t, t};
    tree.blocks = f.blocks[direction];
  }
}

struct BuiltFields : Fields {
  explicit BuiltFields(const Kernels& kernels) {
    for (unsigned k = 0; k < kMaxPrimes; ++k) build(field[k], kPrimes[k], kernels);
    for (unsigned k = 0; k < kMaxPrimes; ++k) {
      garner.mod[k] = field[k].mod;
      for (unsigned i = 0; i < kMaxPrimes; ++i) {
        garner.inverse[i][k] =
            i < k ? field[k].centred(field[k].power(field[i].p, field[k].p - 2)) : 0;
      }
      const Limbs product = product_of_primes(k);
      for (unsigned i = 0; i < kMaxPrimes; ++i) garner.radix[k][i] = product.limb[i];
    }
  }
};

}  // namespace

void build(Field& f, std::uint64_t p, const Kernels& kernels) {
  if (!rounding_holds(p)) {
    throw AlgorithmFailedException("nmp::hybrid::fields", "A prime breaks the rounding bounds.");
  }
  f.p = p;
  f.mod = {static_cast<double>(p), 1.0 / static_cast<double>(p)};
  f.inverse_of_two = (p + 1) / 2;
  for (unsigned i = 0; i < 4; ++i) {
    std::uint64_t inverse = f.power(kOdd[i], p - 2);
    for (double& x : f.inverse_of_length[i]) {
      x = f.centred(inverse);
      inverse = f.multiply(inverse, f.inverse_of_two);
    }
  }
  for (unsigned i = 0; i < kFormatCount; ++i) f.bias[i] = f.residue(bias(kFormats[i], 1));
  const std::uint64_t principal = principal_root(f);
  const std::uint64_t inverse = f.power(principal, p - 2);
  for (const Direction direction : {kForward, kInverse}) {
    const std::uint64_t root = direction == kForward ? principal : inverse;
    fill_roots(f, root, direction);
    fill_odd_roots(f, root, direction);
    fill_row_trees(f, direction, kernels);
  }
}

bool rounding_holds(std::uint64_t p) {
  if (p >= std::uint64_t{1} << 50) return false;
  const double x = static_cast<double>(p);
  const double error = std::fabs(std::fma(x, 1.0 / x, -1.0));
  const int bits = static_cast<int>(std::bit_width(p));
  // Bits of 2p^2: 2^(2 bits - 1) / p^2 is exact enough, being far from 1 unless p is a power of 2.
  const int square_bits =
      2 * bits - (std::ldexp(x, -bits) * std::ldexp(x, -bits) < 0.5 ? 1 : 0) + 1;
  const auto quotient_error = [&](int twice) {  // for |ab| < 2^twice * p^2
    return std::ldexp(x * error, twice) + std::ldexp(1.0, square_bits + twice - 1 - 54) / x + 0.5 +
           std::ldexp(1.0, bits + twice - 54);
  };
  return quotient_error(1) < 0.99 && quotient_error(2) < 1.49;
}

std::uint64_t Field::multiply(std::uint64_t a, std::uint64_t b) const {
  return multiply_modulo(a % p, b % p, p);
}

std::uint64_t Field::power(std::uint64_t a, std::uint64_t exponent) const {
  std::uint64_t result = 1;
  for (; exponent > 0; exponent >>= 1, a = multiply(a, a)) {
    if (exponent & 1) result = multiply(result, a);
  }
  return result;
}

double Field::centred(std::uint64_t a) const {
  a %= p;
  return a > p / 2 ? -static_cast<double>(p - a) : static_cast<double>(a);
}

std::uint64_t Field::residue(const Limbs& x) const {
  std::uint64_t r = 0;
  for (unsigned i = 2 * Limbs::kCount; i-- > 0;) {
    const std::uint64_t half = x.limb[i / 2] >> (i % 2 * 32) & 0xFFFFFFFF;
    r = (multiply(r, std::uint64_t{1} << 32) + half) % p;
  }
  return r;
}

const Fields& fields(const Kernels& kernels) {
  if (&kernels == &kKernelsAvx512) {
    static const BuiltFields built(kKernelsAvx512);
    return built;
  }
  static const BuiltFields built(kKernelsAvx2);
  return built;
}

}  // namespace nmp::hybrid
