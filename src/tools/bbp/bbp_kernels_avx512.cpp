// Modes A and B for AVX-512. Compiled with those flags: nothing but the table may leave this file.
#include <immintrin.h>

#include "tools/bbp/bbp_kernels.h"

#define NF_INLINE __attribute__((always_inline)) inline

namespace numforge::bbp {
namespace {

struct V {
  static constexpr std::size_t kLanes = 8;
  __m512d v;
  static V load(const double* q) { return {_mm512_loadu_pd(q)}; }
  static V all(double x) { return {_mm512_set1_pd(x)}; }
  static V counting(double x) {
    return {_mm512_add_pd(_mm512_set1_pd(x), _mm512_setr_pd(0, 1, 2, 3, 4, 5, 6, 7))};
  }
  V operator+(V o) const { return {_mm512_add_pd(v, o.v)}; }
  V operator-(V o) const { return {_mm512_sub_pd(v, o.v)}; }
  V operator*(V o) const { return {_mm512_mul_pd(v, o.v)}; }
  V operator/(V o) const { return {_mm512_div_pd(v, o.v)}; }
  /// This positive vector with another's signs.
  V with_sign_of(V o) const {
    constexpr int kOrAnd = 0xf8;  // a | (b & c)
    return {_mm512_castsi512_pd(
        _mm512_ternarylogic_epi64(_mm512_castpd_si512(v), _mm512_castpd_si512(o.v),
                                  _mm512_castpd_si512(_mm512_set1_pd(-0.0)), kOrAnd))};
  }
};
inline V fused_add(V a, V b, V c) { return {_mm512_fmadd_pd(a.v, b.v, c.v)}; }
inline V fused_subtract(V a, V b, V c) { return {_mm512_fmsub_pd(a.v, b.v, c.v)}; }
inline V negated_fused_add(V a, V b, V c) { return {_mm512_fnmadd_pd(a.v, b.v, c.v)}; }

struct Integers {
  __m512i v;
  static Integers load(const std::int64_t* q) { return {_mm512_loadu_si512(q)}; }
  void store(std::int64_t* q) const { _mm512_storeu_si512(q, v); }
  void add_bits(V x) { v = _mm512_add_epi64(v, _mm512_castpd_si512(x.v)); }
  /// Minus one where x is negative.
  void subtract_negative(V x) {
    const __mmask8 negative = _mm512_cmp_pd_mask(x.v, _mm512_setzero_pd(), _CMP_LT_OQ);
    v = _mm512_mask_sub_epi64(v, negative, v, _mm512_set1_epi64(1));
  }
};

// Enough chains of squares to hide the latency of each.
constexpr unsigned kVectors0 = 8, kVectors1 = 7;

#include "tools/bbp/bbp_sum.body.h"

}  // namespace

constinit const Kernels kKernelsAvx512 = make_kernels();

}  // namespace numforge::bbp
