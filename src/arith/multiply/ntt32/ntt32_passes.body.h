// The passes of the 32-bit NTT over vectors V of kLanes words. Included by the file of one
// instruction set, inside its unnamed namespace.

using u32 = std::uint32_t;
using u64 = std::uint64_t;

struct VFactor {
  V value, quotient;
  static VFactor all(Factor f) { return {V::all(f.value), V::all(f.quotient)}; }
  static VFactor load(const Factors& f, std::size_t i) {
    return {V::load(f.value + i), V::load(f.quotient + i)};
  }
};

struct Mod {
  V p;
  explicit Mod(u32 prime) : p(V::all(prime)) {}
  /// [0, 2p) to [0, p): a difference that wraps around is the larger one.
  V reduce(V x) const { return min(x, x - p); }
  V add(V x, V y) const { return reduce(x + y); }
  V subtract(V x, V y) const { return min(x - y, x - y + p); }
  /// Any x.
  V multiply(V x, const VFactor& w) const {
    return reduce(low_product(x, w.value) - low_product(high_product(x, w.quotient), p));
  }
  void split(V& x, V& y, const VFactor& w) const {
    const V product = multiply(y, w), sum = add(x, product);
    y = subtract(x, product);
    x = sum;
  }
  void join(V& x, V& y, const VFactor& w) const {
    const V difference = x - y + p;  // in (0, 2p)
    x = add(x, y);
    y = multiply(difference, w);
  }
};

void load(u32* x, const u32* words, std::size_t n, u32 p) {
  // 2^32 < 3p.
  for (std::size_t i = 0; i < n; ++i) {
    u32 word = words[i];
    if (word >= p) word -= p;
    x[i] = word >= p ? word - p : word;
  }
}

template <bool kSplit>
void pass4(u32* x, std::size_t quarter, std::size_t first, std::size_t last, const Factors& nodes,
           std::size_t j, u32 p) {
  const Mod m(p);
  const VFactor square = VFactor::all(nodes[j]);
  const VFactor even = VFactor::all(nodes[2 * j]), odd = VFactor::all(nodes[2 * j + 1]);
  u32 *x0 = x, *x1 = x + quarter, *x2 = x1 + quarter, *x3 = x2 + quarter;
  for (std::size_t i = first; i < last; i += V::kLanes) {
    V a0 = V::load(x0 + i), a1 = V::load(x1 + i), a2 = V::load(x2 + i), a3 = V::load(x3 + i);
    if constexpr (kSplit) {
      m.split(a0, a2, square);
      m.split(a1, a3, square);
      m.split(a0, a1, even);
      m.split(a2, a3, odd);
    } else {
      m.join(a0, a1, even);
      m.join(a2, a3, odd);
      m.join(a0, a2, square);
      m.join(a1, a3, square);
    }
    a0.store(x0 + i), a1.store(x1 + i), a2.store(x2 + i), a3.store(x3 + i);
  }
}

/// Node 0: the factor is 1, so splitting and joining are the same.
void pass2(u32* x, std::size_t half, std::size_t first, std::size_t last, u32 p) {
  const Mod m(p);
  for (std::size_t i = first; i < last; i += V::kLanes) {
    const V a = V::load(x + i), b = V::load(x + half + i);
    m.add(a, b).store(x + i);
    m.subtract(a, b).store(x + half + i);
  }
}

/// With w^2 = -1 - w: y1 = x0 - x2 + w (x1 - x2), y2 = x0 - x1 - w (x1 - x2).
void thirds(u32* x, std::size_t third, std::size_t first, std::size_t last, Factor w, u32 p) {
  const Mod m(p);
  const VFactor factor = VFactor::all(w);
  for (std::size_t i = first; i < last; i += V::kLanes) {
    u32 *const p0 = x + i, *const p1 = p0 + third, *const p2 = p1 + third;
    const V a = V::load(p0), b = V::load(p1), c = V::load(p2);
    const V product = m.multiply(m.subtract(b, c), factor);
    m.add(m.add(a, b), c).store(p0);
    m.add(m.subtract(a, c), product).store(p1);
    m.subtract(m.subtract(a, b), product).store(p2);
  }
}

template <bool kSplit>
void pass_over_nodes(u32* x, std::size_t nodes, std::size_t size, const Twiddles& t, u32 p) {
  for (std::size_t j = 0; j < nodes; ++j)
    pass4<kSplit>(x + j * size, size / 4, 0, size / 4, t.nodes, j, p);
}

void split_leaf(u32* x, unsigned log, const Twiddles& t, u32 p) {
  std::size_t size = std::size_t{1} << log, nodes = 1;
  if ((log - kEndLog) % 2 != 0) {
    size /= 2, nodes = 2;
    pass2(x, size, 0, size, p);
  }
  for (; size > kEndPoints; size /= 4, nodes *= 4) pass_over_nodes<true>(x, nodes, size, t, p);
  split_ends(x, nodes, t, p);
}

void join_leaf(u32* x, unsigned log, const Twiddles& t, u32 p) {
  const bool halves = (log - kEndLog) % 2 != 0;
  const std::size_t most = std::size_t{1} << (halves ? log - 1 : log);
  std::size_t size = kEndPoints, nodes = (std::size_t{1} << log) / kEndPoints;
  join_ends(x, nodes, t, p);
  while (size < most) {
    size *= 4, nodes /= 4;
    pass_over_nodes<false>(x, nodes, size, t, p);
  }
  if (halves) pass2(x, most, 0, most, p);
}

/// step^j from two short progressions.
void twist(u32* x, std::size_t n, u32 start, u32 step, u32 p) {
  constexpr std::size_t kRun = 64;
  alignas(64) u32 value[kRun], quotient[kRun];
  u64 power = 1;
  for (std::size_t j = 0; j < kRun; ++j, power = power * step % p) {
    const Factor f = make_factor(power, p);
    value[j] = f.value, quotient[j] = f.quotient;
  }
  const Mod m(p);
  u64 high = start;
  for (std::size_t first = 0; first < n; first += kRun, high = high * power % p) {
    const VFactor common = VFactor::all(make_factor(high, p));
    for (std::size_t j = 0; j < kRun && first + j < n; j += V::kLanes) {
      u32* const at = x + first + j;
      m.multiply(m.multiply(V::load(at), VFactor::load({value, quotient}, j)), common).store(at);
    }
  }
}

/// P. Montgomery, "Modular multiplication without trial division", 1985.
void multiply(u32* a, const u32* b, std::size_t n, u32 p, u32 p_inverse) {
  const Mod m(p);
  const V inverse = V::all(p_inverse);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    const V x = V::load(a + i), y = V::load(b + i);
    const V correction = high_product(low_product(low_product(x, y), inverse), m.p);
    m.subtract(high_product(x, y), correction).store(a + i);
  }
}

/// Source: H. Garner, "The residue number system", 1959. The primes fall by less than half, so one
/// subtraction brings a digit of one prime below the next.
u64 store(u32* out, const u32* const* r, std::size_t n, const Garner& garner, u64 carry) {
  const Mod m0(garner.p[0]), m1(garner.p[1]), m2(garner.p[2]);
  const VFactor scale0 = VFactor::all(garner.scale[0]), scale1 = VFactor::all(garner.scale[1]),
                scale2 = VFactor::all(garner.scale[2]);
  const VFactor inverse01 = VFactor::all(garner.inverse01),
                inverse02 = VFactor::all(garner.inverse02),
                inverse12 = VFactor::all(garner.inverse12);
  const u64 p0 = garner.p[0], p1 = garner.p[1];
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    const V v0 = m0.multiply(V::load(r[0] + i), scale0);
    const V v1 =
        m1.multiply(m1.subtract(m1.multiply(V::load(r[1] + i), scale1), m1.reduce(v0)), inverse01);
    const V w =
        m2.multiply(m2.subtract(m2.multiply(V::load(r[2] + i), scale2), m2.reduce(v0)), inverse02);
    const V v2 = m2.multiply(m2.subtract(w, m2.reduce(v1)), inverse12);
    alignas(64) u32 digit[3][V::kLanes];
    v0.store(digit[0]), v1.store(digit[1]), v2.store(digit[2]);
    for (std::size_t j = 0; j < V::kLanes && i + j < n; ++j) {
      // v = digit0 + p0 t, t < 2^62. The carry stays below 2^62, the sum below 2^64.
      const u64 t = digit[1][j] + p1 * digit[2][j];
      const u64 sum = carry + digit[0][j] + p0 * static_cast<u32>(t);
      out[i + j] = static_cast<u32>(sum);
      carry = (sum >> 32) + p0 * (t >> 32);
    }
  }
  return carry;
}

constexpr Kernels kTable = {&load,       &pass4<true>, &pass4<false>, &pass2,    &pass2, &thirds,
                            &split_leaf, &join_leaf,   &twist,        &multiply, &store};
