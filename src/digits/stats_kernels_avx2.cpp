// Digit statistics for AVX2. Compiled with those flags: nothing but the table may leave this file.
#include <immintrin.h>

#include "digits/stats_kernels.h"

namespace nmp::stats {
namespace {

struct V {
  static constexpr std::size_t kBytes = 32, kLanes = 4;
  __m256i v;
  static V zero() { return {_mm256_setzero_si256()}; }
  static V all(std::uint64_t x) { return {_mm256_set1_epi64x(static_cast<long long>(x))}; }
  static V all_bytes(unsigned x) { return {_mm256_set1_epi8(static_cast<char>(x))}; }
  static V load(const void* q) { return {_mm256_loadu_si256(static_cast<const __m256i*>(q))}; }
  void store(void* q) const { _mm256_storeu_si256(static_cast<__m256i*>(q), v); }
  V operator+(V o) const { return {_mm256_add_epi64(v, o.v)}; }
  V operator&(V o) const { return {_mm256_and_si256(v, o.v)}; }
  template <int kBits>
  V right() const {
    return {_mm256_srli_epi64(v, kBits)};
  }
  template <int kBits>
  V left() const {
    return {_mm256_slli_epi64(v, kBits)};
  }
  V times_low(V o) const { return {_mm256_mul_epu32(v, o.v)}; }
  V plus_equal(V x, V value) const { return {_mm256_sub_epi8(v, _mm256_cmpeq_epi8(x.v, value.v))}; }
  std::uint64_t sum_of_bytes() const {
    const __m256i four = _mm256_sad_epu8(v, _mm256_setzero_si256());
    const __m128i two =
        _mm_add_epi32(_mm256_castsi256_si128(four), _mm256_extracti128_si256(four, 1));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(two)) +
           static_cast<std::uint32_t>(_mm_extract_epi32(two, 2));
  }
  static V join8_decimal(V x, V y) {
    const __m256i tens = _mm256_set1_epi16(0x010A), hundreds = _mm256_set1_epi32(0x00010064);
    const auto fours = [&](V z) {
      return _mm256_madd_epi16(_mm256_maddubs_epi16(z.v, tens), hundreds);
    };
    return {
        _mm256_madd_epi16(_mm256_packus_epi32(fours(x), fours(y)), _mm256_set1_epi32(0x00012710))};
  }
  static V join16_hex(V x, V y) {
    const __m256i sixteens = _mm256_set1_epi16(0x0110);
    const __m256i bytes = _mm256_packus_epi16(_mm256_maddubs_epi16(x.v, sixteens),
                                              _mm256_maddubs_epi16(y.v, sixteens));
    return {_mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(_mm_setr_epi8(
                                           7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)))};
  }
};

#include "digits/stats_kernels.body.h"
#include "digits/text_digits.body.h"

}  // namespace

constinit const Kernels kKernelsAvx2{V::kLanes, &count, &sum_decimal, &hash_hex, &text_to_digits};

}  // namespace nmp::stats
