// Modes A and B for AVX2 with FMA. Compiled with those flags: nothing but the table may leave this
// file.
#include <immintrin.h>

#include "tools/bbp/bbp_kernels.h"

#define NF_INLINE __attribute__((always_inline)) inline

namespace numforge::bbp {
namespace {

struct V {
  static constexpr std::size_t kLanes = 4;
  __m256d v;
  static V load(const double* q) { return {_mm256_loadu_pd(q)}; }
  static V all(double x) { return {_mm256_set1_pd(x)}; }
  static V counting(double x) {
    return {_mm256_add_pd(_mm256_set1_pd(x), _mm256_setr_pd(0, 1, 2, 3))};
  }
  V operator+(V o) const { return {_mm256_add_pd(v, o.v)}; }
  V operator-(V o) const { return {_mm256_sub_pd(v, o.v)}; }
  V operator*(V o) const { return {_mm256_mul_pd(v, o.v)}; }
  V operator/(V o) const { return {_mm256_div_pd(v, o.v)}; }
  /// This positive vector with another's signs.
  V with_sign_of(V o) const { return {_mm256_or_pd(v, _mm256_and_pd(o.v, _mm256_set1_pd(-0.0)))}; }
};
inline V fused_add(V a, V b, V c) { return {_mm256_fmadd_pd(a.v, b.v, c.v)}; }
inline V fused_subtract(V a, V b, V c) { return {_mm256_fmsub_pd(a.v, b.v, c.v)}; }
inline V negated_fused_add(V a, V b, V c) { return {_mm256_fnmadd_pd(a.v, b.v, c.v)}; }

struct Integers {
  __m256i v;
  static Integers load(const std::int64_t* q) {
    return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(q))};
  }
  void store(std::int64_t* q) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(q), v); }
  void add_bits(V x) { v = _mm256_add_epi64(v, _mm256_castpd_si256(x.v)); }
  /// Minus one where x is negative.
  void subtract_negative(V x) {
    const __m256d negative = _mm256_cmp_pd(x.v, _mm256_setzero_pd(), _CMP_LT_OQ);
    v = _mm256_add_epi64(v, _mm256_castpd_si256(negative));
  }
};

// Enough chains of squares to hide the latency of each; not all of them find registers.
constexpr unsigned kVectors0 = 12, kVectors1 = 14;

#include "tools/bbp/bbp_sum.body.h"

}  // namespace

constinit const Kernels kKernelsAvx2 = make_kernels();

}  // namespace numforge::bbp
