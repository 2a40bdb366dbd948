// The loops of the hybrid NTT that do not depend on the width of a vector. Included by the file of
// one instruction set, inside its unnamed namespace, after `V`: a vector of doubles.
//
// Bounds: |root| <= p / 2 for every twiddle. |a b| < 2p^2 gives |mul(a, b)| < p, and |a b| < 4p^2
// gives |mul(a, b)| < 3p / 2; `rounding_holds` has checked both for each prime.

/// Part of a tree that is worked level by level: half of a 32 KiB first-level cache.
constexpr std::size_t kCachedDoubles = 2048;

struct Mod {
  V p, inverse;
  Mod() = default;
  explicit Mod(Modulus m) : p(V::all(m.p)), inverse(V::all(m.inverse)) {}
  /// a * b modulo p.
  V mul(V a, V b) const {
    const V high = a * b;
    const V quotient = round(high * inverse);
    const V low = fused_subtract(a, b, high);
    return negated_fused_add(quotient, p, high) + low;
  }
  /// a modulo p, |result| <= p / 2 and a little.
  V reduce(V a) const { return negated_fused_add(round(a * inverse), p, a); }
  /// (-p, p) to [0, p).
  V positive(V a) const { return a + and_negative(a, p); }
};

/// One number modulo p, for the few that are not worth a vector.
struct ScalarMod {
  Mod m;
  explicit ScalarMod(Modulus modulus) : m(modulus) {}
  double mul(double a, double b) const { return m.mul(V::all(a), V::all(b)).first(); }
};

/// Four points of x^(4h) - w2^2 to the four factors. |x| < 3p to |x| < 3p.
inline void forward4(V& x0, V& x1, V& x2, V& x3, V w2, V w, V iw, const Mod& m) {
  x0 = m.reduce(x0);
  x2 = m.mul(x2, w2);
  x3 = m.mul(x3, w2);
  const V y0 = x0 + x2, y2 = x0 - x2;
  const V y1 = m.mul(x1 + x3, w), y3 = m.mul(x1 - x3, iw);
  x0 = y0 + y1;
  x1 = y0 - y1;
  x2 = y2 + y3;
  x3 = y2 - y3;
}

/// The inverse of four times forward4, with inverse twiddles. |x| < 2p to |x| < 2p.
inline void inverse4(V& x0, V& x1, V& x2, V& x3, V w2, V w, V iw, const Mod& m) {
  const V y0 = x0 + x1, y1 = m.mul(x0 - x1, w);
  const V y2 = x2 + x3, y3 = m.mul(x2 - x3, iw);
  x0 = m.reduce(y0 + y2);
  x2 = m.mul(y0 - y2, w2);
  x1 = y1 + y3;
  x3 = m.mul(y1 - y3, w2);
}

template <bool kForward>
void radix4_pass(double* x, std::size_t quarter, double w2, double w, double iw, const Mod& m) {
  const V vw2 = V::all(w2), vw = V::all(w), viw = V::all(iw);
  double* const y = x + 2 * quarter;
  for (std::size_t i = 0; i < quarter; i += V::kLanes) {
    V x0 = V::load(x + i), x1 = V::load(x + quarter + i);
    V x2 = V::load(y + i), x3 = V::load(y + quarter + i);
    if constexpr (kForward) {
      forward4(x0, x1, x2, x3, vw2, vw, viw, m);
    } else {
      inverse4(x0, x1, x2, x3, vw2, vw, viw, m);
    }
    x0.store(x + i);
    x1.store(x + quarter + i);
    x2.store(y + i);
    x3.store(y + quarter + i);
  }
}

template <bool kForward>
void radix2_pass(double* x, std::size_t half, double w, const Mod& m) {
  const V vw = V::all(w);
  for (std::size_t i = 0; i < half; i += V::kLanes) {
    const V x0 = V::load(x + i), x1 = V::load(x + half + i);
    if constexpr (kForward) {
      const V y0 = m.reduce(x0), y1 = m.mul(x1, vw);
      (y0 + y1).store(x + i);
      (y0 - y1).store(x + half + i);
    } else {
      m.reduce(x0 + x1).store(x + i);
      m.mul(x0 - x1, vw).store(x + half + i);
    }
  }
}

/// Three points `step` apart. |x| < 2p or so; the results are reduced.
inline void radix3(double* x, const std::size_t index[3], const OddRoots& roots, const Mod& m) {
  double* const r0 = x + index[0];
  double* const r1 = x + index[1];
  double* const r2 = x + index[2];
  const V x0 = V::load(r0), x1 = V::load(r1), x2 = V::load(r2);
  const V sum = x1 + x2;
  const V even = m.reduce(x0) + m.mul(sum, V::all(roots.half3));
  const V odd = m.mul(x1 - x2, V::all(roots.sine3));
  m.reduce(x0 + sum).store(r0);
  m.reduce(even + odd).store(r1);
  m.reduce(even - odd).store(r2);
}

inline void radix5(double* x, const std::size_t index[5], const OddRoots& roots, const Mod& m) {
  const V x0 = V::load(x + index[0]);
  const V x1 = V::load(x + index[1]), x4 = V::load(x + index[4]);
  const V x2 = V::load(x + index[2]), x3 = V::load(x + index[3]);
  const V c1 = V::all(roots.cosine5[0]), c2 = V::all(roots.cosine5[1]);
  const V s1 = V::all(roots.sine5[0]), s2 = V::all(roots.sine5[1]);
  const V sum1 = x1 + x4, sum2 = x2 + x3, difference1 = x1 - x4, difference2 = x2 - x3;
  const V base = m.reduce(x0);
  const V even1 = base + m.mul(sum1, c1) + m.mul(sum2, c2);
  const V even2 = base + m.mul(sum1, c2) + m.mul(sum2, c1);
  const V odd1 = m.mul(difference1, s1) + m.mul(difference2, s2);
  const V odd2 = m.mul(difference1, s2) - m.mul(difference2, s1);
  m.reduce(x0 + sum1 + sum2).store(x + index[0]);
  m.reduce(even1 + odd1).store(x + index[1]);
  m.reduce(even1 - odd1).store(x + index[4]);
  m.reduce(even2 + odd2).store(x + index[2]);
  m.reduce(even2 - odd2).store(x + index[3]);
}

/// The step over `odd` equal parts, each of `part` doubles. For 15 it is the product of a radix-3
/// and a radix-5 step on the residues of the part's number (I. J. Good, 1958): no twiddles between,
/// and output number q lands in part q.
void odd_pass(double* x, std::size_t part, unsigned odd, const OddRoots& roots, const Mod& m) {
  std::size_t three[5][3], five[3][5];
  for (unsigned i = 0; i < 15; ++i) {
    if (odd == 15) {
      const unsigned at = (10 * (i % 3) + 6 * (i % 5)) % 15;
      three[i % 5][i % 3] = at * part;
      five[i % 3][i % 5] = at * part;
    } else {
      three[i % 5][i % 3] = (i % 3) * part;
      five[i % 3][i % 5] = (i % 5) * part;
    }
  }
  const unsigned threes = odd % 3 ? 0 : odd / 3, fives = odd % 5 ? 0 : odd / 5;
  // One set of streams at a time: fifteen, a power of two apart, would fight for one cache set.
  for (unsigned k = 0; k < threes; ++k) {
    for (std::size_t i = 0; i < part; i += V::kLanes) radix3(x + i, three[k], roots, m);
  }
  for (unsigned k = 0; k < fives; ++k) {
    for (std::size_t i = 0; i < part; i += V::kLanes) radix5(x + i, five[k], roots, m);
  }
}

/// Node `j` of a level, `length` doubles, down to nodes of `stop` doubles.
template <bool kRow>
void forward_node(double* x, std::size_t length, std::size_t stop, const Level* level,
                  std::size_t j, const double* blocks, const Mod& m) {
  if (length > kCachedDoubles && length > stop) {
    length /= 4;
    radix4_pass<true>(x, length, level->w2[j], level->w[2 * j], level->w[2 * j + 1], m);
    for (std::size_t i = 0; i < 4; ++i) {
      forward_node<kRow>(x + i * length, length, stop, level + 1, 4 * j + i, blocks, m);
    }
    return;
  }
  std::size_t count = 1;
  for (; length > stop; length /= 4, count *= 4, j *= 4, ++level) {
    for (std::size_t i = 0; i < count; ++i) {
      radix4_pass<true>(x + i * length, length / 4, level->w2[j + i], level->w[2 * (j + i)],
                        level->w[2 * (j + i) + 1], m);
    }
  }
  if constexpr (kRow) forward_blocks(x, count, blocks + j * kBlock, m);
}

template <bool kRow>
void inverse_node(double* x, std::size_t length, std::size_t stop, const Level* level,
                  std::size_t j, const double* blocks, const Mod& m) {
  if (length > kCachedDoubles && length > stop) {
    length /= 4;
    for (std::size_t i = 0; i < 4; ++i) {
      inverse_node<kRow>(x + i * length, length, stop, level + 1, 4 * j + i, blocks, m);
    }
    radix4_pass<false>(x, length, level->w2[j], level->w[2 * j], level->w[2 * j + 1], m);
    return;
  }
  std::size_t count = 1, size = length;
  for (; size > stop; size /= 4, count *= 4, ++level) {
  }
  if constexpr (kRow) inverse_blocks(x, count, blocks + j * count * kBlock, m);
  while (size < length) {
    size *= 4;
    count /= 4;
    --level;
    const std::size_t first = j * count;
    for (std::size_t i = first; i < first + count; ++i) {
      radix4_pass<false>(x + (i - first) * size, size / 4, level->w2[i], level->w[2 * i],
                         level->w[2 * i + 1], m);
    }
  }
}

template <bool kForward, bool kRow>
void tree_transform(double* x, std::size_t unit, const Tree* tree, const Mod& m) {
  const std::size_t length = unit << tree->log;
  const std::size_t stop = kRow ? kBlock : unit;
  const std::size_t parts = tree->log & 1 ? 2 : 1, part = length / parts;
  if (kForward && parts == 2) radix2_pass<true>(x, part, tree->half, m);
  for (std::size_t i = 0; i < parts; ++i) {
    if constexpr (kForward) {
      forward_node<kRow>(x + i * part, part, stop, tree->level, i, tree->blocks, m);
    } else {
      inverse_node<kRow>(x + i * part, part, stop, tree->level, i, tree->blocks, m);
    }
  }
  if (!kForward && parts == 2) radix2_pass<false>(x, part, tree->half, m);
}

template <bool kForward>
void transform_row(double* x, const Tree* tree, Modulus modulus) {
  tree_transform<kForward, true>(x, 1, tree, Mod(modulus));
}

template <bool kForward>
void transform_columns(double* x, std::size_t width, const Columns* columns, Modulus modulus) {
  const Mod m(modulus);
  const std::size_t part = width << columns->trees[0].log;
  if (kForward && columns->odd > 1) odd_pass(x, part, columns->odd, columns->roots, m);
  for (unsigned q = 0; q < columns->odd; ++q) {
    tree_transform<kForward, false>(x + q * part, width, &columns->trees[q], m);
  }
  if (!kForward && columns->odd > 1) odd_pass(x, part, columns->odd, columns->roots, m);
}

void multiply(double* a, const double* b, std::size_t n, double factor, Modulus modulus) {
  const Mod m(modulus);
  const V f = V::all(factor);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    const V y = m.mul(V::load(b + i), f);
    m.mul(V::load(a + i), y).store(a + i);
  }
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
