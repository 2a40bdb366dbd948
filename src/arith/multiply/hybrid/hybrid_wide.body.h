// Words to residues and back for the digits of the vector transform: 5 or 10 whole words. Included
// by the file of one instruction set, inside its unnamed namespace, after hybrid_digits.body.h.

/// The part of each digit that 20 bytes from q on hold, times radix[0], a power of 2^40; the next
/// three powers follow. Each summand is below p / 2 and a little.
template <unsigned kBytes, bool kLowest>
inline V chunks_of(const unsigned char* q, const V* radix, const Mod& m) {
  V x0, x1, x2, x3;
  V::load_chunks<kBytes, 0, 40, 40, 40>(q, x0, x1);
  V::load_chunks<kBytes, 48, 40, 88, 40>(q + 4, x2, x3);
  if (!kLowest) x0 = m.mul(x0, radix[0]);
  return x0 + m.mul(x1, radix[1]) + m.mul(x2, radix[2]) + m.mul(x3, radix[3]);
}

template <unsigned kBytes>
void load_wide(double* out, std::size_t digits, const std::uint32_t* words, std::size_t at,
               std::size_t count, Modulus modulus) {
  constexpr unsigned kChunks = kBytes / 5;
  constexpr std::size_t kWords = kBytes / 4 * V::kLanes;
  const Mod m(modulus);
  V radix[kChunks];
  radix[0] = V::all(1);
  radix[1] = V::all(1099511627776.0);  // 2^40
  for (unsigned i = 2; i < kChunks; ++i) radix[i] = m.reduce(m.mul(radix[i - 1], radix[1]));
  for (std::size_t i = 0; i < digits; i += V::kLanes, at += kWords) {
    if (at >= count) {
      V::all(0).store(out + i);
      continue;
    }
    const void* from = words + at;
    std::uint32_t edge[kWords];
    if (count - at < kWords) {
      __builtin_memset(edge, 0, sizeof edge);
      __builtin_memcpy(edge, from, (count - at) * sizeof edge[0]);
      from = edge;
    }
    const auto* const q = static_cast<const unsigned char*>(from);
    V x = chunks_of<kBytes, true>(q, radix, m);
    if constexpr (kChunks == 8) x = m.reduce(x + chunks_of<kBytes, false>(q + 20, radix + 4, m));
    x.store(out + i);
  }
}

/// Limbs of an integer below a product of `primes` primes.
constexpr unsigned limbs_of(unsigned primes) { return (50 * primes + 63) / 64; }

/// x = digit[0] + p_0 (digit[1] + p_1 (digit[2] + ...)), from the innermost bracket out.
template <unsigned K>
inline void evaluate(u64* x, const u64 (*digit)[kGarnerChunk], std::size_t j, const u64* p) {
  for (unsigned i = 0; i < limbs_of(K); ++i) x[i] = 0;
  x[0] = digit[K - 1][j];
#pragma GCC unroll 16
  for (unsigned done = 1; done < K; ++done) {
    const unsigned k = K - 1 - done, n = limbs_of(done + 1);
    u64 high = digit[k][j];
#pragma GCC unroll 16
    for (unsigned i = 0; i < n; ++i) {
      u64 upper;
      const u64 low = multiply_limbs(x[i], p[k], upper);
      add_limbs(add_limbs(0, low, high, x[i]), upper, 0, high);
    }
  }
}

template <unsigned K, unsigned kBytes>
[[gnu::noinline]] void write_wide(unsigned char* out, const u64 (*digit)[kGarnerChunk],
                                  std::size_t count, WideCarry* carry, const WideGarner* garner) {
  constexpr unsigned kLimbs = limbs_of(K), kFirst = kBytes / 8, kShift = kBytes % 8 * 8;
  static_assert(kLimbs - kFirst <= sizeof carry->limb / sizeof carry->limb[0]);
  u64 p[K], c[kLimbs];
  for (unsigned k = 0; k < K; ++k) p[k] = static_cast<u64>(garner->mod[k].p);
  for (unsigned i = 0; i < kLimbs; ++i) c[i] = i < kLimbs - kFirst ? carry->limb[i] : 0;
  for (std::size_t j = 0; j < count; ++j, out += kBytes) {
    u64 x[kLimbs + 1];
    x[kLimbs] = 0;
    evaluate<K>(x, digit, j, p);
    unsigned char carried = 0;
#pragma GCC unroll 16
    for (unsigned i = 0; i < kLimbs; ++i) carried = add_limbs(carried, x[i], c[i], x[i]);
    __builtin_memcpy(out, x, kBytes);
#pragma GCC unroll 16
    for (unsigned i = 0; i < kLimbs - kFirst; ++i)
      c[i] = kShift == 0 ? x[i + kFirst]
                         : x[i + kFirst] >> kShift | x[i + kFirst + 1] << (64 - kShift) % 64;
  }
  for (unsigned i = 0; i < kLimbs - kFirst; ++i) carry->limb[i] = c[i];
}

template <unsigned K, unsigned kBytes>
void store_wide(std::uint32_t* out, const double* const* r, std::size_t n, WideCarry* carry,
                const WideGarner* garner) {
  auto* bytes = reinterpret_cast<unsigned char*>(out);
  in_chunks<K>(r, n, garner, [&](const u64(*digit)[kGarnerChunk], std::size_t count) {
    write_wide<K, kBytes>(bytes, digit, count, carry, garner);
    bytes += count * kBytes;
  });
}
