// The hybrid NTT's inner loops for AVX2 with FMA. Compiled with those flags: nothing but the table
// may leave this file.
#include <immintrin.h>

#include "arith/multiply/hybrid/hybrid_kernels.h"

namespace nmp::hybrid {
namespace {

struct V {
  static constexpr std::size_t kLanes = 4;
  static constexpr unsigned kRegisters = 16;
  __m256d v;
  static V load(const double* q) { return {_mm256_loadu_pd(q)}; }
  static V all(double x) { return {_mm256_set1_pd(x)}; }
  void store(double* q) const { _mm256_storeu_pd(q, v); }
  double first() const { return _mm256_cvtsd_f64(v); }
  bool nonzero() const {
    return _mm256_movemask_pd(_mm256_cmp_pd(v, _mm256_setzero_pd(), _CMP_NEQ_UQ)) != 0;
  }
  V operator+(V o) const { return {_mm256_add_pd(v, o.v)}; }
  V operator-(V o) const { return {_mm256_sub_pd(v, o.v)}; }
  V operator*(V o) const { return {_mm256_mul_pd(v, o.v)}; }

  /// The low and high 32 bits of kLanes 64-bit digits at q, as doubles: the bits below 2^52.
  static void load_halves(const void* q, V& low, V& high) {
    const __m256i magic = _mm256_set1_epi64x(0x4330000000000000);
    const __m256d power52 = _mm256_set1_pd(4503599627370496.0);
    const __m256i x = _mm256_loadu_si256(static_cast<const __m256i*>(q));
    const __m256i l = _mm256_blend_epi32(x, magic, 0xAA);
    const __m256i h = _mm256_or_si256(_mm256_srli_epi64(x, 32), magic);
    low.v = _mm256_sub_pd(_mm256_castsi256_pd(l), power52);
    high.v = _mm256_sub_pd(_mm256_castsi256_pd(h), power52);
  }
  /// Two chunks of each of kLanes digits of kBytes bytes at q: kBits[0] bits from bit kFirst[0] on
  /// and kBits[1] from kFirst[1] on. Reads 16 bytes of each digit.
  template <unsigned kBytes, unsigned kFirst0, unsigned kBits0, unsigned kFirst1, unsigned kBits1>
  static void load_chunks(const unsigned char* q, V& x, V& y) {
    constexpr char kAt0 = kFirst0 < 64 ? kFirst0 / 8 : 8, kAt1 = kFirst1 < 64 ? kFirst1 / 8 : 8;
    const auto two = [q](unsigned i) {
      const auto* const low = reinterpret_cast<const __m128i*>(q + i * kBytes);
      const auto* const high = reinterpret_cast<const __m128i*>(q + (i + 2) * kBytes);
      const __m256i digits = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(low)),
                                                     _mm_loadu_si128(high), 1);
      const __m256i bytes = _mm256_broadcastsi128_si256(_mm_setr_epi8(
          kAt0, kAt0 + 1, kAt0 + 2, kAt0 + 3, kAt0 + 4, kAt0 + 5, kAt0 + 6, kAt0 + 7, kAt1,
          kAt1 + 1, kAt1 + 2, kAt1 + 3, kAt1 + 4, kAt1 + 5, kAt1 + 6, kAt1 + 7));
      constexpr long long kShift0 = kFirst0 - 8 * kAt0, kShift1 = kFirst1 - 8 * kAt1;
      return _mm256_srlv_epi64(_mm256_shuffle_epi8(digits, bytes),
                               _mm256_setr_epi64x(kShift0, kShift1, kShift0, kShift1));
    };
    const __m256i even = two(0), odd = two(1);
    x.v = to_double<kBits0>(_mm256_unpacklo_epi64(even, odd));
    y.v = to_double<kBits1>(_mm256_unpackhi_epi64(even, odd));
  }
  template <unsigned kBits>
  static __m256d to_double(__m256i x) {
    const __m256i magic = _mm256_set1_epi64x(0x4330000000000000);
    const __m256i low = _mm256_and_si256(x, _mm256_set1_epi64x((1ll << kBits) - 1));
    return _mm256_sub_pd(_mm256_castsi256_pd(_mm256_or_si256(low, magic)),
                         _mm256_set1_pd(4503599627370496.0));
  }
  /// Integers in [0, 2^52) as 64-bit words; q is 32-byte aligned.
  void store_integers(std::uint64_t* q) const {
    const __m256d power52 = _mm256_set1_pd(4503599627370496.0);
    const __m256i x = _mm256_castpd_si256(_mm256_add_pd(v, power52));
    _mm256_store_si256(reinterpret_cast<__m256i*>(q),
                       _mm256_xor_si256(x, _mm256_castpd_si256(power52)));
  }
};
inline V round(V a) {
  return {_mm256_round_pd(a.v, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC)};
}
inline V fused_subtract(V a, V b, V c) { return {_mm256_fmsub_pd(a.v, b.v, c.v)}; }
inline V negated_fused_add(V a, V b, V c) { return {_mm256_fnmadd_pd(a.v, b.v, c.v)}; }
/// p where a is negative, 0 elsewhere.
inline V and_negative(V a, V p) { return {_mm256_blendv_pd(_mm256_setzero_pd(), p.v, a.v)}; }

/// Points of the block of registers that ends a row.
constexpr unsigned kBlockLog = 4;
constexpr std::size_t kBlock = 1 << kBlockLog;
struct Mod;
void forward_blocks(double* x, std::size_t count, const double* blocks, const Mod& m);
void inverse_blocks(double* x, std::size_t count, const double* blocks, const Mod& m);

#include "arith/multiply/hybrid/hybrid_passes.body.h"

#include "arith/multiply/hybrid/hybrid_garner.body.h"

#include "arith/multiply/hybrid/hybrid_digits.body.h"

#include "arith/multiply/hybrid/hybrid_wide.body.h"

#include "arith/multiply/hybrid/hybrid_sums.body.h"

inline void transpose(V& a, V& b, V& c, V& d) {
  const __m256d ab0 = _mm256_unpacklo_pd(a.v, b.v), ab1 = _mm256_unpackhi_pd(a.v, b.v);
  const __m256d cd0 = _mm256_unpacklo_pd(c.v, d.v), cd1 = _mm256_unpackhi_pd(c.v, d.v);
  a.v = _mm256_permute2f128_pd(ab0, cd0, 0x20);
  b.v = _mm256_permute2f128_pd(ab1, cd1, 0x20);
  c.v = _mm256_permute2f128_pd(ab0, cd0, 0x31);
  d.v = _mm256_permute2f128_pd(ab1, cd1, 0x31);
}

// Block j, 16 points: one level across four vectors, a transposition, one level in which each lane
// is a node. Twiddles: 4 w2, 4 w and 4 iw of the nodes 4j .. 4j+3, then w2, w, iw of node j. The
// last transposition is left out: products are made point by point, whatever the order.
template <bool kForward>
inline void run_blocks(double* x, std::size_t count, const double* t, const Mod& m) {
  const auto pair = [](const double* q) { return Pair{V::load(q), V::load(q + kBlock)}; };
  const auto all = [](const double* q) { return Pair{V::all(*q), V::all(q[kBlock])}; };
  for (; count > 1; count -= 2, x += 2 * kBlock, t += 2 * kBlock) {
    Pair y[4];
    for (unsigned i = 0; i < 4; ++i) y[i] = pair(x + 4 * i);
    if constexpr (kForward) {
      forward4(y[0], y[1], y[2], y[3], all(t + 12), all(t + 13), all(t + 14), m);
    } else {
      inverse4(y[0], y[1], y[2], y[3], pair(t), pair(t + 4), pair(t + 8), m);
    }
    transpose(y[0].a, y[1].a, y[2].a, y[3].a);
    transpose(y[0].b, y[1].b, y[2].b, y[3].b);
    if constexpr (kForward) {
      forward4(y[0], y[1], y[2], y[3], pair(t), pair(t + 4), pair(t + 8), m);
    } else {
      inverse4(y[0], y[1], y[2], y[3], all(t + 12), all(t + 13), all(t + 14), m);
    }
    for (unsigned i = 0; i < 4; ++i) {
      y[i].a.store(x + 4 * i);
      y[i].b.store(x + 4 * i + kBlock);
    }
  }
}
void forward_blocks(double* x, std::size_t count, const double* t, const Mod& m) {
  run_blocks<true>(x, count, t, m);
}
void inverse_blocks(double* x, std::size_t count, const double* t, const Mod& m) {
  run_blocks<false>(x, count, t, m);
}

void make_blocks(double* blocks, const double* t, std::size_t n) {
  for (std::size_t j = 0; j < n / kBlock; ++j, blocks += kBlock) {
    for (std::size_t i = 0; i < 4; ++i) {
      blocks[i] = t[4 * j + i];
      blocks[4 + i] = t[2 * (4 * j + i)];
      blocks[8 + i] = t[2 * (4 * j + i) + 1];
    }
    blocks[12] = t[j];
    blocks[13] = t[2 * j];
    blocks[14] = t[2 * j + 1];
    blocks[15] = 0;
  }
}

void scale_blocks(double* to, const double* from, std::size_t n, const double* power,
                  const Mod& m) {
  const V s2 = V::all(power[1]), s1 = V::all(power[0]);
  const V inner = {_mm256_setr_pd(power[3], power[2], power[2], 0)};
  for (std::size_t i = 0; i < n; i += kBlock) {
    m.reduce(m.mul(V::load(from + i), s2)).store(to + i);
    m.reduce(m.mul(V::load(from + i + 4), s1)).store(to + i + 4);
    m.reduce(m.mul(V::load(from + i + 8), s1)).store(to + i + 8);
    m.reduce(m.mul(V::load(from + i + 12), inner)).store(to + i + 12);
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

constinit const Kernels kKernelsAvx2 = {
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
