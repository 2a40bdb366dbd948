// The 32-bit NTT's inner loops for any processor, one word at a time.
#include "arith/multiply/ntt32/ntt32_kernels.h"

namespace nmp::n32 {
namespace {

struct V {
  static constexpr std::size_t kLanes = 1;
  std::uint32_t v;
  static V load(const std::uint32_t* q) { return {*q}; }
  static V all(std::uint32_t x) { return {x}; }
  void store(std::uint32_t* q) const { *q = v; }
  V operator+(V o) const { return {v + o.v}; }
  V operator-(V o) const { return {v - o.v}; }
};
inline V min(V a, V b) { return {a.v < b.v ? a.v : b.v}; }
inline V low_product(V a, V b) { return {a.v * b.v}; }
inline V high_product(V a, V b) {
  return {static_cast<std::uint32_t>(std::uint64_t{a.v} * b.v >> 32)};
}

// Leaves end in single points.
constexpr unsigned kEndLog = 0;
constexpr std::size_t kEndPoints = 1;
void split_ends(std::uint32_t*, std::size_t, const Twiddles&, std::uint32_t) {}
void join_ends(std::uint32_t*, std::size_t, const Twiddles&, std::uint32_t) {}

#include "arith/multiply/ntt32/ntt32_passes.body.h"

}  // namespace

constinit const Kernels kKernelsGeneric = kTable;

}  // namespace nmp::n32
