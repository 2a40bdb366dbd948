// The FFT's inner loops for AVX-512. Compiled with those flags: nothing but the table may leave
// this file.
#if defined(__GNUC__) && !defined(__clang__)
// GCC 12 takes the "undefined" operands of its own intrinsics for a mistake.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include "arith/multiply/fft/fft_kernels.h"

namespace nmp::fft {
namespace {

struct V {
  static constexpr std::size_t kLanes = 8;
  __m512d v;
  static V load(const double* q) { return {_mm512_loadu_pd(q)}; }
  static V all(double x) { return {_mm512_set1_pd(x)}; }
  void store(double* q) const { _mm512_storeu_pd(q, v); }
  V operator+(V o) const { return {_mm512_add_pd(v, o.v)}; }
  V operator-(V o) const { return {_mm512_sub_pd(v, o.v)}; }
  V operator*(V o) const { return {_mm512_mul_pd(v, o.v)}; }
};
inline V fused_add(V a, V b, V c) { return {_mm512_fmadd_pd(a.v, b.v, c.v)}; }
inline V fused_subtract(V a, V b, V c) { return {_mm512_fmsub_pd(a.v, b.v, c.v)}; }
inline V negated_fused_add(V a, V b, V c) { return {_mm512_fnmadd_pd(a.v, b.v, c.v)}; }

void forward_leaves(double* x, std::size_t blocks, const double* t);
void inverse_leaves(double* x, std::size_t blocks, const double* t);

#include "arith/multiply/fft/fft_passes.body.h"

template <V Points<V>::*kPart>
inline void transpose(Points<V> (&a)[8]) {
  __m512d pair[8], quad[8];
  for (unsigned i = 0; i < 8; i += 2) {
    pair[i] = _mm512_unpacklo_pd((a[i].*kPart).v, (a[i + 1].*kPart).v);
    pair[i + 1] = _mm512_unpackhi_pd((a[i].*kPart).v, (a[i + 1].*kPart).v);
  }
  for (unsigned i = 0; i < 8; i += 4) {
    for (unsigned j = 0; j < 2; ++j) {
      quad[i + j] = _mm512_shuffle_f64x2(pair[i + j], pair[i + j + 2], 0x88);
      quad[i + j + 2] = _mm512_shuffle_f64x2(pair[i + j], pair[i + j + 2], 0xDD);
    }
  }
  for (unsigned j = 0; j < 4; ++j) {
    (a[j].*kPart).v = _mm512_shuffle_f64x2(quad[j], quad[j + 4], 0x88);
    (a[j + 4].*kPart).v = _mm512_shuffle_f64x2(quad[j], quad[j + 4], 0xDD);
  }
}

template <bool kForward>
inline void leaf_step(Points<V> (&a)[8], const double* t, bool second) {
  using P = Points<V>;
  const auto twiddle = [&](unsigned p) {
    const double* const w = t + kBlockDoubles * (p - 1);
    return second ? P::load(w) : P::all(t + 7 * kBlockDoubles + 2 * (p - 1));
  };
  if constexpr (kForward) {
    for (unsigned p = 1; p < 8; ++p) a[p] = times(a[p], twiddle(p));
  }
  dft8<kForward>(a);
  if constexpr (!kForward) {
    for (unsigned p = 1; p < 8; ++p) a[p] = times_conjugate(a[p], twiddle(p));
  }
}

/// Leaves of 64 points: a step across eight vectors, a transposition, a step in which each lane is
/// a node.
template <bool kForward>
inline void run_leaves(double* x, std::size_t blocks, const double* t) {
  using P = Points<V>;
  for (; blocks > 0; blocks -= 8, x += 8 * kBlockDoubles, t += 8 * kBlockDoubles) {
    P a[8];
    for (unsigned p = 0; p < 8; ++p) a[p] = P::load(x + p * kBlockDoubles);
    leaf_step<kForward>(a, t, !kForward);
    transpose<&P::re>(a);
    transpose<&P::im>(a);
    leaf_step<kForward>(a, t, kForward);
    for (unsigned p = 0; p < 8; ++p) a[p].store(x + p * kBlockDoubles);
  }
}

void forward_leaves(double* x, std::size_t blocks, const double* t) {
  run_leaves<true>(x, blocks, t);
}
void inverse_leaves(double* x, std::size_t blocks, const double* t) {
  run_leaves<false>(x, blocks, t);
}

#include "arith/multiply/fft/fft_windows.body.h"

inline void put_digits(double* x, __m256i digits, V& sum) {
  const V d = {_mm512_cvtepi32_pd(digits)};
  d.store(x);
  sum = fused_add(d, d, sum);
}

void load_groups(double* x, std::size_t groups, const unsigned char* bytes, unsigned bits,
                 double* squares) {
  V sum = V::load(squares);
  load_windows(x, groups, bytes, bits, sum);
  sum.store(squares);
}

constexpr unsigned kPairOrder[4] = {0, 1, 2, 3};

/// Coefficients 2k and 2k + 1 as one integer, c_(2k) + 2^B c_(2k+1); with wide digits the second
/// one without what passes B bits, which goes to `high`.
template <unsigned B, bool kWide>
inline void pairs(const double* x, V scale, std::int64_t* pair, std::int64_t* high, V& most) {
  const __m512d magic = _mm512_set1_pd(6755399441055744.0);  // 3 * 2^51
  const V in = V::load(x);
  const __m512d whole = _mm512_sub_pd(_mm512_fmadd_pd(in.v, scale.v, magic), magic);
  most.v = _mm512_max_pd(most.v, _mm512_abs_pd(_mm512_fmsub_pd(in.v, scale.v, whole)));
  const __m512i c = _mm512_cvtpd_epi64(whole);
  const __m512i parted = _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), c);
  const __m256i first = _mm512_castsi512_si256(parted);
  __m256i second = _mm512_extracti64x4_epi64(parted, 1);
  if constexpr (kWide) {
    // Rounded to the nearest multiple of 2^B.
    const __m256i part = _mm256_srai_epi64(
        _mm256_add_epi64(second, _mm256_set1_epi64x(std::int64_t{1} << (B - 1))), B);
    second = _mm256_sub_epi64(second, _mm256_slli_epi64(part, B));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(high), part);
  }
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(pair),
                      _mm256_add_epi64(first, _mm256_slli_epi64(second, B)));
}

#include "arith/multiply/fft/fft_digits.body.h"

}  // namespace

constinit const Kernels kKernelsAvx512 = {8,
                                          8,
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
