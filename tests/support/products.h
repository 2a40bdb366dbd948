// What tests of multiplication algorithms share: fenced calls, a slow product, residues.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/arithmetic.h"
#include "support/reference.h"

namespace nmp::test {

using Words = std::vector<std::uint32_t>;

/// a * b in a.size() + b.size() words.
inline Words schoolbook(const Words& a, const Words& b) {
  Words c = multiply(a, b);
  c.resize(a.size() + b.size(), 0);
  return c;
}

/// Calls multiply(c, a, al, b, bl, scratch) with just `scratch_bytes` of scratch and a result that
/// starts as garbage between guard words. The same vector given twice is passed as a square.
template <typename Multiply>
Words fenced_product(const Words& a, const Words& b, std::size_t scratch_bytes,
                     const Multiply& multiply) {
  constexpr std::uint32_t kGuard = 0xFEEDFACE;
  Words c(a.size() + b.size() + 2, kGuard);
  const FencedScratch scratch(scratch_bytes);
  multiply(c.data() + 1, a.data(), a.size(), b.data(), b.size(), scratch.buffer());
  EXPECT_EQ(c.front(), kGuard);
  EXPECT_EQ(c.back(), kGuard);
  return Words(c.begin() + 1, c.end() - 1);
}

inline std::uint64_t residue(const Words& a, std::uint64_t prime_below_2_32) {
  std::uint64_t r = 0;
  for (std::size_t i = a.size(); i-- != 0;) r = ((r << 32) | a[i]) % prime_below_2_32;
  return r;
}

inline void expect_product_modulo_primes(const Words& c, const Words& a, const Words& b) {
  for (const std::uint64_t p : {4294967291ull, 4294967279ull, 2147483647ull})
    ASSERT_EQ(residue(c, p), residue(a, p) * residue(b, p) % p) << "modulo " << p;
}

}  // namespace nmp::test
