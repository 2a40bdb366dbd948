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

/// x[0, 4) += digit * radix[0, 3], and what that product has above three limbs; no overflow.
inline void add_product(u64 x[4], u64 digit, const u64* radix) {
  u64 high0, high1, high2;
  const u64 low0 = multiply_limbs(digit, radix[0], high0);
  const u64 low1 = multiply_limbs(digit, radix[1], high1);
  const u64 low2 = multiply_limbs(digit, radix[2], high2);
  unsigned char c = add_limbs(0, x[0], low0, x[0]);
  c = add_limbs(c, x[1], low1, x[1]);
  c = add_limbs(c, x[2], low2, x[2]);
  add_limbs(c, x[3], high2, x[3]);
  c = add_limbs(0, x[1], high0, x[1]);
  c = add_limbs(c, x[2], high1, x[2]);
  add_limbs(c, x[3], 0, x[3]);
}

/// Writes `count` digits of kBytes bytes of the integers sum digit[k][j] p_0 ... p_(k-1), k < K,
/// and continues `carry`. The last digit may be followed by others' memory.
template <unsigned K, unsigned kBytes>
[[gnu::noinline]] void write_long(unsigned char* out, const u64 (*digit)[kGarnerChunk],
                                  std::size_t count, Carry* carry, const Garner* garner) {
  constexpr unsigned kShift = 8 * kBytes - 64;
  constexpr std::size_t kWritten = kBytes <= 12 ? 4 : 8;  // past the first limb: at least the rest
  u64 carry0 = carry->limb[0], carry1 = carry->limb[1], carry2 = carry->limb[2];
  for (std::size_t j = 0; j < count; ++j, out += kBytes) {
    u64 x[4] = {0, 0, 0, 0}, high;
    x[0] = multiply_limbs(digit[1][j], garner->radix[1][0], x[1]);
    add_limbs(add_limbs(0, x[0], digit[0][j], x[0]), x[1], 0, x[1]);
    const u64 low1 = multiply_limbs(digit[2][j], garner->radix[2][1], x[2]);
    const u64 low0 = multiply_limbs(digit[2][j], garner->radix[2][0], high);
    unsigned char c = add_limbs(0, x[0], low0, x[0]);
    c = add_limbs(c, x[1], low1, x[1]);
    add_limbs(c, x[2], 0, x[2]);
    c = add_limbs(0, x[1], high, x[1]);
    add_limbs(c, x[2], 0, x[2]);
    add_product(x, digit[3][j], garner->radix[3]);
    if constexpr (K == 5) {
      add_product(x, digit[4][j], garner->radix[4]);
      x[3] += digit[4][j] * garner->radix[4][3];
    }
    c = add_limbs(0, x[0], carry0, x[0]);
    c = add_limbs(c, x[1], carry1, x[1]);
    c = add_limbs(c, x[2], carry2, x[2]);
    add_limbs(c, x[3], 0, x[3]);
    carry0 = x[1] >> kShift | x[2] << (64 - kShift);
    carry1 = x[2] >> kShift | x[3] << (64 - kShift);
    carry2 = x[3] >> kShift;
    __builtin_memcpy(out, &x[0], sizeof x[0]);
    // Bytes past this digit are the next one's, and are not there after the last.
    if (j + 1 < count)
      __builtin_memcpy(out + 8, &x[1], kWritten);
    else
      __builtin_memcpy(out + 8, &x[1], kBytes - 8);
  }
  carry->limb[0] = carry0;
  carry->limb[1] = carry1;
  carry->limb[2] = carry2;
}

/// Like `store`, for digits of kBytes bytes.
template <unsigned K, unsigned kBytes>
void store_long(std::uint32_t* out, const double* const* r, std::size_t n, Carry* carry,
                const Garner* garner) {
  auto* bytes = reinterpret_cast<unsigned char*>(out);
  in_chunks<K>(r, n, garner, [&](const u64(*digit)[kGarnerChunk], std::size_t count) {
    write_long<K, kBytes>(bytes, digit, count, carry, garner);
    bytes += count * kBytes;
  });
}
