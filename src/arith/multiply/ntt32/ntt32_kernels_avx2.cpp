// The 32-bit NTT's inner loops for AVX2. Compiled with those flags: nothing but the table may leave
// this file.
#include <immintrin.h>

#include "arith/multiply/ntt32/ntt32_kernels.h"

namespace nmp::n32 {
namespace {

struct V {
  static constexpr std::size_t kLanes = 8;
  __m256i v;
  static V load(const std::uint32_t* q) {
    return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(q))};
  }
  static V all(std::uint32_t x) { return {_mm256_set1_epi32(static_cast<int>(x))}; }
  void store(std::uint32_t* q) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(q), v); }
  V operator+(V o) const { return {_mm256_add_epi32(v, o.v)}; }
  V operator-(V o) const { return {_mm256_sub_epi32(v, o.v)}; }
};
inline V min(V a, V b) { return {_mm256_min_epu32(a.v, b.v)}; }
inline V low_product(V a, V b) { return {_mm256_mullo_epi32(a.v, b.v)}; }
inline V high_product(V a, V b) {
  const __m256i even = _mm256_mul_epu32(a.v, b.v);
  const __m256i odd = _mm256_mul_epu32(_mm256_srli_epi64(a.v, 32), _mm256_srli_epi64(b.v, 32));
  return {_mm256_blend_epi32(_mm256_srli_epi64(even, 32), odd, 0xAA)};
}

// Leaves end in nodes of 8 points, 8 nodes at a time: lane l of the transposed vectors is node
// J + l. The transposition is not undone: products are made point by point, whatever the order.
constexpr unsigned kEndLog = 3;
constexpr std::size_t kEndPoints = 8;
struct Mod;
void split_ends(std::uint32_t* x, std::size_t nodes, const Twiddles& t, std::uint32_t p);
void join_ends(std::uint32_t* x, std::size_t nodes, const Twiddles& t, std::uint32_t p);

#include "arith/multiply/ntt32/ntt32_passes.body.h"

inline void transpose(V (&a)[8]) {
  __m256i b[8], c[8];
  for (int i = 0; i < 8; i += 2) {
    b[i] = _mm256_unpacklo_epi32(a[i].v, a[i + 1].v);
    b[i + 1] = _mm256_unpackhi_epi32(a[i].v, a[i + 1].v);
  }
  for (int i = 0; i < 8; i += 4) {
    c[i] = _mm256_unpacklo_epi64(b[i], b[i + 2]);
    c[i + 1] = _mm256_unpackhi_epi64(b[i], b[i + 2]);
    c[i + 2] = _mm256_unpacklo_epi64(b[i + 1], b[i + 3]);
    c[i + 3] = _mm256_unpackhi_epi64(b[i + 1], b[i + 3]);
  }
  for (int i = 0; i < 4; ++i) {
    a[i].v = _mm256_permute2x128_si256(c[i], c[i + 4], 0x20);
    a[i + 4].v = _mm256_permute2x128_si256(c[i], c[i + 4], 0x31);
  }
}

/// The first of each pair that is two apart.
constexpr std::size_t kPairs[] = {0, 1, 4, 5};

template <bool kSplit>
void ends(u32* x, std::size_t nodes, const Twiddles& t, u32 p) {
  const Mod m(p);
  for (std::size_t node = 0; node < nodes; node += 8, x += 64) {
    V a[8];
    for (std::size_t i = 0; i < 8; ++i) a[i] = V::load(x + 8 * i);
    const auto twiddle = [&](std::size_t k) { return VFactor::load(t.ends, 7 * node + 8 * k); };
    if constexpr (kSplit) {
      transpose(a);
      for (std::size_t i = 0; i < 4; ++i) m.split(a[i], a[i + 4], twiddle(0));
      for (const std::size_t i : kPairs) m.split(a[i], a[i + 2], twiddle(1 + i / 4));
      for (std::size_t i = 0; i < 8; i += 2) m.split(a[i], a[i + 1], twiddle(3 + i / 2));
    } else {
      for (std::size_t i = 0; i < 8; i += 2) m.join(a[i], a[i + 1], twiddle(3 + i / 2));
      for (const std::size_t i : kPairs) m.join(a[i], a[i + 2], twiddle(1 + i / 4));
      for (std::size_t i = 0; i < 4; ++i) m.join(a[i], a[i + 4], twiddle(0));
      transpose(a);
    }
    for (std::size_t i = 0; i < 8; ++i) a[i].store(x + 8 * i);
  }
}

void split_ends(u32* x, std::size_t nodes, const Twiddles& t, u32 p) { ends<true>(x, nodes, t, p); }
void join_ends(u32* x, std::size_t nodes, const Twiddles& t, u32 p) { ends<false>(x, nodes, t, p); }

}  // namespace

constinit const Kernels kKernelsAvx2 = kTable;

}  // namespace nmp::n32
