// 64 x 64 -> 128-bit products, with or without a 128-bit type.
//
// The portable forms are compiled everywhere, so that tests compare both on a 64-bit machine.
#pragma once

#include <cstdint>

namespace nmp::wide {

/// high * 2^64 + low.
struct Pair {
  std::uint64_t low;
  std::uint64_t high;
};

namespace portable {
/// a * b from four products of 32-bit halves.
constexpr Pair multiply(std::uint64_t a, std::uint64_t b) {
  const std::uint64_t a0 = a & 0xFFFFFFFFu, a1 = a >> 32;
  const std::uint64_t b0 = b & 0xFFFFFFFFu, b1 = b >> 32;
  const std::uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
  const std::uint64_t middle = (p00 >> 32) + (p01 & 0xFFFFFFFFu) + (p10 & 0xFFFFFFFFu);
  return {(middle << 32) | (p00 & 0xFFFFFFFFu), p11 + (p01 >> 32) + (p10 >> 32) + (middle >> 32)};
}
constexpr std::uint64_t multiply_high(std::uint64_t a, std::uint64_t b) {
  return multiply(a, b).high;
}
/// a * b + c, which fits.
constexpr Pair multiply_add(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
  Pair sum = multiply(a, b);
  sum.low += c;
  sum.high += sum.low < c;
  return sum;
}
}  // namespace portable

#ifdef __SIZEOF_INT128__
using Uint128 = unsigned __int128;
using Int128 = __int128;

constexpr Pair multiply(std::uint64_t a, std::uint64_t b) {
  const Uint128 product = static_cast<Uint128>(a) * b;
  return {static_cast<std::uint64_t>(product), static_cast<std::uint64_t>(product >> 64)};
}
constexpr std::uint64_t multiply_high(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::uint64_t>((static_cast<Uint128>(a) * b) >> 64);
}
// Compilers make additions with carry of this, and comparisons of the portable form.
constexpr Pair multiply_add(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
  const Uint128 sum = static_cast<Uint128>(a) * b + c;
  return {static_cast<std::uint64_t>(sum), static_cast<std::uint64_t>(sum >> 64)};
}
#else
using portable::multiply;
using portable::multiply_add;
using portable::multiply_high;
#endif

}  // namespace nmp::wide
