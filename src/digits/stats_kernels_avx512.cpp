// Digit statistics for AVX-512 (F, DQ, BW). Compiled with those flags: nothing but the table may
// leave this file.
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12 warns of the undefined vectors inside its own intrinsics.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include "digits/stats_kernels.h"

namespace nmp::stats {
namespace {

struct V {
  static constexpr std::size_t kBytes = 64, kLanes = 8;
  __m512i v;
  static V zero() { return {_mm512_setzero_si512()}; }
  static V all(std::uint64_t x) { return {_mm512_set1_epi64(static_cast<long long>(x))}; }
  static V all_bytes(unsigned x) { return {_mm512_set1_epi8(static_cast<char>(x))}; }
  static V load(const void* q) { return {_mm512_loadu_si512(q)}; }
  void store(void* q) const { _mm512_storeu_si512(q, v); }
  V operator+(V o) const { return {_mm512_add_epi64(v, o.v)}; }
  V operator&(V o) const { return {_mm512_and_si512(v, o.v)}; }
  template <int kBits>
  V right() const {
    return {_mm512_srli_epi64(v, kBits)};
  }
  template <int kBits>
  V left() const {
    return {_mm512_slli_epi64(v, kBits)};
  }
  V times_low(V o) const { return {_mm512_mul_epu32(v, o.v)}; }
  V plus_equal(V x, V value) const {
    return {_mm512_mask_sub_epi8(v, _mm512_cmpeq_epi8_mask(x.v, value.v), v, _mm512_set1_epi8(-1))};
  }
  std::uint64_t sum_of_bytes() const {
    return static_cast<std::uint64_t>(
        _mm512_reduce_add_epi64(_mm512_sad_epu8(v, _mm512_setzero_si512())));
  }
  static V join8_decimal(V x, V y) {
    const __m512i tens = _mm512_set1_epi16(0x010A), hundreds = _mm512_set1_epi32(0x00010064);
    const auto fours = [&](V z) {
      return _mm512_madd_epi16(_mm512_maddubs_epi16(z.v, tens), hundreds);
    };
    return {
        _mm512_madd_epi16(_mm512_packus_epi32(fours(x), fours(y)), _mm512_set1_epi32(0x00012710))};
  }
  static V join16_hex(V x, V y) {
    const __m512i sixteens = _mm512_set1_epi16(0x0110);
    const __m512i bytes = _mm512_packus_epi16(_mm512_maddubs_epi16(x.v, sixteens),
                                              _mm512_maddubs_epi16(y.v, sixteens));
    return {_mm512_shuffle_epi8(bytes, _mm512_broadcast_i32x4(_mm_setr_epi8(
                                           7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)))};
  }
};

#include "digits/stats_kernels.body.h"
#include "digits/text_digits.body.h"

}  // namespace

constinit const Kernels kKernelsAvx512{V::kLanes, &count, &sum_decimal, &hash_hex, &text_to_digits};

}  // namespace nmp::stats
