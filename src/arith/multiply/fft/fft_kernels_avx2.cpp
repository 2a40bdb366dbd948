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

#include "arith/multiply/fft/fft_windows.body.h"

struct Squares {
  V low, high;
};
inline void put_digits(double* x, __m256i digits, Squares& sum) {
  const V low = {_mm256_cvtepi32_pd(_mm256_castsi256_si128(digits))};
  const V high = {_mm256_cvtepi32_pd(_mm256_extracti128_si256(digits, 1))};
  low.store(x);
  high.store(x + 4);
  sum.low = fused_add(low, low, sum.low);
  sum.high = fused_add(high, high, sum.high);
}

void load_groups(double* x, std::size_t groups, const unsigned char* bytes, unsigned bits,
                 double* squares) {
  Squares sum = {V::load(squares), V::load(squares + 4)};
  load_windows(x, groups, bytes, bits, sum);
  sum.low.store(squares);
  sum.high.store(squares + 4);
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

constinit const Kernels kKernelsAvx2 = {4,
                                        4,
                                        &load,
                                        &forward,
                                        &inverse,
                                        &forward_columns,
                                        &inverse_columns,
                                        &forward_row,
                                        &inverse_row,
                                        &make_twist,
                                        &multiply,
                                        {NF_STORES}};

}  // namespace nmp::fft
