// The FFT's inner loops for any processor: vectors of two doubles, as the compiler lays them out.
#include <cstring>

#include "arith/multiply/fft/fft_kernels.h"

namespace nmp::fft {
namespace {

typedef double Pair __attribute__((vector_size(16)));

struct V {
  static constexpr std::size_t kLanes = 2;
  Pair v;
  static V load(const double* q) {
    V a;
    std::memcpy(&a.v, q, sizeof a.v);
    return a;
  }
  static V all(double x) { return {Pair{x, x}}; }
  void store(double* q) const { std::memcpy(q, &v, sizeof v); }
  V operator+(V o) const { return {v + o.v}; }
  V operator-(V o) const { return {v - o.v}; }
  V operator*(V o) const { return {v * o.v}; }
};

/// Four lanes, for the leaves.
struct V4 {
  V a, b;
  static V4 load(const double* q) { return {V::load(q), V::load(q + 2)}; }
  static V4 all(double x) { return {V::all(x), V::all(x)}; }
  void store(double* q) const {
    a.store(q);
    b.store(q + 2);
  }
  V4 operator+(V4 o) const { return {a + o.a, b + o.b}; }
  V4 operator-(V4 o) const { return {a - o.a, b - o.b}; }
  V4 operator*(V4 o) const { return {a * o.a, b * o.b}; }
};

// Not fused here: the bound holds for both.
template <class T>
inline T fused_add(T a, T b, T c) {
  return a * b + c;
}
template <class T>
inline T fused_subtract(T a, T b, T c) {
  return a * b - c;
}
template <class T>
inline T negated_fused_add(T a, T b, T c) {
  return c - a * b;
}

void forward_leaves(double* x, std::size_t blocks, const double* t);
void inverse_leaves(double* x, std::size_t blocks, const double* t);

#include "arith/multiply/fft/fft_passes.body.h"

inline void transpose(V4& a, V4& b, V4& c, V4& d) {
  const V4 r0 = {{Pair{a.a.v[0], b.a.v[0]}}, {Pair{c.a.v[0], d.a.v[0]}}};
  const V4 r1 = {{Pair{a.a.v[1], b.a.v[1]}}, {Pair{c.a.v[1], d.a.v[1]}}};
  const V4 r2 = {{Pair{a.b.v[0], b.b.v[0]}}, {Pair{c.b.v[0], d.b.v[0]}}};
  const V4 r3 = {{Pair{a.b.v[1], b.b.v[1]}}, {Pair{c.b.v[1], d.b.v[1]}}};
  a = r0;
  b = r1;
  c = r2;
  d = r3;
}

#include "arith/multiply/fft/fft_leaf4.body.h"

void load_groups(double* x, std::size_t groups, const unsigned char* bytes, unsigned bits,
                 double* squares) {
  for (--bytes; groups > 0; --groups, bytes += bits, x += kBlockDoubles) {
    for (unsigned k = 0; k < kBlock; ++k) {
      const unsigned at = k * bits + 7;  // from the byte before the group
      std::uint32_t window;
      std::memcpy(&window, bytes + at / 8, sizeof window);
      const unsigned below = window >> at % 8 & 1;
      const std::int32_t digit =
          static_cast<std::int32_t>(window << (31 - bits - at % 8)) >> (32 - bits);
      x[k] = static_cast<double>(digit + static_cast<std::int32_t>(below));
      squares[k] += x[k] * x[k];
    }
  }
}

constexpr unsigned kPairOrder[4] = {0, 1, 2, 3};
constexpr double kMagic = 6755399441055744.0;  // 3 * 2^51: numbers next to it are integers

inline V whole(V x) { return x + V::all(kMagic) - V::all(kMagic); }

/// An integer below 2^51 in magnitude.
inline std::int64_t integer(double x) {
  x += kMagic;
  std::int64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return bits - 0x4338000000000000;
}

/// Coefficients 2k and 2k + 1 as one integer, c_(2k) + 2^B c_(2k+1); with wide digits the second
/// one without what passes B bits, which goes to `high`.
template <unsigned B, bool kWide>
inline void pairs(const double* x, V scale, std::int64_t* pair, std::int64_t* high, V& most) {
  for (unsigned k = 0; k < 4; ++k) {
    const V scaled = V::load(x + 2 * k) * scale;
    const V c = whole(scaled), error = scaled - c;
    for (unsigned i = 0; i < 2; ++i) {
      const double e = error.v[i] < 0 ? -error.v[i] : error.v[i];
      most.v[i] = e > most.v[i] ? e : most.v[i];
    }
    double second = c.v[1];
    if constexpr (kWide) {
      constexpr double kRadix = static_cast<double>(std::uint64_t{1} << B);
      const double part = second * (1 / kRadix) + kMagic - kMagic;
      second -= part * kRadix;
      high[k] = integer(part);
    }
    pair[k] = integer(c.v[0]) + integer(second) * (std::int64_t{1} << B);
  }
}

#include "arith/multiply/fft/fft_digits.body.h"

}  // namespace

constinit const Kernels kKernelsGeneric = {4,
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
