// Digits from words in 256-bit registers. Included by the file of one instruction set, inside its
// unnamed namespace.

/// How to cut 8 digits of b bits, which are b bytes: a window of 32 bits for each digit starts in
/// the byte of the bit below it. Two loads of 16 bytes, `middle` apart, hold four windows each.
struct Windows {
  unsigned char place[32];
  std::uint32_t up[8], down[8];
  unsigned middle;
};
struct AllWindows {
  Windows of[kMaxBits + 1];
  constexpr AllWindows() : of{} {
    for (unsigned bits = kMinBits; bits <= kMaxBits; ++bits) {
      Windows& w = of[bits];
      w.middle = (4 * bits + 7) / 8;
      for (unsigned k = 0; k < 8; ++k) {
        const unsigned at = k * bits + 7;  // from the byte before the group
        for (unsigned i = 0; i < 4; ++i)
          w.place[4 * k + i] = static_cast<unsigned char>(at / 8 + i - (k < 4 ? 0 : w.middle));
        w.down[k] = at % 8;
        w.up[k] = 31 - bits - at % 8;
      }
    }
  }
};
alignas(64) constexpr AllWindows kWindows;

/// Calls put_digits(x, digits, sum) for each group of 8 digits.
template <class Sum>
inline void load_windows(double* x, std::size_t groups, const unsigned char* bytes, unsigned bits,
                         Sum& sum) {
  const Windows& w = kWindows.of[bits];
  const auto load256 = [](const void* q) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(q));
  };
  const auto load128 = [](const unsigned char* q) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
  };
  const __m256i place = load256(w.place), up = load256(w.up), down = load256(w.down);
  const __m128i sign_shift = _mm_cvtsi32_si128(static_cast<int>(32 - bits));
  const __m256i one = _mm256_set1_epi32(1);
  const unsigned middle = w.middle;
  for (--bytes; groups > 0; --groups, bytes += bits, x += kBlockDoubles) {
    const __m256i windows = _mm256_shuffle_epi8(
        _mm256_inserti128_si256(_mm256_castsi128_si256(load128(bytes)), load128(bytes + middle), 1),
        place);
    const __m256i digit = _mm256_sra_epi32(_mm256_sllv_epi32(windows, up), sign_shift);
    const __m256i below = _mm256_and_si256(_mm256_srlv_epi32(windows, down), one);
    put_digits(x, _mm256_add_epi32(digit, below), sum);
  }
}
