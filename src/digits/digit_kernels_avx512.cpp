// The loops over digits for AVX-512. Compiled with those flags: nothing but the table may leave
// this file. Lanes and constants are those of digit_kernels_avx2.cpp, eight words at a time. The
// loops that move memory as fast as it goes there have none here.
#include <immintrin.h>

#include <cstring>

#include "digits/digit_kernels.h"

namespace nmp {
namespace {

constexpr std::size_t kDecimals = 19;
constexpr std::size_t kAtOnce = 8;  ///< words
constexpr std::uint64_t kTen8 = 100'000'000;

inline void store_quarters(std::uint8_t* digits, std::size_t stride, __m512i x) {
  const auto store = [&](std::size_t i, __m128i quarter) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(digits + 2 * i * stride), quarter);
  };
  store(0, _mm512_castsi512_si128(x));
  store(1, _mm512_extracti32x4_epi32(x, 1));
  store(2, _mm512_extracti32x4_epi32(x, 2));
  store(3, _mm512_extracti32x4_epi32(x, 3));
}

/// Quotients and rests of a division by 10^8 of x < 2^64 whose quotient, as a double, is less than
/// 1 off before it is rounded: the rest tells in which direction.
inline __m512i divide_ten8(__m512i x, __m512i* rest) {
  const __m512i divisor = _mm512_set1_epi64(kTen8);
  const __m512d estimate = _mm512_mul_pd(_mm512_cvtepu64_pd(x), _mm512_set1_pd(1e-8));
  __m512i q = _mm512_cvttpd_epu64(estimate);
  __m512i r = _mm512_sub_epi64(x, _mm512_mullo_epi64(q, divisor));
  const __mmask8 negative = _mm512_movepi64_mask(r);
  q = _mm512_mask_sub_epi64(q, negative, q, _mm512_set1_epi64(1));
  r = _mm512_mask_add_epi64(r, negative, r, divisor);
  const __mmask8 large = _mm512_cmpge_epi64_mask(r, divisor);
  q = _mm512_mask_add_epi64(q, large, q, _mm512_set1_epi64(1));
  *rest = _mm512_mask_sub_epi64(r, large, r, divisor);
  return q;
}

/// Lanes of x < 10^8 to the digits of lanes 0 and 1 of each quarter in *low, 2 and 3 in *high.
inline void split_eights(__m512i x, __m512i* low, __m512i* high) {
  const __m512i reciprocal = _mm512_set1_epi64(3518437209);
  const __m512i even = _mm512_srli_epi64(_mm512_mul_epu32(x, reciprocal), 45);
  const __m512i odd = _mm512_srli_epi64(_mm512_mul_epu32(_mm512_srli_epi64(x, 32), reciprocal), 45);
  const __m512i q = _mm512_or_si512(even, _mm512_slli_epi64(odd, 32));
  const __m512i fours = _mm512_add_epi32(
      _mm512_slli_epi32(x, 16), _mm512_mullo_epi32(q, _mm512_set1_epi32(1 - (10000 << 16))));
  const __m512i hundreds = _mm512_srli_epi16(_mm512_mulhi_epu16(fours, _mm512_set1_epi16(5243)), 3);
  const __m512i rests =
      _mm512_sub_epi16(fours, _mm512_mullo_epi16(hundreds, _mm512_set1_epi16(100)));
  const auto split_pairs = [](__m512i pairs) {
    const __m512i tens = _mm512_mulhi_epu16(pairs, _mm512_set1_epi16(6554));
    return _mm512_add_epi16(_mm512_slli_epi16(pairs, 8),
                            _mm512_mullo_epi16(tens, _mm512_set1_epi16(1 - (10 << 8))));
  };
  *low = split_pairs(_mm512_unpacklo_epi16(hundreds, rests));
  *high = split_pairs(_mm512_unpackhi_epi16(hundreds, rests));
}

/// Lanes of x < 1000 to three digits each, and a zero behind them.
inline __m256i split_threes(__m256i x) {
  const __m256i hundreds = _mm256_srli_epi16(_mm256_mulhi_epu16(x, _mm256_set1_epi16(5243)), 3);
  const __m256i rest = _mm256_sub_epi16(x, _mm256_mullo_epi16(hundreds, _mm256_set1_epi16(100)));
  const __m256i tens = _mm256_mulhi_epu16(rest, _mm256_set1_epi16(6554));
  const __m256i ones = _mm256_sub_epi16(rest, _mm256_mullo_epi16(tens, _mm256_set1_epi16(10)));
  return _mm256_or_si256(hundreds,
                         _mm256_or_si256(_mm256_slli_epi32(tens, 8), _mm256_slli_epi32(ones, 16)));
}

inline bool unpack_decimal8(const std::uint64_t* packed, std::uint8_t* digits) {
  const __m512i words = _mm512_loadu_si512(packed);
  __m512i last, middle, low, high;
  const __m512i tops = divide_ten8(divide_ten8(words, &last), &middle);
  split_eights(_mm512_or_si512(middle, _mm512_slli_epi64(last, 32)), &low, &high);
  std::uint32_t threes[kAtOnce];
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(threes),
                      split_threes(_mm512_cvtepi64_epi32(tops)));
  for (std::size_t i = 0; i < kAtOnce; ++i) std::memcpy(digits + i * kDecimals, threes + i, 4);
  store_quarters(digits + 3, kDecimals, low);
  store_quarters(digits + kDecimals + 3, kDecimals, high);
  return _mm512_cmpge_epi64_mask(tops, _mm512_set1_epi64(1000)) == 0;
}

bool unpack_decimal(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits) {
  bool valid = true;
  for (; words >= kAtOnce; words -= kAtOnce, packed += kAtOnce, digits += kAtOnce * kDecimals)
    valid &= unpack_decimal8(packed, digits);
  if (words > 0) {
    std::uint64_t rest[kAtOnce] = {};
    std::uint8_t made[kAtOnce * kDecimals];
    std::memcpy(rest, packed, words * sizeof *packed);
    valid &= unpack_decimal8(rest, made);
    std::memcpy(digits, made, words * kDecimals);
  }
  return valid;
}

}  // namespace

const DigitKernels kDigitKernelsAvx512 = {nullptr, nullptr, unpack_decimal, nullptr, nullptr};

}  // namespace nmp
