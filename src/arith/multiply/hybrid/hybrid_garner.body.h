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

/// Calls to_words(digit, count) for chunks of the mixed-radix digits of the integers with the
/// residues r[0][i] .. r[K-1][i], i < n: digit[k][j] is that of p_0 ... p_(k-1).
template <unsigned K, typename ToWords>
inline void in_chunks(const double* const* r, std::size_t n, const Garner* garner,
                      const ToWords& to_words) {
  Mod m[K];
  for (unsigned k = 0; k < K; ++k) m[k] = Mod(garner->mod[k]);
  V inverse[K][K];
  for (unsigned j = 0; j < K; ++j) {
    for (unsigned k = j + 1; k < K; ++k) inverse[j][k] = V::all(garner->inverse[j][k]);
  }
  alignas(64) u64 digit[K][kGarnerChunk];
  for (std::size_t first = 0; first < n; first += kGarnerChunk) {
    const std::size_t count = n - first < kGarnerChunk ? n - first : kGarnerChunk;
    for (std::size_t i = 0; i < count; i += V::kLanes) {
      V v[K];
      mixed_radix<K>(v, r, first + i, m, inverse);
      for (unsigned k = 0; k < K; ++k) v[k].store_integers(digit[k] + i);
    }
    to_words(digit, count);
  }
}

void store(std::uint32_t* out, const double* const* r, std::size_t n, Carry* carry,
           const Garner* garner) {
  const u64 p1 = garner->radix[1][0];
  const u64 p2_low = garner->radix[2][0], p2_high = garner->radix[2][1];
  u64 carry0 = carry->limb[0];
  Wide carry1 = wide(carry->limb[2], carry->limb[1]);
  in_chunks<3>(r, n, garner, [&](const u64(*digit)[kGarnerChunk], std::size_t count) {
    for (std::size_t j = 0; j < count; ++j, out += 2) {
      // The integer is low + 2^64 middle, each part below 2^117.
      const Wide low = product(digit[1][j], p1) + digit[0][j] + product(digit[2][j], p2_low);
      const Wide sum0 = low + carry0;
      const u64 limb = low_limb(sum0);
      __builtin_memcpy(out, &limb, sizeof limb);
      const Wide sum1 = product(digit[2][j], p2_high) + carry1 + high_limb(sum0);
      carry0 = low_limb(sum1);
      carry1 = wide(0, high_limb(sum1));
    }
  });
  carry->limb[0] = carry0;
  carry->limb[1] = low_limb(carry1);
  carry->limb[2] = high_limb(carry1);
}
