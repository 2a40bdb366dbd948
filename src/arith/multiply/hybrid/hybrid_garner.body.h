// Words to residues and residues to words. Included by the file of one instruction set, inside its
// unnamed namespace, after hybrid_passes.body.h.

using u64 = std::uint64_t;

#ifdef __x86_64__
/// a * b: the low limb; `high` is the other one.
inline u64 multiply_limbs(u64 a, u64 b, u64& high) {
  unsigned long long upper;
  const u64 low = _mulx_u64(a, b, &upper);
  high = upper;
  return low;
}
/// sum = a + b + carry, and the new carry.
inline unsigned char add_limbs(unsigned char carry, u64 a, u64 b, u64& sum) {
  unsigned long long x;
  carry = _addcarry_u64(carry, a, b, &x);
  sum = x;
  return carry;
}
#else
inline u64 multiply_limbs(u64 a, u64 b, u64& high) {
  const u64 a0 = static_cast<std::uint32_t>(a), a1 = a >> 32;
  const u64 b0 = static_cast<std::uint32_t>(b), b1 = b >> 32;
  const u64 middle1 = a1 * b0 + (a0 * b0 >> 32);
  const u64 middle2 = a0 * b1 + static_cast<std::uint32_t>(middle1);
  high = a1 * b1 + (middle1 >> 32) + (middle2 >> 32);
  return middle2 << 32 | static_cast<std::uint32_t>(a0 * b0);
}
inline unsigned char add_limbs(unsigned char carry, u64 a, u64 b, u64& sum) {
  const u64 x = a + b;
  sum = x + carry;
  return (x < a) | (sum < x);
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

/// The mixed-radix digits of a vector or a pair of integers, each in [0, p_k), from residues v that
/// are at most 2p_k in magnitude. Source: H. Garner, "The residue number system", 1959.
template <unsigned K, typename T>
inline void mixed_radix(T v[K], const Mod m[K], const T inverse[K][K]) {
  v[0] = m[0].positive(m[0].reduce(v[0]));
  for (unsigned k = 1; k < K; ++k) {
    for (unsigned j = 0; j < k; ++j) v[k] = m[k].mul(v[k] - v[j], inverse[j][k]);
    v[k] = m[k].positive(v[k]);
  }
}

/// Points that `store` turns into mixed-radix digits before it makes words of them: the one is for
/// the units of vectors, the other for those of integers, and a chunk of both in turn would be too
/// long for the processor to overlap.
constexpr std::size_t kGarnerChunk = 64;

/// Calls to_words(digit, count) for chunks of the mixed-radix digits of the integers with the
/// residues r[0][i] .. r[K-1][i], i < n: digit[k][j] is that of p_0 ... p_(k-1).
template <unsigned K, typename Constants, typename ToWords>
inline void in_chunks(const double* const* r, std::size_t n, const Constants* garner,
                      const ToWords& to_words) {
  Mod m[K];
  for (unsigned k = 0; k < K; ++k) m[k] = Mod(garner->mod[k]);
  Pair inverse[K][K];
  for (unsigned j = 0; j < K; ++j) {
    for (unsigned k = j + 1; k < K; ++k) inverse[j][k] = twice(V::all(garner->inverse[j][k]));
  }
  alignas(64) u64 digit[K][kGarnerChunk];
  for (std::size_t first = 0; first < n; first += kGarnerChunk) {
    const std::size_t count = n - first < kGarnerChunk ? n - first : kGarnerChunk;
    for (std::size_t i = 0; i < count; i += 2 * V::kLanes) {
      Pair v[K];
      for (unsigned k = 0; k < K; ++k)
        v[k] = {V::load(r[k] + first + i), V::load(r[k] + first + i + V::kLanes)};
      mixed_radix<K>(v, m, inverse);
      for (unsigned k = 0; k < K; ++k) {
        v[k].a.store_integers(digit[k] + i);
        v[k].b.store_integers(digit[k] + i + V::kLanes);
      }
    }
    to_words(digit, count);
  }
}

/// Writes `count` digits of the integers sum digit[k][j] p_0 ... p_(k-1), k < 3, and continues
/// `carry`. Not inlined: the loop needs every register.
[[gnu::noinline]] void write_digits(std::uint32_t* out, const u64 (*digit)[kGarnerChunk],
                                    std::size_t count, Carry* carry, const Garner* garner) {
  const u64 p1 = garner->radix[1][0];
  const u64 p2_low = garner->radix[2][0], p2_high = garner->radix[2][1];
  u64 carry0 = carry->limb[0], carry1 = carry->limb[1];
  for (std::size_t j = 0; j < count; ++j) {
    // The integer is below 2^150; its parts are added without regard to the carry, so that
    // only one chain of additions leads from digit to digit.
    u64 x0, x1, x2, y1;
    x0 = multiply_limbs(digit[1][j], p1, x1);
    unsigned char c = add_limbs(0, x0, digit[0][j], x0);
    add_limbs(c, x1, 0, x1);
    const u64 y0 = multiply_limbs(digit[2][j], p2_low, y1);
    const u64 z1 = multiply_limbs(digit[2][j], p2_high, x2);
    c = add_limbs(0, x0, y0, x0);
    c = add_limbs(c, x1, z1, x1);
    add_limbs(c, x2, 0, x2);
    c = add_limbs(0, x1, y1, x1);
    add_limbs(c, x2, 0, x2);
    c = add_limbs(0, x0, carry0, x0);
    c = add_limbs(c, x1, carry1, carry0);
    add_limbs(c, x2, 0, carry1);
    __builtin_memcpy(out + 2 * j, &x0, sizeof x0);
  }
  carry->limb[0] = carry0;
  carry->limb[1] = carry1;
  carry->limb[2] = 0;
}

void store(std::uint32_t* out, const double* const* r, std::size_t n, Carry* carry,
           const Garner* garner) {
  in_chunks<3>(r, n, garner, [&](const u64(*digit)[kGarnerChunk], std::size_t count) {
    write_digits(out, digit, count, carry, garner);
    out += 2 * count;
  });
}
