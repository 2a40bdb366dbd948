// The FFT's inner loops for AVX2 with FMA. Compiled with those flags: nothing but the table may
// leave this file.
#include <immintrin.h>

#include "arith/multiply/fft/fft_kernels.h"

namespace nmp::fft {
namespace {

struct V {
  static constexpr std::size_t kLanes = 4;
  __m256d v;
  static V load(const double* q) { return {_mm256_loadu_pd(q)}; }
  static V all(double x) { return {_mm256_set1_pd(x)}; }
  void store(double* q) const { _mm256_storeu_pd(q, v); }
  V operator+(V o) const { return {_mm256_add_pd(v, o.v)}; }
  V operator-(V o) const { return {_mm256_sub_pd(v, o.v)}; }
  V operator*(V o) const { return {_mm256_mul_pd(v, o.v)}; }
  double largest() const {
    double lane[kLanes];
    _mm256_storeu_pd(lane, v);
    for (unsigned i = 1; i < kLanes; ++i)
      if (lane[0] < lane[i]) lane[0] = lane[i];
    return lane[0];
  }
};
inline V fused_add(V a, V b, V c) { return {_mm256_fmadd_pd(a.v, b.v, c.v)}; }
inline V fused_subtract(V a, V b, V c) { return {_mm256_fmsub_pd(a.v, b.v, c.v)}; }
inline V negated_fused_add(V a, V b, V c) { return {_mm256_fnmadd_pd(a.v, b.v, c.v)}; }

void forward_leaves(double* x, std::size_t blocks, const double* t);
void inverse_leaves(double* x, std::size_t blocks, const double* t);

#include "arith/multiply/fft/fft_passes.body.h"

inline void transpose(V& a, V& b, V& c, V& d) {
  const __m256d ab0 = _mm256_unpacklo_pd(a.v, b.v), ab1 = _mm256_unpackhi_pd(a.v, b.v);
  const __m256d cd0 = _mm256_unpacklo_pd(c.v, d.v), cd1 = _mm256_unpackhi_pd(c.v, d.v);
  a.v = _mm256_permute2f128_pd(ab0, cd0, 0x20);
  b.v = _mm256_permute2f128_pd(ab1, cd1, 0x20);
  c.v = _mm256_permute2f128_pd(ab0, cd0, 0x31);
  d.v = _mm256_permute2f128_pd(ab1, cd1, 0x31);
}

using V4 = V;
#include "arith/multiply/fft/fft_leaf4.body.h"

/// Digits from windows of 32 bits, each of which starts in the byte of the bit below its digit.
void load_groups(double* x, std::size_t groups, const unsigned char* bytes, unsigned bits,
                 double* sum) {
  alignas(32) unsigned char place[32];
  alignas(32) std::uint32_t up[8], down[8];
  const unsigned middle = (4 * bits + 7) / 8;
  for (unsigned k = 0; k < 8; ++k) {
    const unsigned at = k * bits + 7;  // from the byte before the group
    for (unsigned i = 0; i < 4; ++i)
      place[4 * k + i] = static_cast<unsigned char>(at / 8 + i - (k < 4 ? 0 : middle));
    down[k] = at % 8;
    up[k] = 32 - 1 - bits - at % 8;
  }
  const __m256i places = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(place));
  const __m256i left = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(up));
  const __m256i right = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(down));
  const __m128i sign_shift = _mm_cvtsi32_si128(static_cast<int>(32 - bits));
  const __m256i one = _mm256_set1_epi32(1);
  __m256d sum0 = _mm256_setzero_pd(), sum1 = _mm256_setzero_pd();
  const auto load128 = [](const unsigned char* q) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
  };
  for (--bytes; groups > 0; --groups, bytes += bits, x += kBlockDoubles) {
    const __m256i windows = _mm256_shuffle_epi8(
        _mm256_inserti128_si256(_mm256_castsi128_si256(load128(bytes)), load128(bytes + middle), 1),
        places);
    const __m256i digit = _mm256_sra_epi32(_mm256_sllv_epi32(windows, left), sign_shift);
    const __m256i below = _mm256_and_si256(_mm256_srlv_epi32(windows, right), one);
    const __m256i d = _mm256_add_epi32(digit, below);
    const __m256d d0 = _mm256_cvtepi32_pd(_mm256_castsi256_si128(d));
    const __m256d d1 = _mm256_cvtepi32_pd(_mm256_extracti128_si256(d, 1));
    _mm256_storeu_pd(x, d0);
    _mm256_storeu_pd(x + 4, d1);
    sum0 = _mm256_fmadd_pd(d0, d0, sum0);
    sum1 = _mm256_fmadd_pd(d1, d1, sum1);
  }
  double lane[4];
  _mm256_storeu_pd(lane, _mm256_add_pd(sum0, sum1));
  *sum += (lane[0] + lane[1]) + (lane[2] + lane[3]);
}

constexpr unsigned kPairOrder[4] = {0, 2, 1, 3};

inline __m256i rounded(V x, V scale, V& most) {
  const __m256d magic = _mm256_set1_pd(6755399441055744.0);  // 3 * 2^51
  const __m256d shifted = _mm256_fmadd_pd(x.v, scale.v, magic);
  const __m256d whole = _mm256_sub_pd(shifted, magic);
  const __m256d error =
      _mm256_andnot_pd(_mm256_set1_pd(-0.0), _mm256_fmsub_pd(x.v, scale.v, whole));
  most.v = _mm256_max_pd(most.v, error);
  return _mm256_castpd_si256(whole);
}
inline __m256i integers(__m256d whole) {
  const __m256d magic = _mm256_set1_pd(6755399441055744.0);
  return _mm256_sub_epi64(_mm256_castpd_si256(_mm256_add_pd(whole, magic)),
                          _mm256_castpd_si256(magic));
}

/// Coefficients 2k and 2k + 1 as one integer, c_(2k) + 2^B c_(2k+1); with wide digits the second
/// one without what passes B bits, which goes to `high`.
template <unsigned B, bool kWide>
inline void pairs(const double* x, V scale, std::int64_t* pair, std::int64_t* high, V& most) {
  const __m256d a = _mm256_castsi256_pd(rounded(V::load(x), scale, most));
  const __m256d b = _mm256_castsi256_pd(rounded(V::load(x + 4), scale, most));
  const __m256d even = _mm256_unpacklo_pd(a, b);
  __m256d odd = _mm256_unpackhi_pd(a, b);
  if constexpr (kWide) {
    const __m256d part = _mm256_round_pd(
        _mm256_mul_pd(odd, _mm256_set1_pd(1.0 / static_cast<double>(std::uint64_t{1} << B))),
        _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    odd = _mm256_fnmadd_pd(part, _mm256_set1_pd(static_cast<double>(std::uint64_t{1} << B)), odd);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(high), integers(part));
  }
  const __m256i sum =
      _mm256_add_epi64(integers(even), _mm256_slli_epi64(integers(odd), static_cast<int>(B)));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(pair), sum);
}

#include "arith/multiply/fft/fft_digits.body.h"

}  // namespace

constinit const Kernels kKernelsAvx2 = {
    4, 4, &load, &forward, &inverse, &forward_row, &inverse_row, &multiply, {NF_STORES}};

}  // namespace nmp::fft
