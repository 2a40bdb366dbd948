#include "arith/multiply/ntt64/transform.h"

#include <algorithm>
#include <bit>

#include "arith/multiply/ntt64/passes.h"
#include "arith/multiply/ntt64/share.h"
#include "foundation/exceptions.h"

namespace nmp::n64 {
namespace {

/// Blocks of a leaf that are finished level by level; larger ones are split depth first.
constexpr std::size_t kInnerPoints = 1024;
/// Leaves are no shorter than this, however many threads there are.
constexpr std::size_t kLeastLeafPoints = 2048;
/// Blocks per thread that are shared out, as their number is seldom a multiple of the threads'.
constexpr std::size_t kBlocksPerThread = 4;

bool is_odd_power(std::size_t n) { return std::countr_zero(n) % 2 != 0; }

Radix4 table_radix4(const Factor* twiddles, std::size_t node) {
  return {twiddles[node], twiddles[2 * node], twiddles[2 * node + 1]};
}

/// A block of n = 4^k points, node `node` of its level.
void forward_inner(const Field& field, std::uint64_t* x, std::size_t n, std::size_t node) {
  const Factor* twiddles = field.twiddles();
  if (n > kInnerPoints) {
    forward_radix4(field.modulus(), x, n / 4, n / 4, table_radix4(twiddles, node));
    for (std::size_t i = 0; i < 4; ++i) forward_inner(field, x + i * (n / 4), n / 4, 4 * node + i);
    return;
  }
  std::size_t blocks = 1;
  for (std::size_t m = n; m > 4; m /= 4, blocks *= 4, node *= 4)
    for (std::size_t j = 0; j < blocks; ++j)
      forward_radix4(field.modulus(), x + j * m, m / 4, m / 4, table_radix4(twiddles, node + j));
  if (n >= 4) forward_last(field.modulus(), x, blocks, twiddles, node);
}

void inverse_inner(const Field& field, std::uint64_t* x, std::size_t n, std::size_t node) {
  const Factor* twiddles = field.inverse_twiddles();
  if (n > kInnerPoints) {
    for (std::size_t i = 0; i < 4; ++i) inverse_inner(field, x + i * (n / 4), n / 4, 4 * node + i);
    inverse_radix4(field.modulus(), x, n / 4, n / 4, table_radix4(twiddles, node));
    return;
  }
  if (n < 4) return;
  inverse_first(field.modulus(), x, n / 4, twiddles, node * (n / 4));
  for (std::size_t m = 16; m <= n; m *= 4)
    for (std::size_t j = 0; j < n / m; ++j)
      inverse_radix4(field.modulus(), x + j * m, m / 4, m / 4,
                     table_radix4(twiddles, node * (n / m) + j));
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
  Splitter(Context& context, const Field& field, std::uint64_t* plane, std::size_t n)
      : context_(context), field_(field), plane_(plane), n_(n), root_(field.root(n, 1)) {
    const unsigned threads = threads_for(context, n);
    alone_ = threads == 1 ? n : n / (kBlocksPerThread * threads);
    leaf_points_ = std::clamp(std::bit_floor(alone_), kLeastLeafPoints, kLeafPoints);
  }

  /// The plane, as blocks of m points.
  void forward(std::size_t m) const {
    if (is_one_task(m)) return blocks(m, [this](auto... block) { forward_block(block...); });
    columns(m, [this](auto... columns) { pass(false, columns...); });
    forward(m / radix(m));
  }
  void inverse(std::size_t m) const {
    if (is_one_task(m)) return blocks(m, [this](auto... block) { inverse_block(block...); });
    inverse(m / radix(m));
    columns(m, [this](auto... columns) { pass(true, columns...); });
  }

 private:
  static std::size_t radix(std::size_t m) { return m % 3 == 0 ? 3 : m % 5 == 0 ? 5 : 4; }
  bool is_leaf(std::size_t m) const { return radix(m) == 4 && m <= leaf_points_; }
  bool is_one_task(std::size_t m) const { return m <= alone_ || is_leaf(m); }

  /// Calls body(x, m, e) for all blocks of m points.
  template <class Body>
  void blocks(std::size_t m, const Body& body) const {
    if (m == n_) return body(plane_, m, std::uint64_t{0});
    const auto range = [&](std::size_t first, std::size_t last) {
      for (; first < last; ++first) body(plane_ + first * m, m, exponent(first, m));
    };
    context_.threads.parallel_for(0, n_ / m, 1, std::cref(range));
  }
  /// Calls body(x, m, e, first, last) for the columns of all blocks of m points, those of one block
  /// after those of the other.
  template <class Body>
  void columns(std::size_t m, const Body& body) const {
    const std::size_t each = m / radix(m), all = n_ / radix(m);
    const auto range = [&](std::size_t first, std::size_t last) {
      while (first < last) {
        const std::size_t block = first / each, from = first % each;
        const std::size_t to = std::min(each, from + (last - first));
        body(plane_ + block * m, m, exponent(block, m), from, to);
        first += to - from;
      }
    };
    context_.threads.parallel_for(0, all, kTaskPoints / 4, std::cref(range));
  }

  void forward_block(std::uint64_t* x, std::size_t m, std::uint64_t e) const {
    if (is_leaf(m)) {
      if (e != 0) twist(field_.modulus(), x, m, root(e / m));
      return forward_leaf(field_, x, m);
    }
    const std::size_t parts = radix(m), part = m / parts;
    pass(false, x, m, e, 0, part);
    for (std::size_t i = 0; i < parts; ++i) forward_block(x + i * part, part, child(e, parts, i));
  }
  void inverse_block(std::uint64_t* x, std::size_t m, std::uint64_t e) const {
    if (is_leaf(m)) {
      inverse_leaf(field_, x, m);
      if (e != 0) twist(field_.modulus(), x, m, root(n_ - e / m));
      return;
    }
    const std::size_t parts = radix(m), part = m / parts;
    for (std::size_t i = 0; i < parts; ++i) inverse_block(x + i * part, part, child(e, parts, i));
    pass(true, x, m, e, 0, part);
  }

  void pass(bool inverse, std::uint64_t* x, std::size_t m, std::uint64_t e, std::size_t first,
            std::size_t last) const {
    const std::size_t part = m / radix(m), count = last - first;
    x += first;
    if (radix(m) == 3)
      (inverse ? inverse_radix3 : forward_radix3)(field_, x, part, count, radix3(e / 3, inverse));
    else if (radix(m) == 5)
      (inverse ? inverse_radix5 : forward_radix5)(field_, x, part, count, radix5(e / 5, inverse));
    else
      (inverse ? inverse_radix4 : forward_radix4)(field_.modulus(), x, part, count,
                                                  radix4(e, inverse));
  }

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
  /// The exponent of part i of a block x^m - W^e. Of four parts: square roots of +-sqrt(W^e), the
  /// plus signs first.
  std::uint64_t child(std::uint64_t e, std::size_t parts, std::size_t i) const {
    constexpr std::size_t kOrder[4] = {0, 2, 1, 3};
    return e / parts + (parts == 4 ? kOrder[i] : i) * (n_ / parts);
  }
  /// The exponent of block `block` of those of m points.
  std::uint64_t exponent(std::size_t block, std::size_t m) const {
    std::uint64_t e = 0;
    std::size_t below = n_ / m;  // blocks of m points in one of `size`
    for (std::size_t size = n_; size > m; size /= radix(size)) {
      below /= radix(size);
      e = child(e, radix(size), block / below);
      block %= below;
    }
    return e;
  }

  Context& context_;
  const Field& field_;
  std::uint64_t* plane_;
  std::size_t n_;
  std::uint64_t root_;       ///< W
  std::size_t alone_;        ///< points of a block that is one thread's at most, unless a leaf
  std::size_t leaf_points_;  ///< points of a leaf at most
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

void forward(Context& context, const Field& field, std::uint64_t* plane, std::size_t n) {
  Splitter(context, field, plane, n).forward(n);
}

void inverse(Context& context, const Field& field, std::uint64_t* plane, std::size_t n) {
  Splitter(context, field, plane, n).inverse(n);
}

void multiply_points(Context& context, const Field& field, std::uint64_t* a, const std::uint64_t* b,
                     std::size_t n) {
  share(context, n, [a, b, &field](std::size_t first, std::size_t last) {
    const Modulus m = field.modulus();
    for (std::size_t j = first; j < last; ++j) {
      const std::uint64_t x = m.halve_range(a[j]);
      a[j] = m.halve_range(m.multiply_wide(x, m.reduce(b[j])));
    }
  });
}

}  // namespace nmp::n64
