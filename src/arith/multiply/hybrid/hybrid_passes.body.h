// The loops of the hybrid NTT that do not depend on the width of a vector. Included by the file of
// one instruction set, inside its unnamed namespace, after `V`: a vector of doubles.
//
// Bounds: |root| <= p / 2 for every twiddle. |a b| < 2p^2 gives |mul(a, b)| < p, and |a b| < 4p^2
// gives |mul(a, b)| < 3p / 2; `rounding_holds` has checked both for each prime.

/// Part of a tree that is worked level by level: half of a 32 KiB first-level cache.
constexpr std::size_t kCachedDoubles = 2048;

/// Two vectors that go through the same steps: the instructions of both alternate, because one
/// alone would wait for its own results.
struct Pair {
  V a, b;
  Pair operator+(Pair o) const { return {a + o.a, b + o.b}; }
  Pair operator-(Pair o) const { return {a - o.a, b - o.b}; }
  Pair operator*(Pair o) const { return {a * o.a, b * o.b}; }
  Pair operator*(V o) const { return {a * o, b * o}; }
};
inline Pair round(Pair x) { return {round(x.a), round(x.b)}; }
inline Pair fused_subtract(Pair x, Pair y, Pair z) {
  return {fused_subtract(x.a, y.a, z.a), fused_subtract(x.b, y.b, z.b)};
}
inline Pair negated_fused_add(Pair x, V y, Pair z) {
  return {negated_fused_add(x.a, y, z.a), negated_fused_add(x.b, y, z.b)};
}

struct Mod {
  V p, inverse;
  Mod() = default;
  explicit Mod(Modulus m) : p(V::all(m.p)), inverse(V::all(m.inverse)) {}
  /// a * b modulo p.
  template <typename T>
  T mul(T a, T b) const {
    const T high = a * b;
    const T quotient = round(high * inverse);
    const T low = fused_subtract(a, b, high);
    return negated_fused_add(quotient, p, high) + low;
  }
  /// a modulo p, |result| <= p / 2 and a little.
  template <typename T>
  T reduce(T a) const {
    return negated_fused_add(round(a * inverse), p, a);
  }
  /// (-p, p) to [0, p).
  V positive(V a) const { return a + and_negative(a, p); }
  Pair positive(Pair x) const { return {positive(x.a), positive(x.b)}; }
};

/// One number modulo p, for the few that are not worth a vector.
struct ScalarMod {
  Mod m;
  explicit ScalarMod(Modulus modulus) : m(modulus) {}
  double mul(double a, double b) const { return m.mul(V::all(a), V::all(b)).first(); }
};

/// Two points of x^(2h) - w^2 to the two factors. |x| < 7p/2 to |x| < 9p/2.
template <typename T>
inline void forward2(T& x0, T& x1, T w, const Mod& m) {
  const T y0 = x0, y1 = m.mul(x1, w);
  x0 = y0 + y1;
  x1 = y0 - y1;
}

/// Four points of x^(4h) - w2^2 to the four factors. |x| < 6p to |x| < 7p/2; without the reduction
/// of x0 |x| < 7p/2 to |x| < 6p. So every second call goes without.
template <bool kReduce = true, typename T>
inline void forward4(T& x0, T& x1, T& x2, T& x3, T w2, T w, T iw, const Mod& m) {
  if constexpr (kReduce) x0 = m.reduce(x0);
  x2 = m.mul(x2, w2);
  x3 = m.mul(x3, w2);
  const T y0 = x0 + x2, y2 = x0 - x2;
  const T y1 = m.mul(x1 + x3, w), y3 = m.mul(x1 - x3, iw);
  x0 = y0 + y1;
  x1 = y0 - y1;
  x2 = y2 + y3;
  x3 = y2 - y3;
}

/// The same for w2 = w = 1: |x| < 8p to |x| < 2p; then for x2 = x3 = 0: |x| < 8p to |x| < 3p/2.
template <typename T>
inline void forward4_unit(T& x0, T& x1, T& x2, T& x3, T i, const Mod& m) {
  const T z0 = m.reduce(x0), z1 = m.reduce(x1), z2 = m.reduce(x2), z3 = m.reduce(x3);
  const T y0 = z0 + z2, y2 = z0 - z2, y1 = z1 + z3, y3 = m.mul(z1 - z3, i);
  x0 = y0 + y1;
  x1 = y0 - y1;
  x2 = y2 + y3;
  x3 = y2 - y3;
}
template <typename T>
inline void forward4_half(T& x0, T& x1, T& x2, T& x3, T i, const Mod& m) {
  const T z0 = m.reduce(x0), z1 = m.reduce(x1), y3 = m.mul(z1, i);
  x0 = z0 + z1;
  x1 = z0 - z1;
  x2 = z0 + y3;
  x3 = z0 - y3;
}

/// The inverse of four times forward4, with inverse twiddles. |x| < 2p to |x0| < p, |x1| < 2p,
/// |x2| < 3p/2, |x3| < p.
template <typename T>
inline void inverse4(T& x0, T& x1, T& x2, T& x3, T w2, T w, T iw, const Mod& m) {
  const T y0 = x0 + x1, y1 = m.mul(x0 - x1, w);
  const T y2 = x2 + x3, y3 = m.mul(x2 - x3, iw);
  x0 = m.reduce(y0 + y2);
  x2 = m.mul(y0 - y2, w2);
  x1 = y1 + y3;
  x3 = m.mul(y1 - y3, w2);
}

/// The same for w2 = w = 1. |x| < 2p to |x| < p.
template <typename T>
inline void inverse4_unit(T& x0, T& x1, T& x2, T& x3, T i, const Mod& m) {
  const T y0 = x0 + x1, y1 = x0 - x1, y2 = x2 + x3, y3 = m.mul(x2 - x3, i);
  x0 = m.reduce(y0 + y2);
  x2 = m.reduce(y0 - y2);
  x1 = m.reduce(y1 + y3);
  x3 = m.reduce(y1 - y3);
}

/// The two kinds of nodes at the root of a tree, and all others. `kHalf` is a unit whose input has
/// zeros in its upper half: they are not read.
enum class Kind { kGeneral, kUnit, kHalf };

/// One node, 2^kLog points of one column in registers. A node at radix-4 level 0 or below that
/// splits by 2 first does so with the tree's `half`.
struct Node {
  const Tree* tree;
  unsigned level;
  std::size_t j;
  V w2(unsigned depth, std::size_t child) const {
    return V::all(tree->level[level + depth].w2[(j << (2 * depth)) + child]);
  }
  V w(unsigned depth, std::size_t child) const {
    return V::all(tree->level[level + depth].w[2 * ((j << (2 * depth)) + child)]);
  }
  V iw(unsigned depth, std::size_t child) const {
    return V::all(tree->level[level + depth].w[2 * ((j << (2 * depth)) + child) + 1]);
  }
};

template <bool kReduce = true>
inline void forward_child(V& x0, V& x1, V& x2, V& x3, const Node& n, unsigned depth,
                          std::size_t child, const Mod& m) {
  forward4<kReduce>(x0, x1, x2, x3, n.w2(depth, child), n.w(depth, child), n.iw(depth, child), m);
}
inline void inverse_child(V& x0, V& x1, V& x2, V& x3, const Node& n, unsigned depth,
                          std::size_t child, const Mod& m) {
  inverse4(x0, x1, x2, x3, n.w2(depth, child), n.w(depth, child), n.iw(depth, child), m);
}

/// Four pairs out of an array, and back into it at the end.
class Quad {
 public:
  Quad(V* x, V* y, unsigned step) : x_(x), y_(y), step_(step) {
    for (unsigned i = 0; i < 4; ++i) q[i] = {x[i * step], y[i * step]};
  }
  ~Quad() {
    for (unsigned i = 0; i < 4; ++i) {
      x_[i * step_] = q[i].a;
      y_[i * step_] = q[i].b;
    }
  }
  Pair q[4];

 private:
  V *x_, *y_;
  unsigned step_;
};
inline Pair twice(V x) { return {x, x}; }

/// |x| < 7p/2 to |x| < 7p/2.
template <unsigned kLog, Kind kKind>
inline void forward_points(V* x, const Node& n, const Mod& m) {
  constexpr bool kUnit = kKind != Kind::kGeneral, kHalf = kKind == Kind::kHalf;
  if constexpr (kLog == 1) {
    if constexpr (kHalf) {
      x[1] = x[0];
    } else {
      x[0] = m.reduce(x[0]);
      x[1] = m.reduce(x[1]);
      forward2(x[0], x[1], V::all(n.tree->half), m);
    }
  } else if constexpr (kLog == 3) {
    for (unsigned i = 0; i < 4; ++i) {
      if constexpr (kHalf) {
        x[i + 4] = x[i];
      } else if constexpr (kUnit) {
        const V y = m.reduce(x[i + 4]);  // |x| < 4p after this step
        x[i + 4] = x[i] - y;
        x[i] = x[i] + y;
      } else {
        forward2(x[i], x[i + 4], V::all(n.tree->half), m);
      }
    }
    if constexpr (kUnit) {
      forward4_unit(x[0], x[1], x[2], x[3], n.iw(0, 0), m);
    } else {
      forward_child(x[0], x[1], x[2], x[3], n, 0, 0, m);
    }
    forward_child(x[4], x[5], x[6], x[7], n, 0, 1, m);
  } else {
    static_assert(kLog == 4);
    for (unsigned i = 0; i < 4; i += 2) {
      Quad x4(x + i, x + i + 1, 4);
      auto& q = x4.q;
      if constexpr (kHalf) {
        forward4_half(q[0], q[1], q[2], q[3], twice(n.iw(0, 0)), m);
      } else if constexpr (kUnit) {
        forward4_unit(q[0], q[1], q[2], q[3], twice(n.iw(0, 0)), m);
      } else {
        forward4<false>(q[0], q[1], q[2], q[3], twice(n.w2(0, 0)), twice(n.w(0, 0)),
                        twice(n.iw(0, 0)), m);
      }
    }
    if constexpr (kUnit) {
      forward4_unit(x[0], x[1], x[2], x[3], n.iw(1, 0), m);
      // Without a reduction 3p/2 grows to 7p/2 at most.
      forward_child<!kHalf>(x[4], x[5], x[6], x[7], n, 1, 1, m);
    }
    for (unsigned i = kUnit ? 2 : 0; i < 4; i += 2) {
      Quad x4(x + 4 * i, x + 4 * i + 4, 1);
      auto& q = x4.q;
      forward4<!kHalf>(q[0], q[1], q[2], q[3], Pair{n.w2(1, i), n.w2(1, i + 1)},
                       Pair{n.w(1, i), n.w(1, i + 1)}, Pair{n.iw(1, i), n.iw(1, i + 1)}, m);
    }
  }
}

/// |x| < 2p to |x| < 2p.
template <unsigned kLog, Kind kKind>
inline void inverse_points(V* x, const Node& n, const Mod& m) {
  constexpr bool kUnit = kKind != Kind::kGeneral;
  if constexpr (kLog == 1) {
    const V sum = x[0] + x[1], difference = x[0] - x[1];
    x[0] = m.reduce(sum);
    x[1] = kUnit ? m.reduce(difference) : m.mul(difference, V::all(n.tree->half));
  } else if constexpr (kLog == 3) {
    if constexpr (kUnit) {
      inverse4_unit(x[0], x[1], x[2], x[3], n.iw(0, 0), m);
    } else {
      inverse_child(x[0], x[1], x[2], x[3], n, 0, 0, m);
    }
    inverse_child(x[4], x[5], x[6], x[7], n, 0, 1, m);
    for (unsigned i = 0; i < 4; ++i) {
      const V sum = x[i] + x[i + 4], difference = x[i] - x[i + 4];
      x[i] = m.reduce(sum);
      x[i + 4] = kUnit ? m.reduce(difference) : m.mul(difference, V::all(n.tree->half));
    }
  } else {
    static_assert(kLog == 4);
    if constexpr (kUnit) {
      inverse4_unit(x[0], x[1], x[2], x[3], n.iw(1, 0), m);
      inverse_child(x[4], x[5], x[6], x[7], n, 1, 1, m);
    }
    for (unsigned i = kUnit ? 2 : 0; i < 4; i += 2) {
      Quad x4(x + 4 * i, x + 4 * i + 4, 1);
      auto& q = x4.q;
      inverse4(q[0], q[1], q[2], q[3], Pair{n.w2(1, i), n.w2(1, i + 1)},
               Pair{n.w(1, i), n.w(1, i + 1)}, Pair{n.iw(1, i), n.iw(1, i + 1)}, m);
    }
    for (unsigned i = 0; i < 4; i += 2) {
      Quad x4(x + i, x + i + 1, 4);
      auto& q = x4.q;
      if constexpr (kUnit) {
        inverse4_unit(q[0], q[1], q[2], q[3], twice(n.iw(0, 0)), m);
      } else {
        inverse4(q[0], q[1], q[2], q[3], twice(n.w2(0, 0)), twice(n.w(0, 0)), twice(n.iw(0, 0)), m);
      }
    }
  }
}

/// Rows or vectors that a pass reads and writes: `step` doubles apart.
struct Place {
  double* x;
  std::size_t step;
  Place part(std::size_t i) const { return {x + i * step, step}; }
};

/// One radix-4 node over two vectors of columns.
template <Kind kKind, bool kForward>
inline void quad_points(Pair q[4], const Node& n, const Mod& m) {
  const Pair iw = twice(n.iw(0, 0));
  if constexpr (kKind == Kind::kGeneral) {
    const Pair w2 = twice(n.w2(0, 0)), w = twice(n.w(0, 0));
    if constexpr (kForward) {
      forward4(q[0], q[1], q[2], q[3], w2, w, iw, m);
    } else {
      inverse4(q[0], q[1], q[2], q[3], w2, w, iw, m);
    }
  } else if constexpr (!kForward) {
    inverse4_unit(q[0], q[1], q[2], q[3], iw, m);
  } else if constexpr (kKind == Kind::kUnit) {
    forward4_unit(q[0], q[1], q[2], q[3], iw, m);
  } else {
    forward4_half(q[0], q[1], q[2], q[3], iw, m);
  }
}

/// One node over `n` columns, a multiple of 16.
template <unsigned kLog, Kind kKind, bool kForward>
void pass(Place in, Place out, std::size_t n, const Node& node, const Mod& m) {
  constexpr unsigned kPoints = 1u << kLog;
  constexpr unsigned kRead = kForward && kKind == Kind::kHalf ? kPoints / 2 : kPoints;
  if constexpr (kLog == 2) {
    for (std::size_t i = 0; i < n; i += 2 * V::kLanes) {
      Pair q[4];
      for (unsigned k = 0; k < kRead; ++k) {
        const double* const from = in.x + k * in.step + i;
        q[k] = {V::load(from), V::load(from + V::kLanes)};
      }
      quad_points<kKind, kForward>(q, node, m);
      for (unsigned k = 0; k < kPoints; ++k) {
        double* const to = out.x + k * out.step + i;
        q[k].a.store(to);
        q[k].b.store(to + V::kLanes);
      }
    }
  } else {
    for (std::size_t i = 0; i < n; i += V::kLanes) {
      V x[kPoints];
      for (unsigned k = 0; k < kRead; ++k) x[k] = V::load(in.x + k * in.step + i);
      if constexpr (kForward) {
        forward_points<kLog, kKind>(x, node, m);
      } else {
        inverse_points<kLog, kKind>(x, node, m);
      }
      for (unsigned k = 0; k < kPoints; ++k) x[k].store(out.x + k * out.step + i);
    }
  }
}

/// Parts of an odd step, in the order in which it takes them.
template <unsigned kOdd>
using Parts = unsigned[kOdd];

/// Three parts of `n` doubles. |x| < 2p; the results are reduced.
inline void radix3(Place in, Place out, const Parts<3>& part, std::size_t n, const OddRoots& roots,
                   const Mod& m) {
  const V half3 = V::all(roots.half3), sine3 = V::all(roots.sine3);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    V x[3];
    for (unsigned k = 0; k < 3; ++k) x[k] = V::load(in.part(part[k]).x + i);
    const V sum = x[1] + x[2];
    const V even = m.reduce(x[0]) + m.mul(sum, half3), odd = m.mul(x[1] - x[2], sine3);
    m.reduce(x[0] + sum).store(out.part(part[0]).x + i);
    m.reduce(even + odd).store(out.part(part[1]).x + i);
    m.reduce(even - odd).store(out.part(part[2]).x + i);
  }
}

inline void radix5(Place in, Place out, const Parts<5>& part, std::size_t n, const OddRoots& roots,
                   const Mod& m) {
  const V c1 = V::all(roots.cosine5[0]), c2 = V::all(roots.cosine5[1]);
  const V s1 = V::all(roots.sine5[0]), s2 = V::all(roots.sine5[1]);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    V x[5];
    for (unsigned k = 0; k < 5; ++k) x[k] = V::load(in.part(part[k]).x + i);
    const V sum1 = x[1] + x[4], sum2 = x[2] + x[3];
    const V difference1 = x[1] - x[4], difference2 = x[2] - x[3];
    const V base = m.reduce(x[0]);
    const V even1 = base + m.mul(sum1, c1) + m.mul(sum2, c2);
    const V even2 = base + m.mul(sum1, c2) + m.mul(sum2, c1);
    const V odd1 = m.mul(difference1, s1) + m.mul(difference2, s2);
    const V odd2 = m.mul(difference1, s2) - m.mul(difference2, s1);
    // Five times 2p would be too much for a double.
    m.reduce(base + m.reduce(sum1) + sum2).store(out.part(part[0]).x + i);
    m.reduce(even1 + odd1).store(out.part(part[1]).x + i);
    m.reduce(even1 - odd1).store(out.part(part[4]).x + i);
    m.reduce(even2 + odd2).store(out.part(part[2]).x + i);
    m.reduce(even2 - odd2).store(out.part(part[3]).x + i);
  }
}

/// The step over `odd` equal parts, each of `n` doubles. For 15 it is the product of a radix-3
/// and a radix-5 step on the residues of the part's number (I. J. Good, 1958): no twiddles between,
/// and output number q lands in part q.
void odd_pass(Place in, Place out, std::size_t n, unsigned odd, const OddRoots& roots,
              const Mod& m) {
  Parts<3> three[5];
  Parts<5> five[3];
  for (unsigned i = 0; i < 15; ++i) {
    const unsigned at = odd == 15 ? (10 * (i % 3) + 6 * (i % 5)) % 15 : 0;
    three[i % 5][i % 3] = odd == 15 ? at : i % 3;
    five[i % 3][i % 5] = odd == 15 ? at : i % 5;
  }
  const unsigned threes = odd % 3 ? 0 : odd / 3, fives = odd % 5 ? 0 : odd / 5;
  // One set of streams at a time: fifteen, a power of two apart, would fight for one cache set.
  for (unsigned k = 0; k < threes; ++k) radix3(in, out, three[k], n, roots, m);
  for (unsigned k = 0; k < fives; ++k) radix5(threes ? out : in, out, five[k], n, roots, m);
}

/// Levels that one pass takes of `log`, at the root and below. At the root it is odd with `log`.
constexpr unsigned root_levels(unsigned log) {
  if (V::kRegisters < 32) return log % 2 ? 1 : 2;
  return log % 4 != 1 ? (log + 3) % 4 + 1 : log == 1 ? 1 : 3;
}
constexpr unsigned inner_levels(unsigned log) { return V::kRegisters < 32 || log % 4 ? 2 : 4; }

/// The way through a tree: rows down to blocks, or the columns of a strip, `unit` doubles a row,
/// from or to rows that lie elsewhere.
template <bool kRow, bool kForward>
struct Walk {
  const Tree* tree;
  std::size_t unit;  ///< doubles of a leaf
  Place rows;        ///< columns only: the rows of the plane
  const Mod& m;

  /// One pass over node j of a level: 2^log leaves at x, in place but at the border to the plane.
  template <unsigned kLog, Kind kKind>
  void run(double* x, unsigned log, unsigned level, std::size_t j) const {
    const std::size_t step = unit << (log - kLog);
    const Place strip = {x, step};
    const bool border = !kRow && log == kLog;
    const Place far = {rows.x + (j << log) * rows.step, rows.step};
    pass<kLog, kKind, kForward>(border && !kForward ? far : strip, border && kForward ? far : strip,
                                step, {tree, level, j}, m);
  }
  void run_inner(double* x, unsigned log, unsigned level, std::size_t j, unsigned take) const {
    if constexpr (V::kRegisters >= 32) {
      if (take == 4) return run<4, Kind::kGeneral>(x, log, level, j);
    }
    run<2, Kind::kGeneral>(x, log, level, j);
  }
  template <Kind kKind>
  void run_root(double* x, unsigned log, unsigned take) const {
    if (take == 1) return run<1, kKind>(x, log, 0, 0);
    if (take == 2) return run<2, kKind>(x, log, 0, 0);
    if constexpr (V::kRegisters >= 32) {
      if (take == 3) return run<3, kKind>(x, log, 0, 0);
      if (take == 4) return run<4, kKind>(x, log, 0, 0);
    }
  }

  /// `count` nodes from node j of a level on, each of 2^log leaves; level by level once they fit
  /// the cache.
  void inner(double* x, std::size_t count, unsigned log, unsigned level, std::size_t j) const {
    if (log == 0) {
      if constexpr (kRow && kForward) forward_blocks(x, count, tree->blocks + j * kBlock, m);
      if constexpr (kRow && !kForward) inverse_blocks(x, count, tree->blocks + j * kBlock, m);
      return;
    }
    const unsigned take = inner_levels(log), rest = log - take, below = level + take / 2;
    const std::size_t length = unit << log;
    if (count > 1 && count * length > kCachedDoubles) {
      for (std::size_t i = 0; i < count; ++i) inner(x + i * length, 1, log, level, j + i);
      return;
    }
    if (!kForward) inner(x, count << take, rest, below, j << take);
    for (std::size_t i = 0; i < count; ++i) run_inner(x + i * length, log, level, j + i, take);
    if (kForward) inner(x, count << take, rest, below, j << take);
  }
  template <Kind kKind>
  void root(double* x, unsigned log) const {
    if (log == 0) {
      if (kRow) inner(x, 1, 0, 0, 0);
      return;
    }
    const unsigned take = root_levels(log);
    if (kForward) run_root<kKind>(x, log, take);
    inner(x, std::size_t{1} << take, log - take, take / 2, 0);
    if (!kForward) run_root<kKind>(x, log, take);
  }
};

/// Whether z = 1, for a tree of several leaves.
inline bool is_unit(const Tree* tree) { return tree->level[0].w[0] == 1; }

inline bool all_zero(const double* x, std::size_t n) {
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    if (V::load(x + i).nonzero()) return false;
  }
  return true;
}

template <bool kForward>
void transform_row(double* x, const Tree* tree, Modulus modulus) {
  const Mod m(modulus);
  const unsigned log = tree->log - kBlockLog;
  const Walk<true, kForward> walk = {tree, kBlock, {}, m};
  if (log < 2 || !is_unit(tree)) {
    walk.template root<Kind::kGeneral>(x, log);
  } else if (kForward && all_zero(x + (kBlock << log) / 2, (kBlock << log) / 2)) {
    walk.template root<Kind::kHalf>(x, log);
  } else {
    walk.template root<Kind::kUnit>(x, log);
  }
}

/// `filled`: rows from the first on that may be other than zero; others are not read.
template <bool kForward>
void transform_columns(double* x, std::size_t width, std::size_t filled, double* plane,
                       std::size_t stride, const Columns* columns, Modulus modulus) {
  const Mod m(modulus);
  const unsigned log = columns->trees[0].log, odd = columns->odd;
  const Place parts = {x, width << log}, far = {plane, stride};
  if (kForward && odd > 1)
    odd_pass(parts, log == 0 ? far : parts, width << log, odd, columns->roots, m);
  for (unsigned q = 0; q < odd && log > 0; ++q) {
    const Tree* const tree = &columns->trees[q];
    const Walk<false, kForward> walk = {tree, width, {plane + (q * stride << log), stride}, m};
    double* const part = x + q * parts.step;
    if (log < 2 || !is_unit(tree)) {
      walk.template root<Kind::kGeneral>(part, log);
    } else if (kForward && reads_half(odd, log, filled)) {
      walk.template root<Kind::kHalf>(part, log);
    } else {
      walk.template root<Kind::kUnit>(part, log);
    }
  }
  if (!kForward && odd > 1)
    odd_pass(log == 0 ? far : parts, parts, width << log, odd, columns->roots, m);
}

/// to[0, n) = from[0, n) * s. |from| < 2p; n is any number.
void scale(double* to, const double* from, std::size_t n, double s, const Mod& m) {
  const V factor = V::all(s);
  std::size_t i = 0;
  for (; i + V::kLanes <= n; i += V::kLanes)
    m.reduce(m.mul(V::load(from + i), factor)).store(to + i);
  for (; i < n; ++i) to[i] = m.reduce(m.mul(V::all(from[i]), factor)).first();
}

void make_roots(double* t, unsigned log, const double* root, Modulus modulus) {
  const Mod m(modulus);
  t[0] = 1;
  for (unsigned a = 0; a < log; ++a)
    scale(t + (std::size_t{1} << a), t, std::size_t{1} << a, root[a + 2], m);
}

void make_powers(double* out, std::size_t n, double base, Modulus modulus) {
  const Mod m(modulus);
  out[0] = 1;
  for (std::size_t done = 1; done < n; done *= 2) {
    scale(out + done, out, done < n - done ? done : n - done, base, m);
    base = m.reduce(m.mul(V::all(base), V::all(base))).first();
  }
}

/// Fills everything of `to` but the blocks; returns the end of what it used of `storage`.
/// power[a] = s^(2^a) for a < log.
double* scale_levels(Tree* to, double* storage, const Tree* from, const double* power,
                     unsigned leaf_log, const Mod& m) {
  unsigned log = from->log, depth = 0;
  std::size_t nodes = 1;
  to->log = log;
  to->half = 1;
  if (log & 1) {
    to->half = power[--log];
    nodes = 2;
  }
  for (; log > leaf_log; log -= 2, nodes *= 4, ++depth) {
    double* const w2 = storage;
    double* const w = w2 + nodes;
    scale(w2, from->level[depth].w2, nodes, power[log - 1], m);
    scale(w, from->level[depth].w, 2 * nodes, power[log - 2], m);
    to->level[depth] = {w2, w};
    storage = w + 2 * nodes;
  }
  to->blocks = nullptr;
  return storage;
}
