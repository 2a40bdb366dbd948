// Steps over nodes and whole transforms. Included by the file of one instruction set, inside its
// unnamed namespace, which has defined the vector V, forward_leaves and inverse_leaves.

/// Nodes of this many blocks and less are transformed step by step, larger ones node by node.
constexpr std::size_t kCacheBlocks = 128;

/// V::kLanes points.
template <class V>
struct Points {
  V re, im;
  static Points load(const double* x) { return {V::load(x), V::load(x + kBlock)}; }
  static Points all(const double* root) { return {V::all(root[0]), V::all(root[1])}; }
  void store(double* x) const {
    re.store(x);
    im.store(x + kBlock);
  }
  Points operator+(Points o) const { return {re + o.re, im + o.im}; }
  Points operator-(Points o) const { return {re - o.re, im - o.im}; }
  /// *this + i * o and *this - i * o.
  Points plus_i(Points o) const { return {re - o.im, im + o.re}; }
  Points minus_i(Points o) const { return {re + o.im, im - o.re}; }
};

template <class V>
inline Points<V> times(Points<V> a, Points<V> w) {
  return {fused_subtract(a.re, w.re, a.im * w.im), fused_add(a.re, w.im, a.im * w.re)};
}
template <class V>
inline Points<V> times_conjugate(Points<V> a, Points<V> w) {
  return {fused_add(a.re, w.re, a.im * w.im), fused_subtract(a.im, w.re, a.re * w.im)};
}
template <bool kForward, class V>
inline Points<V> twiddled(Points<V> a, Points<V> w) {
  if constexpr (kForward) return times(a, w);
  return times_conjugate(a, w);
}

// Transforms across R parts: y_q = sum a_p e(p q / R), conjugated for the inverse.

template <bool kForward, class P>
inline void dft4(P& a0, P& a1, P& a2, P& a3) {
  const P s0 = a0 + a2, s1 = a0 - a2, s2 = a1 + a3, s3 = a1 - a3;
  a0 = s0 + s2;
  a2 = s0 - s2;
  a1 = kForward ? s1.plus_i(s3) : s1.minus_i(s3);
  a3 = kForward ? s1.minus_i(s3) : s1.plus_i(s3);
}

template <bool kForward, class V>
inline void dft8(Points<V> (&a)[8]) {
  using P = Points<V>;
  const V half = V::all(0.70710678118654752440);
  P e0 = a[0], e1 = a[2], e2 = a[4], e3 = a[6], o0 = a[1], o1 = a[3], o2 = a[5], o3 = a[7];
  dft4<kForward>(e0, e1, e2, e3);
  dft4<kForward>(o0, o1, o2, o3);
  // (1 +- i) sqrt(1/2) times o1, (-1 +- i) sqrt(1/2) times o3.
  P r1, r3;
  if constexpr (kForward) {
    r1 = {(o1.re - o1.im) * half, (o1.re + o1.im) * half};
    r3 = {(o3.re - o3.im) * half, (o3.re + o3.im) * half};  // -i times what it should be
  } else {
    r1 = {(o1.re + o1.im) * half, (o1.im - o1.re) * half};
    r3 = {(o3.re + o3.im) * half, (o3.im - o3.re) * half};  // i times
  }
  a[0] = e0 + o0;
  a[4] = e0 - o0;
  a[1] = e1 + r1;
  a[5] = e1 - r1;
  a[2] = kForward ? e2.plus_i(o2) : e2.minus_i(o2);
  a[6] = kForward ? e2.minus_i(o2) : e2.plus_i(o2);
  a[3] = kForward ? e3.plus_i(r3) : e3.minus_i(r3);
  a[7] = kForward ? e3.minus_i(r3) : e3.plus_i(r3);
}

template <bool kForward, class V>
inline void dft3(Points<V> (&a)[3]) {
  using P = Points<V>;
  const V half = V::all(0.5), sine = V::all(0.86602540378443864676);
  const P sum = a[1] + a[2], difference = a[1] - a[2];
  const P middle = {negated_fused_add(sum.re, half, a[0].re),
                    negated_fused_add(sum.im, half, a[0].im)};
  const P turned = {difference.re * sine, difference.im * sine};
  a[0] = a[0] + sum;
  a[1] = kForward ? middle.plus_i(turned) : middle.minus_i(turned);
  a[2] = kForward ? middle.minus_i(turned) : middle.plus_i(turned);
}

template <bool kForward, class V>
inline void dft5(Points<V> (&a)[5]) {
  using P = Points<V>;
  const V c1 = V::all(0.30901699437494742410), c2 = V::all(0.80901699437494742410);
  const V s1 = V::all(0.95105651629515357212), s2 = V::all(0.58778525229247312917);
  const P t1 = a[1] + a[4], d1 = a[1] - a[4], t2 = a[2] + a[3], d2 = a[2] - a[3];
  const auto cosines = [](V a0, V x, V cx, V y, V cy) {
    return negated_fused_add(y, cy, fused_add(x, cx, a0));
  };
  const P m1 = {cosines(a[0].re, t1.re, c1, t2.re, c2), cosines(a[0].im, t1.im, c1, t2.im, c2)};
  const P m2 = {cosines(a[0].re, t2.re, c1, t1.re, c2), cosines(a[0].im, t2.im, c1, t1.im, c2)};
  const P n1 = {fused_add(d1.re, s1, d2.re * s2), fused_add(d1.im, s1, d2.im * s2)};
  const P n2 = {fused_subtract(d1.re, s2, d2.re * s1), fused_subtract(d1.im, s2, d2.im * s1)};
  a[0] = a[0] + (t1 + t2);
  a[1] = kForward ? m1.plus_i(n1) : m1.minus_i(n1);
  a[4] = kForward ? m1.minus_i(n1) : m1.plus_i(n1);
  a[2] = kForward ? m2.plus_i(n2) : m2.minus_i(n2);
  a[3] = kForward ? m2.minus_i(n2) : m2.plus_i(n2);
}

template <bool kForward, class V>
inline void dft7(Points<V> (&a)[7]) {
  using P = Points<V>;
  // Cosines and sines of 1, 2, 3 sevenths of a turn; the second and third cosine negated.
  const V c1 = V::all(0.62348980185873353053), c2 = V::all(0.22252093395631440429);
  const V c3 = V::all(0.90096886790241912624), s1 = V::all(0.78183148246802980871);
  const V s2 = V::all(0.97492791218182360702), s3 = V::all(0.43388373911755812048);
  const P t1 = a[1] + a[6], d1 = a[1] - a[6], t2 = a[2] + a[5], d2 = a[2] - a[5];
  const P t3 = a[3] + a[4], d3 = a[3] - a[4];
  const auto cosines = [&](V a0, V x, V y, V z) {  // a0 + c1 x - c2 y - c3 z
    return negated_fused_add(z, c3, negated_fused_add(y, c2, fused_add(x, c1, a0)));
  };
  const auto put = [&](P& plus, P& minus, P x, P y, P z, V re, V im) {
    const P m = {cosines(a[0].re, x.re, y.re, z.re), cosines(a[0].im, x.im, y.im, z.im)};
    plus = kForward ? m.plus_i({re, im}) : m.minus_i({re, im});
    minus = kForward ? m.minus_i({re, im}) : m.plus_i({re, im});
  };
  const auto sines1 = [&](V x, V y, V z) { return fused_add(z, s3, fused_add(y, s2, x * s1)); };
  const auto sines2 = [&](V x, V y, V z) {
    return negated_fused_add(z, s1, fused_subtract(x, s2, y * s3));
  };
  const auto sines3 = [&](V x, V y, V z) {
    return fused_add(z, s2, fused_subtract(x, s3, y * s1));
  };
  put(a[1], a[6], t1, t2, t3, sines1(d1.re, d2.re, d3.re), sines1(d1.im, d2.im, d3.im));
  put(a[2], a[5], t3, t1, t2, sines2(d1.re, d2.re, d3.re), sines2(d1.im, d2.im, d3.im));
  put(a[3], a[4], t2, t3, t1, sines3(d1.re, d2.re, d3.re), sines3(d1.im, d2.im, d3.im));
  a[0] = a[0] + (t1 + t2 + t3);
}

template <bool kForward, class V, unsigned R>
inline void dft(Points<V> (&a)[R]) {
  if constexpr (R == 2) {
    const Points<V> sum = a[0] + a[1];
    a[1] = a[0] - a[1];
    a[0] = sum;
  } else if constexpr (R == 3) {
    dft3<kForward>(a);
  } else if constexpr (R == 4) {
    dft4<kForward>(a[0], a[1], a[2], a[3]);
  } else if constexpr (R == 5) {
    dft5<kForward>(a);
  } else if constexpr (R == 7) {
    dft7<kForward>(a);
  } else {
    dft8<kForward>(a);
  }
}

/// One node: R parts of h blocks, `stride` doubles apart. With a twist, all R points that meet are
/// multiplied by the same factor, after (inverse: before) the step. With `kAhead` the h blocks to
/// the right are fetched.
template <bool kForward, unsigned R, bool kTwist = false, bool kAhead = false>
[[gnu::always_inline]] inline void step_node(double* x, std::size_t h, std::size_t stride,
                                             const double* twiddles,
                                             const double* twist = nullptr) {
  using P = Points<V>;
  P w[R];
  for (unsigned p = 1; p < R; ++p) w[p] = P::all(twiddles + 2 * (p - 1));
  double* part[R];
  for (unsigned p = 0; p < R; ++p) part[p] = x + p * stride;
  for (std::size_t j = 0; j < h * kBlockDoubles; j += kBlockDoubles) {
    if constexpr (kAhead) {
      for (unsigned p = 0; p < R; ++p) {
        __builtin_prefetch(part[p] + j + h * kBlockDoubles, 1);
        __builtin_prefetch(part[p] + j + h * kBlockDoubles + kBlock, 1);
      }
    }
    for (std::size_t lane = 0; lane < kBlock; lane += V::kLanes) {
      const std::size_t i = j + lane;
      P a[R];
      for (unsigned p = 0; p < R; ++p) a[p] = P::load(part[p] + i);
      if constexpr (kForward) {
        for (unsigned p = 1; p < R; ++p) a[p] = times(a[p], w[p]);
        dft<true, V, R>(a);
      }
      if constexpr (kTwist) {
        const P factor = P::load(twist + i);
        for (unsigned p = 0; p < R; ++p) a[p] = twiddled<kForward>(a[p], factor);
      }
      if constexpr (!kForward) {
        dft<false, V, R>(a);
        for (unsigned p = 1; p < R; ++p) a[p] = times_conjugate(a[p], w[p]);
      }
      for (unsigned p = 0; p < R; ++p) a[p].store(part[p] + i);
    }
  }
}

template <bool kForward, unsigned R>
[[gnu::noinline]] void step(double* x, std::size_t h, std::size_t nodes, const double* twiddles) {
  for (; nodes > 0; --nodes, x += R * h * kBlockDoubles, twiddles += 2 * (R - 1)) {
    step_node<kForward, R>(x, h, h * kBlockDoubles, twiddles);
  }
}

/// One step of `nodes` nodes, from number `first` on, each of `blocks` blocks.
template <bool kForward>
inline void run_level(double* x, std::size_t blocks, const Level& level, std::size_t first,
                      std::size_t nodes) {
  const double* const twiddles = level.twiddles + 2 * (level.radix - 1) * first;
  const std::size_t h = blocks / level.radix;
  switch (level.radix) {
    case 2:
      return step<kForward, 2>(x, h, nodes, twiddles);
    case 3:
      return step<kForward, 3>(x, h, nodes, twiddles);
    case 4:
      return step<kForward, 4>(x, h, nodes, twiddles);
    case 5:
      return step<kForward, 5>(x, h, nodes, twiddles);
    case 7:
      return step<kForward, 7>(x, h, nodes, twiddles);
    default:
      return step<kForward, 8>(x, h, nodes, twiddles);
  }
}

/// The steps from `level` on of one node, number `node` of its level. The leaves' tables hold two
/// doubles for each point.
void forward_node(double* x, std::size_t blocks, const Tree* t, unsigned level, std::size_t node) {
  if (level < t->levels && blocks > kCacheBlocks) {
    run_level<true>(x, blocks, t->level[level], node, 1);
    const std::size_t radix = t->level[level].radix;
    blocks /= radix;
    for (std::size_t q = 0; q < radix; ++q) {
      forward_node(x + q * blocks * kBlockDoubles, blocks, t, level + 1, node * radix + q);
    }
    return;
  }
  const std::size_t at = node * blocks, all = blocks;
  for (std::size_t nodes = 1; level < t->levels; ++level) {
    run_level<true>(x, blocks, t->level[level], node, nodes);
    blocks /= t->level[level].radix;
    nodes *= t->level[level].radix;
    node *= t->level[level].radix;
  }
  forward_leaves(x, all, t->leaves + at * kBlockDoubles);
}

void inverse_node(double* x, std::size_t blocks, const Tree* t, unsigned level, std::size_t node) {
  if (level < t->levels && blocks > kCacheBlocks) {
    const std::size_t radix = t->level[level].radix, part = blocks / radix;
    for (std::size_t q = 0; q < radix; ++q) {
      inverse_node(x + q * part * kBlockDoubles, part, t, level + 1, node * radix + q);
    }
    run_level<false>(x, blocks, t->level[level], node, 1);
    return;
  }
  inverse_leaves(x, blocks, t->leaves + node * blocks * kBlockDoubles);
  std::size_t nodes = 1, first = node, size = blocks;
  for (unsigned i = level; i < t->levels; ++i) {
    nodes *= t->level[i].radix;
    first *= t->level[i].radix;
    size /= t->level[i].radix;
  }
  for (unsigned i = t->levels; i-- > level;) {
    const std::size_t radix = t->level[i].radix;
    nodes /= radix;
    first /= radix;
    size *= radix;
    run_level<false>(x, size, t->level[i], first, nodes);
  }
}

void forward(double* x, std::size_t blocks, const Tree* tree) {
  forward_node(x, blocks, tree, 0, 0);
}
void inverse(double* x, std::size_t blocks, const Tree* tree) {
  inverse_node(x, blocks, tree, 0, 0);
}

void forward_row(double* x, std::size_t blocks, const RowTop* top, const Tree* tree) {
  const std::size_t quarter = blocks / 4, node = blocks / 16;
  step_node<true, 4>(x, quarter, quarter * kBlockDoubles, top->twiddles);
  for (std::size_t q = 0; q < 4; ++q) {
    double* const y = x + q * quarter * kBlockDoubles;
    step_node<true, 4, true>(y, node, node * kBlockDoubles, top->twiddles + 6 * (q + 1),
                             top->twist);
    for (std::size_t i = 0; i < 4; ++i) {
      forward_node(y + i * node * kBlockDoubles, node, tree, 2, 4 * q + i);
    }
  }
}

void inverse_row(double* x, std::size_t blocks, const RowTop* top, const Tree* tree) {
  const std::size_t quarter = blocks / 4, node = blocks / 16;
  for (std::size_t q = 0; q < 4; ++q) {
    double* const y = x + q * quarter * kBlockDoubles;
    for (std::size_t i = 0; i < 4; ++i) {
      inverse_node(y + i * node * kBlockDoubles, node, tree, 2, 4 * q + i);
    }
    step_node<false, 4, true>(y, node, node * kBlockDoubles, top->twiddles + 6 * (q + 1),
                              top->twist);
  }
  step_node<false, 4>(x, quarter, quarter * kBlockDoubles, top->twiddles);
}

void make_twist(double* twist, const double* fine, const double* coarse, std::size_t count) {
  using P = Points<V>;
  for (; count > 0; --count, coarse += 2, twist += 2 * kBlockDoubles) {
    const P factor = P::all(coarse);
    for (std::size_t block = 0; block < 2 * kBlockDoubles; block += kBlockDoubles) {
      for (std::size_t i = block; i < block + kBlock; i += V::kLanes) {
        times(P::load(fine + i), factor).store(twist + i);
      }
    }
  }
}

/// One step of columns: nodes of R times `rows` rows. The last step of a strip fetches the next
/// one.
template <bool kForward, unsigned R>
[[gnu::noinline]] void column_step(double* x, std::size_t blocks, std::size_t stride,
                                   std::size_t rows, std::size_t nodes, const double* twiddles) {
  const std::size_t nodes_in_all = nodes;
  for (; nodes > 0; --nodes, x += R * rows * stride, twiddles += 2 * (R - 1)) {
    for (std::size_t row = 0; row < rows; ++row) {
      double* const y = x + row * stride;
      if (kForward ? rows == 1 : nodes_in_all == 1) {
        step_node<kForward, R, false, true>(y, blocks, rows * stride, twiddles);
      } else {
        step_node<kForward, R>(y, blocks, rows * stride, twiddles);
      }
    }
  }
}

template <bool kForward>
void run_column_level(double* x, std::size_t blocks, std::size_t stride, const Level& level,
                      std::size_t rows, std::size_t nodes) {
  switch (level.radix) {
    case 2:
      return column_step<kForward, 2>(x, blocks, stride, rows, nodes, level.twiddles);
    case 3:
      return column_step<kForward, 3>(x, blocks, stride, rows, nodes, level.twiddles);
    case 4:
      return column_step<kForward, 4>(x, blocks, stride, rows, nodes, level.twiddles);
    case 5:
      return column_step<kForward, 5>(x, blocks, stride, rows, nodes, level.twiddles);
    case 7:
      return column_step<kForward, 7>(x, blocks, stride, rows, nodes, level.twiddles);
    default:
      return column_step<kForward, 8>(x, blocks, stride, rows, nodes, level.twiddles);
  }
}

void forward_columns(double* x, std::size_t blocks, std::size_t stride, std::size_t rows,
                     const Tree* t) {
  std::size_t nodes = 1;
  for (unsigned i = 0; i < t->levels; nodes *= t->level[i++].radix) {
    rows /= t->level[i].radix;
    run_column_level<true>(x, blocks, stride, t->level[i], rows, nodes);
  }
}

void inverse_columns(double* x, std::size_t blocks, std::size_t stride, std::size_t rows,
                     const Tree* t) {
  std::size_t nodes = rows;
  rows = 1;
  for (unsigned i = t->levels; i-- > 0; rows *= t->level[i].radix) {
    nodes /= t->level[i].radix;
    run_column_level<false>(x, blocks, stride, t->level[i], rows, nodes);
  }
}

/// Sums of `kCount` products; 0 for a number known only at run time.
template <std::size_t kCount>
inline void multiply_terms(double* z, const PointTerm* terms, std::size_t count, std::size_t first,
                           std::size_t blocks) {
  using P = Points<V>;
  const std::size_t n = kCount ? kCount : count;
  for (std::size_t j = first; j < first + blocks * kBlockDoubles; j += kBlockDoubles) {
    for (std::size_t lane = 0; lane < kBlock; lane += V::kLanes) {
      const std::size_t i = j + lane;
      P sum = times(P::load(terms[0].a + i), P::load(terms[0].b + i));
      if (terms[0].negative) sum = {V::all(0) - sum.re, V::all(0) - sum.im};
      for (std::size_t k = 1; k < n; ++k) {
        const P product = times(P::load(terms[k].a + i), P::load(terms[k].b + i));
        sum = terms[k].negative ? sum - product : sum + product;
      }
      sum.store(z + i);
    }
  }
}

void multiply(double* z, const PointTerm* terms, std::size_t count, std::size_t first,
              std::size_t blocks) {
  if (count == 1) return multiply_terms<1>(z, terms, count, first, blocks);
  if (count == 2) return multiply_terms<2>(z, terms, count, first, blocks);
  multiply_terms<0>(z, terms, count, first, blocks);
}
