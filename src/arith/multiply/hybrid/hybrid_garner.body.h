// Words to residues and residues to words. Included by the file of one instruction set, inside its
// unnamed namespace, after hybrid_passes.body.h.

using u64 = std::uint64_t;

#ifdef __SIZEOF_INT128__
using Wide = unsigned __int128;
inline Wide wide(u64 high, u64 low) { return Wide{high} << 64 | low; }
inline Wide product(u64 a, u64 b) { return Wide{a} * b; }
inline u64 low_limb(Wide x) { return static_cast<u64>(x); }
inline u64 high_limb(Wide x) { return static_cast<u64>(x >> 64); }
#else
/// 128 bits where the compiler has none.
struct Wide {
  u64 low, high;
  Wide operator+(Wide o) const {
    const u64 sum = low + o.low;
    return {sum, high + o.high + (sum < low)};
  }
  Wide operator+(u64 o) const { return *this + Wide{o, 0}; }
};
inline Wide wide(u64 high, u64 low) { return {low, high}; }
inline u64 low_limb(Wide x) { return x.low; }
inline u64 high_limb(Wide x) { return x.high; }
inline Wide product(u64 a, u64 b) {
  const u64 a0 = static_cast<std::uint32_t>(a), a1 = a >> 32;
  const u64 b0 = static_cast<std::uint32_t>(b), b1 = b >> 32;
  const u64 middle1 = a1 * b0 + (a0 * b0 >> 32);
  const u64 middle2 = a0 * b1 + static_cast<std::uint32_t>(middle1);
  return {middle2 << 32 | static_cast<std::uint32_t>(a0 * b0),
          a1 * b1 + (middle1 >> 32) + (middle2 >> 32)};
}
#endif

/// The first 64-bit digits of words[0, count), zeros past the end.
inline void copy_digits(u64* out, std::size_t digits, const std::uint32_t* words,
                        std::size_t count) {
  for (std::size_t i = 0; i < digits; ++i) {
    const u64 low = 2 * i < count ? words[2 * i] : 0;
    const u64 high = 2 * i + 1 < count ? words[2 * i + 1] : 0;
    out[i] = high << 32 | low;
  }
}

void load(double* out, std::size_t digits, const std::uint32_t* words, std::size_t count,
          Modulus modulus) {
  const Mod m(modulus);
  const V radix = m.reduce(V::all(4294967296.0));
  std::size_t i = 0;
  for (; i < digits && 2 * (i + V::kLanes) <= count; i += V::kLanes) {
    V low, high;
    V::load_halves(words + 2 * i, low, high);
    (low + m.mul(high, radix)).store(out + i);
  }
  if (i < digits && 2 * i < count) {
    u64 tail[V::kLanes];
    copy_digits(tail, V::kLanes, words + 2 * i, count - 2 * i);
    V low, high;
    V::load_halves(tail, low, high);
    (low + m.mul(high, radix)).store(out + i);
    i += V::kLanes;
  }
  for (; i < digits; i += V::kLanes) V::all(0).store(out + i);
}

/// The mixed-radix digits of one vector of integers, each in [0, p_k).
/// Source: H. Garner, "The residue number system", 1959.
template <unsigned K>
inline void mixed_radix(V v[K], const double* const* r, std::size_t i, const Mod m[K],
                        const V inverse[K][K]) {
  v[0] = m[0].positive(m[0].reduce(V::load(r[0] + i)));
  for (unsigned k = 1; k < K; ++k) {
    V x = V::load(r[k] + i);
    for (unsigned j = 0; j < k; ++j) x = m[k].mul(x - v[j], inverse[j][k]);
    v[k] = m[k].positive(x);
  }
}

/// Points that `store` turns into mixed-radix digits before it makes words of them: the one is for
/// the units of vectors, the other for those of integers, and a chunk of both in turn would be too
/// long for the processor to overlap.
constexpr std::size_t kGarnerChunk = 64;

/// What `store` keeps between digits.
template <unsigned K>
struct Stream {
  std::uint32_t* out;
  u64 carry0;
  Wide carry1;
  u64 p1, p2_low, p2_high, p3[3];

  /// Writes `count` digits of the integers sum digit[k][j] p_0 ... p_(k-1).
  void write(const u64 (*digit)[kGarnerChunk], std::size_t count) {
    for (std::size_t j = 0; j < count; ++j) {
      // The integer is low + 2^64 middle + 2^128 high, each part below 2^117.
      Wide low = product(digit[1][j], p1) + digit[0][j];
      low = low + product(digit[2][j], p2_low);
      Wide middle = product(digit[2][j], p2_high);
      if constexpr (K == 4) {
        low = low + product(digit[3][j], p3[0]);
        middle = middle + product(digit[3][j], p3[1]);
      }
      const Wide sum0 = low + carry0;
      const u64 limb = low_limb(sum0);
      __builtin_memcpy(out + 2 * j, &limb, sizeof limb);
      const Wide sum1 = middle + carry1 + high_limb(sum0);
      carry0 = low_limb(sum1);
      if constexpr (K == 4) {
        carry1 = product(digit[3][j], p3[2]) + high_limb(sum1);
      } else {
        carry1 = wide(0, high_limb(sum1));
      }
    }
    out += 2 * count;
  }
};

template <unsigned K>
void store(std::uint32_t* out, const double* const* r, std::size_t n, Carry* carry,
           const Garner* garner) {
  Mod m[K];
  for (unsigned k = 0; k < K; ++k) m[k] = Mod(garner->mod[k]);
  V inverse[K][K];
  for (unsigned j = 0; j < K; ++j) {
    for (unsigned k = j + 1; k < K; ++k) inverse[j][k] = V::all(garner->inverse[j][k]);
  }
  const u64* const p3 = garner->radix[3];
  Stream<K> stream = {out,
                      carry->limb[0],
                      wide(carry->limb[2], carry->limb[1]),
                      garner->radix[1][0],
                      garner->radix[2][0],
                      garner->radix[2][1],
                      {p3[0], p3[1], p3[2]}};
  alignas(64) u64 digit[K][kGarnerChunk];
  const auto to_digits = [&](const double* const* from, std::size_t i, std::size_t at) {
    V v[K];
    mixed_radix<K>(v, from, i, m, inverse);
    for (unsigned k = 0; k < K; ++k) v[k].store_integers(digit[k] + at);
  };
  for (std::size_t first = 0; first < n; first += kGarnerChunk) {
    const std::size_t count = n - first < kGarnerChunk ? n - first : kGarnerChunk;
    std::size_t i = 0;
    for (; i + V::kLanes <= count; i += V::kLanes) to_digits(r, first + i, i);
    if (i < count) {
      double rest[K][V::kLanes] = {};
      const double* last[K];
      for (unsigned k = 0; k < K; ++k) {
        for (std::size_t j = i; j < count; ++j) rest[k][j - i] = r[k][first + j];
        last[k] = rest[k];
      }
      to_digits(last, 0, i);
    }
    stream.write(digit, count);
  }
  carry->limb[0] = stream.carry0;
  carry->limb[1] = low_limb(stream.carry1);
  carry->limb[2] = high_limb(stream.carry1);
}
