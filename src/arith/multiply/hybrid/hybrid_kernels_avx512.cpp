// The hybrid NTT's inner loops for AVX-512 (F, DQ, BW). Compiled with those flags: nothing but the
// table may leave this file.
#if defined(__GNUC__) && !defined(__clang__)
// With 32 registers there is room to reorder before they are given out: 5 % faster.
#pragma GCC optimize("schedule-insns", "sched-pressure")
// GCC 12 warns of the undefined vectors inside its own intrinsics.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include "arith/multiply/hybrid/hybrid_kernels.h"

namespace nmp::hybrid {
namespace {

struct V {
  static constexpr std::size_t kLanes = 8;
  static constexpr unsigned kRegisters = 32;
  __m512d v;
  static V load(const double* q) { return {_mm512_loadu_pd(q)}; }
  static V all(double x) { return {_mm512_set1_pd(x)}; }
  void store(double* q) const { _mm512_storeu_pd(q, v); }
  double first() const { return _mm512_cvtsd_f64(v); }
  bool nonzero() const { return _mm512_cmp_pd_mask(v, _mm512_setzero_pd(), _CMP_NEQ_UQ) != 0; }
  V operator+(V o) const { return {_mm512_add_pd(v, o.v)}; }
  V operator-(V o) const { return {_mm512_sub_pd(v, o.v)}; }
  V operator*(V o) const { return {_mm512_mul_pd(v, o.v)}; }

  /// The low and high 32 bits of kLanes 64-bit digits at q, as doubles: the bits below 2^52.
  static void load_halves(const void* q, V& low, V& high) {
    const __m512i magic = _mm512_set1_epi64(0x4330000000000000);
    const __m512d power52 = _mm512_set1_pd(4503599627370496.0);
    const __m512i x = _mm512_loadu_si512(q);
    const __m512i l = _mm512_mask_mov_epi32(x, 0xAAAA, magic);
    const __m512i h = _mm512_or_si512(_mm512_srli_epi64(x, 32), magic);
    low.v = _mm512_sub_pd(_mm512_castsi512_pd(l), power52);
    high.v = _mm512_sub_pd(_mm512_castsi512_pd(h), power52);
  }
  /// Two chunks of each of kLanes digits of kBytes bytes at q: kBits[0] bits from bit kFirst[0] on
  /// and kBits[1] from kFirst[1] on. Reads 16 bytes of each digit.
  template <unsigned kBytes, unsigned kFirst0, unsigned kBits0, unsigned kFirst1, unsigned kBits1>
  static void load_chunks(const unsigned char* q, V& x, V& y) {
    constexpr char kAt0 = kFirst0 < 64 ? kFirst0 / 8 : 8, kAt1 = kFirst1 < 64 ? kFirst1 / 8 : 8;
    const auto four = [q](unsigned i) {
      const auto one = [q](unsigned k) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q + k * kBytes));
      };
      const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(one(i)), one(i + 2), 1);
      const __m256i high =
          _mm256_inserti128_si256(_mm256_castsi128_si256(one(i + 4)), one(i + 6), 1);
      const __m512i bytes = _mm512_broadcast_i32x4(_mm_setr_epi8(
          kAt0, kAt0 + 1, kAt0 + 2, kAt0 + 3, kAt0 + 4, kAt0 + 5, kAt0 + 6, kAt0 + 7, kAt1,
          kAt1 + 1, kAt1 + 2, kAt1 + 3, kAt1 + 4, kAt1 + 5, kAt1 + 6, kAt1 + 7));
      constexpr long long kShift0 = kFirst0 - 8 * kAt0, kShift1 = kFirst1 - 8 * kAt1;
      return _mm512_srlv_epi64(
          _mm512_shuffle_epi8(_mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1), bytes),
          _mm512_broadcast_i32x4(_mm_set_epi64x(kShift1, kShift0)));
    };
    const __m512i even = four(0), odd = four(1);
    x.v = to_double<kBits0>(_mm512_unpacklo_epi64(even, odd));
    y.v = to_double<kBits1>(_mm512_unpackhi_epi64(even, odd));
  }
  template <unsigned kBits>
  static __m512d to_double(__m512i x) {
    const __m512i magic = _mm512_set1_epi64(0x4330000000000000);
    const __m512i low = _mm512_and_si512(x, _mm512_set1_epi64((1ll << kBits) - 1));
    return _mm512_sub_pd(_mm512_castsi512_pd(_mm512_or_si512(low, magic)),
                         _mm512_set1_pd(4503599627370496.0));
  }
  /// Integers in [0, 2^52) as 64-bit words.
  void store_integers(std::uint64_t* q) const {
    const __m512d power52 = _mm512_set1_pd(4503599627370496.0);
    const __m512i x = _mm512_castpd_si512(_mm512_add_pd(v, power52));
    _mm512_storeu_si512(q, _mm512_xor_si512(x, _mm512_castpd_si512(power52)));
  }
};
inline V round(V a) {
  return {_mm512_roundscale_pd(a.v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC)};
}
inline V fused_subtract(V a, V b, V c) { return {_mm512_fmsub_pd(a.v, b.v, c.v)}; }
inline V negated_fused_add(V a, V b, V c) { return {_mm512_fnmadd_pd(a.v, b.v, c.v)}; }
/// p where a is negative, 0 elsewhere.
inline V and_negative(V a, V p) {
  return {_mm512_maskz_mov_pd(_mm512_movepi64_mask(_mm512_castpd_si512(a.v)), p.v)};
}

/// Points of the block of registers that ends a row.
constexpr unsigned kBlockLog = 6;
constexpr std::size_t kBlock = 1 << kBlockLog;
struct Mod;
void forward_blocks(double* x, std::size_t count, const double* blocks, const Mod& m);
void inverse_blocks(double* x, std::size_t count, const double* blocks, const Mod& m);

#include "arith/multiply/hybrid/hybrid_passes.body.h"

#include "arith/multiply/hybrid/hybrid_garner.body.h"

#include "arith/multiply/hybrid/hybrid_digits.body.h"

#include "arith/multiply/hybrid/hybrid_wide.body.h"

#include "arith/multiply/hybrid/hybrid_sums.body.h"

inline void transpose(V x[8]) {
  __m512d a[8], b[8];
  for (unsigned i = 0; i < 8; i += 2) {
    a[i] = _mm512_unpacklo_pd(x[i].v, x[i + 1].v);
    a[i + 1] = _mm512_unpackhi_pd(x[i].v, x[i + 1].v);
  }
  for (unsigned i = 0; i < 2; ++i) {
    for (unsigned k = 0; k < 8; k += 4) {
      b[k + i] = _mm512_shuffle_f64x2(a[k + i], a[k + i + 2], 0x88);
      b[k + i + 2] = _mm512_shuffle_f64x2(a[k + i], a[k + i + 2], 0xDD);
    }
  }
  for (unsigned i = 0; i < 4; ++i) {
    x[i].v = _mm512_shuffle_f64x2(b[i], b[i + 4], 0x88);
    x[i + 4].v = _mm512_shuffle_f64x2(b[i], b[i + 4], 0xDD);
  }
}

inline void transpose(Pair x[8]) {
  V a[8], b[8];
  for (unsigned i = 0; i < 8; ++i) a[i] = x[i].a, b[i] = x[i].b;
  transpose(a);
  transpose(b);
  for (unsigned i = 0; i < 8; ++i) x[i] = {a[i], b[i]};
}

// Block j, 64 points: three levels across eight vectors, a transposition, three levels in which
// each lane is a node. Twiddles, with t[] the square roots and n = 8j .. 8j+7 the lanes: vectors of
// t[n]; t[2n], t[2n + 1]; t[4n] .. t[4n + 3]; then one vector with t[j], t[2j], t[2j + 1],
// t[4j] .. t[4j + 3]. The last transposition is left out: products are made point by point.
template <typename T>
struct Twiddles8 {
  T w4, w2[2], w1[4];
};

inline void load_at(V& v, const double* q) { v = V::load(q); }
inline void load_at(Pair& v, const double* q) { v = {V::load(q), V::load(q + kBlock)}; }
inline void store_at(V v, double* q) { v.store(q); }
inline void store_at(Pair v, double* q) {
  v.a.store(q);
  v.b.store(q + kBlock);
}
template <typename T>
inline T all_of(const double* q) {
  if constexpr (sizeof(T) == sizeof(V))
    return V::all(q[0]);
  else
    return {V::all(q[0]), V::all(q[kBlock])};
}
template <typename T>
inline Twiddles8<T> outer_twiddles(const double* t) {
  t += 56;
  return {all_of<T>(t),
          {all_of<T>(t + 1), all_of<T>(t + 2)},
          {all_of<T>(t + 3), all_of<T>(t + 4), all_of<T>(t + 5), all_of<T>(t + 6)}};
}
template <typename T>
inline Twiddles8<T> lane_twiddles(const double* t) {
  T w[7];
  for (unsigned i = 0; i < 7; ++i) load_at(w[i], t + 8 * i);
  return {w[0], {w[1], w[2]}, {w[3], w[4], w[5], w[6]}};
}

/// |x| < 7p/2 to |x| < 7p/2.
template <typename T>
inline void forward8(T x[8], const Twiddles8<T>& t, const Mod& m) {
  for (unsigned i = 0; i < 4; ++i) forward2(x[i], x[i + 4], t.w4, m);
  forward4(x[0], x[1], x[2], x[3], t.w2[0], t.w1[0], t.w1[1], m);
  forward4(x[4], x[5], x[6], x[7], t.w2[1], t.w1[2], t.w1[3], m);
}

/// |x| < 2p to |x| < 2p.
template <typename T>
inline void inverse8(T x[8], const Twiddles8<T>& t, const Mod& m) {
  inverse4(x[0], x[1], x[2], x[3], t.w2[0], t.w1[0], t.w1[1], m);
  inverse4(x[4], x[5], x[6], x[7], t.w2[1], t.w1[2], t.w1[3], m);
  for (unsigned i = 0; i < 4; ++i) {
    const T sum = x[i] + x[i + 4], difference = x[i] - x[i + 4];
    // x[0] and x[3] are below p.
    x[i] = i % 3 == 0 ? sum : m.reduce(sum);
    x[i + 4] = m.mul(difference, t.w4);
  }
}

/// One block, or two side by side.
template <bool kForward, typename T>
inline void run_block(double* x, const double* t, const Mod& m) {
  T y[8];
  for (unsigned i = 0; i < 8; ++i) load_at(y[i], x + 8 * i);
  if constexpr (kForward) {
    forward8(y, outer_twiddles<T>(t), m);
    transpose(y);
    forward8(y, lane_twiddles<T>(t), m);
  } else {
    inverse8(y, lane_twiddles<T>(t), m);
    transpose(y);
    inverse8(y, outer_twiddles<T>(t), m);
  }
  for (unsigned i = 0; i < 8; ++i) store_at(y[i], x + 8 * i);
}

template <bool kForward>
inline void run_blocks(double* x, std::size_t count, const double* t, const Mod& m) {
  for (; count > 1; count -= 2, x += 2 * kBlock, t += 2 * kBlock)
    run_block<kForward, Pair>(x, t, m);
  if (count > 0) run_block<kForward, V>(x, t, m);
}
void forward_blocks(double* x, std::size_t count, const double* t, const Mod& m) {
  run_blocks<true>(x, count, t, m);
}
void inverse_blocks(double* x, std::size_t count, const double* t, const Mod& m) {
  run_blocks<false>(x, count, t, m);
}

void make_blocks(double* blocks, const double* t, std::size_t n) {
  for (std::size_t j = 0; j < n / kBlock; ++j, blocks += kBlock) {
    for (std::size_t v = 0; v < 7; ++v) {
      const std::size_t children = v < 1 ? 1 : v < 3 ? 2 : 4, child = v + 1 - children;
      for (std::size_t i = 0; i < 8; ++i) blocks[8 * v + i] = t[children * (8 * j + i) + child];
      blocks[56 + v] = t[children * j + child];
    }
    blocks[63] = 0;
  }
}

void scale_blocks(double* to, const double* from, std::size_t n, const double* power,
                  const Mod& m) {
  const V s4 = V::all(power[2]), s2 = V::all(power[1]), s1 = V::all(power[0]);
  const V outer = {
      _mm512_setr_pd(power[5], power[4], power[4], power[3], power[3], power[3], power[3], 0)};
  for (std::size_t i = 0; i < n; i += 8) {
    const std::size_t v = i / 8 % 8;
    const V s = v == 0 ? s4 : v < 3 ? s2 : v < 7 ? s1 : outer;
    m.reduce(m.mul(V::load(from + i), s)).store(to + i);
  }
}

void scale_tree(Tree* to, double* storage, const Tree* from, double s, Modulus modulus) {
  const ScalarMod scalar(modulus);
  double power[64];
  power[0] = s;
  for (unsigned a = 1; a < from->log; ++a) {
    power[a] = scalar.m.reduce(V::all(scalar.mul(power[a - 1], power[a - 1]))).first();
  }
  double* const end =
      scale_levels(to, storage, from, power, from->blocks ? kBlockLog : 0, scalar.m);
  if (from->blocks) {
    double* const blocks = end;
    scale_blocks(blocks, from->blocks, std::size_t{1} << from->log, power, scalar.m);
    to->blocks = blocks;
  }
}

}  // namespace

constinit const Kernels kKernelsAvx512 = {
    &load,
    &make_roots,
    &make_powers,
    &make_blocks,
    &scale_tree,
    &transform_row<true>,
    &transform_row<false>,
    &transform_columns<true>,
    &transform_columns<false>,
    &store,
    &multiply,
    &multiply_add,
    &load_balanced,
    {&load_long<11>, &load_long<13>, &load_long<14>},
    {&store_long<4, 11>, &store_long<5, 13>, &store_long<5, 14>},
    {&load_wide<20>, &load_wide<40>},
    {&store_wide<7, 20>, &store_wide<14, 40>},
};

}  // namespace nmp::hybrid
