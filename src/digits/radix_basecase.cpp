#include "digits/radix_basecase.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "digits/radix_split.h"
#include "foundation/exceptions.h"

namespace nmp::CBRv2 {
namespace {

// A fraction cut to `kept` bits when r digits are still to come is off by 10^r / 2^kept in the end:
// 39 bits beyond r digits, the overlap word included, make that 2^-39, and with at most
// kMaxLeafBlocks cuts all of them together stay below one unit of the overlap word.
constexpr unsigned kBitsBeyond = 39;
static_assert(kMaxLeafBlocks <= (1u << (kBitsBeyond - kWordBits)));

constexpr std::size_t kMaxLeafWords =
    (bits_for_digits(kMaxLeafBlocks * kBlockDigits) + kSlackBits + 31) / 32 + 1;

/// Limbs of `limb_bits` that still matter when `blocks` blocks are to come.
std::size_t limbs_that_matter(std::size_t blocks, unsigned limb_bits) {
  const std::uint64_t bits = bits_for_digits(blocks * kBlockDigits) + kBitsBeyond;
  return static_cast<std::size_t>((bits + limb_bits - 1) / limb_bits);
}

/// The words of the fraction that are used: any beyond kMaxLeafWords are cut off.
const Word* usable(const Word* node, std::size_t* words, std::size_t blocks) {
  const std::size_t needed =
      (bits_for_digits(blocks * kBlockDigits) + kWordBits + kWordBits - 1) / kWordBits;
  if (*words < needed) throw AlgorithmFailedException("CBRv2::convert_L()", "TL < AL");
  const std::size_t surplus = *words > kMaxLeafWords ? *words - kMaxLeafWords : 0;
  *words -= surplus;
  return node + surplus;
}

}  // namespace

Word convert_L_portable(Word* node, std::size_t words, std::size_t blocks) {
  Word fraction[kMaxLeafWords];
  const Word* source = usable(node, &words, blocks);
  std::copy(source, source + words, fraction);
  std::size_t low = 0;  // words below this one no longer matter
  for (std::size_t i = 0; i < blocks; ++i) {
    const std::size_t kept = limbs_that_matter(blocks - i, kWordBits);
    if (words - low > kept) low = words - kept;
    std::uint64_t carry = 0;
    for (std::size_t j = low; j < words; ++j) {
      carry += std::uint64_t{fraction[j]} * kBlockRadix;
      fraction[j] = static_cast<Word>(carry);
      carry >>= kWordBits;
    }
    node[i] = static_cast<Word>(carry);
  }
  return fraction[words - 1];
}

#ifdef __SIZEOF_INT128__

namespace {

__extension__ typedef unsigned __int128 QuadWord;
constexpr std::uint64_t kPairRadix = std::uint64_t{kBlockRadix} * kBlockRadix;

std::uint64_t multiply_add(std::uint64_t* limb, std::uint64_t factor, std::uint64_t carry) {
  const QuadWord product = static_cast<QuadWord>(*limb) * factor + carry;
  *limb = static_cast<std::uint64_t>(product);
  return static_cast<std::uint64_t>(product >> 64);
}

void put_pair(Word* blocks, std::uint64_t pair) {
  blocks[0] = static_cast<Word>(pair / kBlockRadix);
  blocks[1] = static_cast<Word>(pair % kBlockRadix);
}

}  // namespace

Word convert_L(Word* node, std::size_t words, std::size_t blocks) {
  std::uint64_t fraction[kMaxLeafWords / 2 + 1];
  const Word* source = usable(node, &words, blocks);
  const std::size_t n = (words + 1) / 2;
  fraction[0] = 0;  // an odd number of words leaves the lower half of limb 0 empty
  std::memcpy(reinterpret_cast<char*>(fraction) + (2 * n - words) * sizeof(Word), source,
              words * sizeof(Word));
  std::size_t low = 0, i = 0;
  const auto drop = [&] {
    const std::size_t kept = limbs_that_matter(blocks - i, 64);
    if (n - low > kept) low = n - kept;
  };
  // One or three blocks first, so that what follows comes in fours: two passes of two blocks each,
  // made in one sweep because their carry chains do not wait for each other.
  if (blocks & 1) {
    std::uint64_t carry = 0;
    for (std::size_t j = low; j < n; ++j) carry = multiply_add(fraction + j, kBlockRadix, carry);
    node[i++] = static_cast<Word>(carry);
  }
  if (blocks & 2) {
    drop();
    std::uint64_t carry = 0;
    for (std::size_t j = low; j < n; ++j) carry = multiply_add(fraction + j, kPairRadix, carry);
    put_pair(node + i, carry);
    i += 2;
  }
  for (; i < blocks; i += 4) {
    drop();
    std::uint64_t first = 0, second = 0;
    for (std::size_t j = low; j < n; ++j) {
      first = multiply_add(fraction + j, kPairRadix, first);
      second = multiply_add(fraction + j, kPairRadix, second);
    }
    put_pair(node + i, first);
    put_pair(node + i + 2, second);
  }
  return static_cast<Word>(fraction[n - 1] >> 32);
}

#else

Word convert_L(Word* node, std::size_t words, std::size_t blocks) {
  return convert_L_portable(node, words, blocks);
}

#endif

}  // namespace nmp::CBRv2
