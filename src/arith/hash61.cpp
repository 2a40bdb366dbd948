#include "arith/hash61.h"

#include <algorithm>

namespace nmp::hash61 {
namespace {

// Word i weighs 2^(32 i mod 61), so the weights repeat after 61 words: the array is a matrix of 61
// columns, whose sums need no reduction until the end.
constexpr std::size_t kColumns = 61;
constexpr std::size_t kRowsAtOnce = 4;
constexpr std::size_t kGroup = kColumns * kRowsAtOnce;
/// A column of 64 bits holds 2^32 words; longer arrays are folded in between. A multiple of kGroup.
constexpr std::uint64_t kMostWords = std::uint64_t{kGroup} << 29;
/// Below this many words the columns cost more than they save.
constexpr std::size_t kColumnsFrom = 512;

/// x 2^bits mod 2^61 - 1 for x <= 2^61 - 1: a rotation of 61 bits.
std::uint64_t rotate(std::uint64_t x, unsigned bits) {
  return bits == 0 ? x : ((x << bits) & kPrime) | (x >> (61 - bits));
}

/// Two words weigh 2^64 = 8 times the two below. Only reduced at the end: h stays below 2^63.
std::uint64_t by_limbs(const Word* words, std::size_t n) {
  std::uint64_t h = n % 2 != 0 ? words[n - 1] : 0;
  for (std::size_t i = n & ~std::size_t{1}; i != 0; i -= 2) {
    const std::uint64_t limb = load_limb(words + i - 2);
    h = ((h << 3) & kPrime) + (h >> 58) + (limb & kPrime) + (limb >> 61);
  }
  return fold(h);
}

/// At most kMostWords words.
std::uint64_t by_columns(const Word* words, std::size_t n) {
  std::uint64_t column[kColumns] = {};
  std::size_t i = 0;
  for (; n - i >= kGroup; i += kGroup) {
    const Word* row = words + i;
    for (std::size_t j = 0; j < kColumns; ++j)
      column[j] += std::uint64_t{row[j]} + row[j + kColumns] + row[j + 2 * kColumns] +
                   std::uint64_t{row[j + 3 * kColumns]};
  }
  for (; i < n; i += kColumns)
    for (std::size_t j = 0; j < std::min(kColumns, n - i); ++j) column[j] += words[i + j];
  std::uint64_t h = 0;
  for (std::size_t j = 0; j < kColumns; ++j) h = add(h, rotate(fold(column[j]), 32 * j % kColumns));
  return h;
}

}  // namespace

std::uint64_t of_words(const Word* words, std::size_t n) {
  if (n < kColumnsFrom) return by_limbs(words, n);
  std::uint64_t h = 0;
  while (n != 0) {
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(n, kMostWords));
    h = add(h, by_columns(words, part));  // kMostWords is a multiple of 61: the weights go on
    words += part;
    n -= part;
  }
  return h;
}

}  // namespace nmp::hash61
