// Words to residues and back for digits that are signed or longer than a limb. Included by the file
// of one instruction set, inside its unnamed namespace, after hybrid_garner.body.h.

/// The digits from number `first` on of an operand, digit -1 and those past the end being zero.
inline void copy_limbs(u64* out, std::size_t n, const std::uint32_t* words, std::size_t first,
                       std::size_t count) {
  for (std::size_t i = 0; i < n; ++i, ++first) {
    const std::size_t at = 2 * first;  // of digit -1: past any end
    out[i] = at < count ? words[at] : 0;
    if (at + 1 < count) out[i] |= u64{words[at + 1]} << 32;
  }
}

/// Signed digits d - 2^64 t + s, t and s being the top bits of the digit d and of the one below it:
/// between -2^63 and 2^63, and nothing to carry further.
void load_balanced(double* out, std::size_t digits, const std::uint32_t* words, std::size_t at,
                   std::size_t count, Modulus modulus) {
  const Mod m(modulus);
  const V radix = m.reduce(V::all(4294967296.0)), power32 = V::all(4294967296.0);
  const V one = V::all(1), largest = V::all(2147483647.5);
  for (std::size_t i = 0; i < digits; i += V::kLanes) {
    const std::size_t here = at + 2 * i;
    if (here >= count + 2) {
      V::all(0).store(out + i);
      continue;
    }
    u64 edge[V::kLanes + 1];
    const void* below = words + here - 2;
    const void* self = words + here;
    if (here < 2 || here + 2 * V::kLanes > count) {
      copy_limbs(edge, V::kLanes + 1, words, here / 2 - 1, count);
      below = edge;
      self = edge + 1;
    }
    V low, high, high_below;
    V::load_halves(below, low, high_below);
    V::load_halves(self, low, high);
    const V carry = and_negative(largest - high_below, one);
    high = high - and_negative(largest - high, power32);
    (low + carry + m.mul(high, radix)).store(out + i);
  }
}

/// Digits of kBytes bytes, cut into chunks that a double holds.
template <unsigned kBytes>
void load_long(double* out, std::size_t digits, const std::uint32_t* words, std::size_t at,
               std::size_t count, Modulus modulus) {
  constexpr unsigned kChunks = kBytes == 14 ? 3 : 2;
  constexpr unsigned kBits = (8 * kBytes + kChunks - 1) / kChunks;
  constexpr std::size_t kGroup = 8;
  constexpr u64 kMagic = 0x4330000000000000;  // 2^52 as a double
  const Mod m(modulus);
  const V power52 = V::all(4503599627370496.0);
  V radix[kChunks];
  radix[0] = V::all(1);
  for (unsigned c = 1; c < kChunks; ++c)
    radix[c] = m.reduce(m.mul(radix[c - 1], V::all(static_cast<double>(u64{1} << kBits))));
  const auto* const bytes = reinterpret_cast<const unsigned char*>(words);
  for (std::size_t i = 0; i < digits; i += kGroup) {
    const std::size_t here = 4 * at + kBytes * i, end = 4 * count;
    if (here >= end) {
      for (std::size_t j = 0; j < kGroup; j += V::kLanes) V::all(0).store(out + i + j);
      continue;
    }
    const unsigned char* from = bytes + here;
    unsigned char edge[kBytes * kGroup + 8];
    if (here + sizeof edge > end) {
      __builtin_memset(edge, 0, sizeof edge);
      __builtin_memcpy(edge, from, end - here < sizeof edge ? end - here : sizeof edge);
      from = edge;
    }
    alignas(64) double chunk[kChunks][kGroup];
    for (std::size_t j = 0; j < kGroup; ++j, from += kBytes) {
      for (unsigned c = 0; c < kChunks; ++c) {
        const unsigned bit = c * kBits;
        const unsigned width = c + 1 < kChunks ? kBits : 8 * kBytes - bit;
        u64 x;
        __builtin_memcpy(&x, from + bit / 8, sizeof x);
        x = (x >> bit % 8 & ((u64{1} << width) - 1)) | kMagic;
        __builtin_memcpy(&chunk[c][j], &x, sizeof x);
      }
    }
    for (std::size_t j = 0; j < kGroup; j += V::kLanes) {
      V sum = V::load(chunk[0] + j) - power52;
      if constexpr (kBits > 44) sum = m.reduce(sum);
      for (unsigned c = 1; c < kChunks; ++c)
        sum = sum + m.mul(V::load(chunk[c] + j) - power52, radix[c]);
      sum.store(out + i + j);
    }
  }
}

/// Like `store`, for digits of kBytes bytes: `n` is a multiple of 8.
template <unsigned K, unsigned kBytes>
void store_long(std::uint32_t* out, const double* const* r, std::size_t n, Carry* carry,
                const Garner* garner) {
  constexpr unsigned kShift = 8 * kBytes - 64;
  Mod m[K];
  for (unsigned k = 0; k < K; ++k) m[k] = Mod(garner->mod[k]);
  V inverse[K][K];
  for (unsigned j = 0; j < K; ++j) {
    for (unsigned k = j + 1; k < K; ++k) inverse[j][k] = V::all(garner->inverse[j][k]);
  }
  u64 carry0 = carry->limb[0], carry1 = carry->limb[1], carry2 = carry->limb[2];
  auto* bytes = reinterpret_cast<unsigned char*>(out);
  for (std::size_t i = 0; i < n; i += V::kLanes) {
    V v[K];
    mixed_radix<K>(v, r, i, m, inverse);
    alignas(64) u64 digit[K][V::kLanes];
    for (unsigned k = 0; k < K; ++k) v[k].store_integers(digit[k]);
    for (unsigned j = 0; j < V::kLanes; ++j, bytes += kBytes) {
      // Four columns of 64 bits, each below 2^117; the topmost fits a limb.
      Wide column[3] = {wide(0, digit[0][j]), wide(0, 0), wide(0, 0)};
      u64 top = 0;
      for (unsigned k = 1; k < K; ++k) {
        for (unsigned c = 0; c < 3 && c < k; ++c)
          column[c] = column[c] + product(digit[k][j], garner->radix[k][c]);
        if (k == 4) top = digit[k][j] * garner->radix[k][3];
      }
      const Wide sum0 = column[0] + carry0;
      const Wide sum1 = column[1] + carry1 + high_limb(sum0);
      const Wide sum2 = column[2] + carry2 + high_limb(sum1);
      const u64 limb0 = low_limb(sum0), limb1 = low_limb(sum1), limb2 = low_limb(sum2);
      const u64 limb3 = high_limb(sum2) + top;
      carry0 = limb1 >> kShift | limb2 << (64 - kShift);
      carry1 = limb2 >> kShift | limb3 << (64 - kShift);
      carry2 = limb3 >> kShift;
      __builtin_memcpy(bytes, &limb0, sizeof limb0);
      // Bytes past this digit are the next one's, and are not there after the last.
      if (kBytes <= 12)
        __builtin_memcpy(bytes + 8, &limb1, i + j + 1 < n ? 4 : kBytes - 8);
      else
        __builtin_memcpy(bytes + 8, &limb1, i + j + 1 < n ? 8 : kBytes - 8);
    }
  }
  carry->limb[0] = carry0;
  carry->limb[1] = carry1;
  carry->limb[2] = carry2;
}
