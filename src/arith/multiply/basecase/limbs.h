// The two limb widths in which short products are formed.
//
// A limb type L names the integer types and reads and writes limb i of an array of words. Words
// carry only their own alignment, so limbs of two words are moved by memcpy.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/wide.h"
#include "arith/word.h"

namespace nmp::basecase {

struct Limb32 {
  using Limb = std::uint32_t;
  using Wide = std::uint64_t;  ///< holds a product of two limbs
  static constexpr unsigned kBits = 32;
  static constexpr std::size_t kWords = 1;
  static Limb load(const Word* p, std::size_t i) { return p[i]; }
  static void store(Word* p, std::size_t i, Limb x) { p[i] = x; }
};

#ifdef __SIZEOF_INT128__
struct Limb64 {
  using Limb = std::uint64_t;
  using Wide = wide::Uint128;
  static constexpr unsigned kBits = 64;
  static constexpr std::size_t kWords = 2;
  static Limb load(const Word* p, std::size_t i) { return load_limb(p + 2 * i); }
  static void store(Word* p, std::size_t i, Limb x) { store_limb(p + 2 * i, x); }
};
#endif

}  // namespace nmp::basecase
