// The loops over digits for AVX2. Compiled with those flags: nothing but the table may leave this
// file.
#include <immintrin.h>

#include <cstring>

#include "digits/digit_kernels.h"

namespace nmp {
namespace {

constexpr std::size_t kDecimals = 19, kNibbles = 16;
constexpr std::size_t kAtOnce = 4;  ///< words
constexpr std::uint64_t kTen8 = 100'000'000;

inline __m128i load16(const std::uint8_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline __m256i load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void store16(std::uint8_t* p, __m128i x) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), x);
}
inline void store32(void* p, __m256i x) { _mm256_storeu_si256(static_cast<__m256i*>(p), x); }
/// The first 16 bytes at p, and those at q behind them.
inline __m256i load_two(const std::uint8_t* p, const std::uint8_t* q) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(p)), load16(q), 1);
}
/// The low half to p, the high half to q.
inline void store_two(std::uint8_t* p, std::uint8_t* q, __m256i x) {
  store16(p, _mm256_castsi256_si128(x));
  store16(q, _mm256_extracti128_si256(x, 1));
}
inline int load_int(const std::uint8_t* p) {
  int x;
  std::memcpy(&x, p, sizeof x);
  return x;
}
inline bool none_above(__m256i bytes, char most) {
  const __m256i above = _mm256_subs_epu8(bytes, _mm256_set1_epi8(most));
  return _mm256_testz_si256(above, above) != 0;
}
/// What is left of a run, on a copy that is long enough: loop(copy, copy of the result).
template <typename From, typename To, typename Loop>
bool finish(const From* from, std::size_t from_size, To* to, std::size_t to_size, Loop loop) {
  From given[kAtOnce * kDecimals] = {};
  To made[kAtOnce * kDecimals];
  std::memcpy(given, from, from_size * sizeof(From));
  const bool good = loop(given, made);
  std::memcpy(to, made, to_size * sizeof(To));
  return good;
}

// Digits to words: four words at a time, w0 to w3. Neighbours are joined to pairs, pairs to fours,
// fours to eights, as in the portable loop, in lanes w0 w2 | w1 w3 from there on.

/// 16 digits of each word at p + i * stride to two numbers of eight, the first one lower.
inline __m256i join_eights(__m256i digits01, __m256i digits23) {
  const __m256i tens = _mm256_set1_epi16(0x010A), hundreds = _mm256_set1_epi32(0x00010064),
                myriads = _mm256_set1_epi32(0x00012710);
  const __m256i fours01 = _mm256_madd_epi16(_mm256_maddubs_epi16(digits01, tens), hundreds);
  const __m256i fours23 = _mm256_madd_epi16(_mm256_maddubs_epi16(digits23, tens), hundreds);
  return _mm256_madd_epi16(_mm256_packus_epi32(fours01, fours23), myriads);
}

inline __m256i pack_decimal4(const std::uint8_t* p, __m256i* most) {
  const __m256i digits01 = load_two(p, p + kDecimals);
  const __m256i digits23 = load_two(p + 2 * kDecimals, p + 3 * kDecimals);
  // The last four digits of each word; the first of those has been taken already.
  const __m128i ends = _mm_set_epi32(load_int(p + 3 * kDecimals + 15), load_int(p + kDecimals + 15),
                                     load_int(p + 2 * kDecimals + 15), load_int(p + 15));
  *most = _mm256_max_epu8(*most, _mm256_max_epu8(digits01, digits23));
  *most = _mm256_max_epu8(*most, _mm256_castsi128_si256(ends));
  const __m256i eights = join_eights(digits01, digits23);
  const __m256i sixteen = _mm256_add_epi64(_mm256_mul_epu32(eights, _mm256_set1_epi64x(kTen8)),
                                           _mm256_srli_epi64(eights, 32));
  const __m128i three =
      _mm_madd_epi16(_mm_maddubs_epi16(ends, _mm_set1_epi32(0x010A6400)), _mm_set1_epi16(1));
  const __m256i by8 = _mm256_slli_epi64(sixteen, 3);  // 1000 = 1024 - 3 * 8
  const __m256i by24 = _mm256_add_epi64(by8, _mm256_slli_epi64(sixteen, 4));
  const __m256i by1000 = _mm256_sub_epi64(_mm256_slli_epi64(sixteen, 10), by24);
  const __m256i words = _mm256_add_epi64(by1000, _mm256_cvtepu32_epi64(three));
  return _mm256_permute4x64_epi64(words, _MM_SHUFFLE(3, 1, 2, 0));
}

bool pack_decimal(const std::uint8_t* digits, std::size_t words, std::uint64_t* packed) {
  __m256i most = _mm256_setzero_si256();
  for (; words >= kAtOnce; words -= kAtOnce, digits += kAtOnce * kDecimals, packed += kAtOnce)
    store32(packed, pack_decimal4(digits, &most));
  if (words > 0)
    finish(digits, words * kDecimals, packed, words, [&](const std::uint8_t* p, std::uint64_t* to) {
      store32(to, pack_decimal4(p, &most));
      return true;
    });
  return none_above(most, 9);
}

/// The bytes of each word in reverse.
inline __m256i swap_bytes(__m256i words) {
  const __m128i reverse = _mm_set_epi8(8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7);
  return _mm256_shuffle_epi8(words, _mm256_broadcastsi128_si256(reverse));
}

inline __m256i pack_hex4(const std::uint8_t* p, __m256i* most) {
  const __m256i digits01 = load32(p), digits23 = load32(p + 2 * kNibbles);
  *most = _mm256_max_epu8(*most, _mm256_max_epu8(digits01, digits23));
  const __m256i weights = _mm256_set1_epi16(0x0110);
  const __m256i bytes = _mm256_packus_epi16(_mm256_maddubs_epi16(digits01, weights),
                                            _mm256_maddubs_epi16(digits23, weights));
  return _mm256_permute4x64_epi64(swap_bytes(bytes), _MM_SHUFFLE(3, 1, 2, 0));
}

bool pack_hex(const std::uint8_t* digits, std::size_t words, std::uint64_t* packed) {
  __m256i most = _mm256_setzero_si256();
  for (; words >= kAtOnce; words -= kAtOnce, digits += kAtOnce * kNibbles, packed += kAtOnce)
    store32(packed, pack_hex4(digits, &most));
  if (words > 0)
    finish(digits, words * kNibbles, packed, words, [&](const std::uint8_t* p, std::uint64_t* to) {
      store32(to, pack_hex4(p, &most));
      return true;
    });
  return none_above(most, 15);
}

// Words to digits: four words at a time. A number is divided in two by the product with a rounded
// up reciprocal, exact for values of this size, and quotient and rest stand side by side at once:
// (x << s) + q * (1 - (d << s)) = q + ((x - q d) << s).

/// 32-bit lanes of x < 10^8 to the digits of lanes 0 and 1 of each half in *low, 2 and 3 in *high.
inline void split_eights(__m256i x, __m256i* low, __m256i* high) {
  const __m256i reciprocal = _mm256_set1_epi64x(3518437209);  // 2^45 / 10^4
  const __m256i even = _mm256_srli_epi64(_mm256_mul_epu32(x, reciprocal), 45);
  const __m256i odd = _mm256_srli_epi64(_mm256_mul_epu32(_mm256_srli_epi64(x, 32), reciprocal), 45);
  const __m256i q = _mm256_or_si256(even, _mm256_slli_epi64(odd, 32));
  const __m256i fours = _mm256_add_epi32(
      _mm256_slli_epi32(x, 16), _mm256_mullo_epi32(q, _mm256_set1_epi32(1 - (10000 << 16))));
  const __m256i hundreds =
      _mm256_srli_epi16(_mm256_mulhi_epu16(fours, _mm256_set1_epi16(5243)), 3);  // 2^19 / 100
  const __m256i rests =
      _mm256_sub_epi16(fours, _mm256_mullo_epi16(hundreds, _mm256_set1_epi16(100)));
  const auto split_pairs = [](__m256i pairs) {
    const __m256i tens = _mm256_mulhi_epu16(pairs, _mm256_set1_epi16(6554));  // 2^16 / 10
    return _mm256_add_epi16(_mm256_slli_epi16(pairs, 8),
                            _mm256_mullo_epi16(tens, _mm256_set1_epi16(1 - (10 << 8))));
  };
  *low = split_pairs(_mm256_unpacklo_epi16(hundreds, rests));
  *high = split_pairs(_mm256_unpackhi_epi16(hundreds, rests));
}

/// 32-bit lanes of x < 1000 to three digits each, and a zero behind them.
inline __m128i split_threes(__m128i x) {
  const __m128i hundreds = _mm_srli_epi16(_mm_mulhi_epu16(x, _mm_set1_epi16(5243)), 3);
  const __m128i rest = _mm_sub_epi16(x, _mm_mullo_epi16(hundreds, _mm_set1_epi16(100)));
  const __m128i tens = _mm_mulhi_epu16(rest, _mm_set1_epi16(6554));
  const __m128i ones = _mm_sub_epi16(rest, _mm_mullo_epi16(tens, _mm_set1_epi16(10)));
  return _mm_or_si128(hundreds, _mm_or_si128(_mm_slli_epi32(tens, 8), _mm_slli_epi32(ones, 16)));
}

inline bool unpack_decimal4(const std::uint64_t* packed, std::uint8_t* digits) {
  std::uint32_t tops[kAtOnce];
  std::uint64_t eights[kAtOnce];
  bool valid = true;
  for (std::size_t i = 0; i < kAtOnce; ++i) {
    const std::uint64_t high = packed[i] / kTen8, top = high / kTen8;
    valid &= top < 1000;
    tops[i] = static_cast<std::uint32_t>(top);
    eights[i] = (high - top * kTen8) | ((packed[i] - high * kTen8) << 32);
  }
  __m256i low, high;
  split_eights(load32(eights), &low, &high);
  const __m128i threes = split_threes(load16(reinterpret_cast<const std::uint8_t*>(tops)));
  std::uint32_t three[kAtOnce];
  std::memcpy(three, &threes, sizeof three);
  for (std::size_t i = 0; i < kAtOnce; ++i) std::memcpy(digits + i * kDecimals, three + i, 4);
  store_two(digits + 3, digits + 2 * kDecimals + 3, low);
  store_two(digits + kDecimals + 3, digits + 3 * kDecimals + 3, high);
  return valid;
}

bool unpack_decimal(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits) {
  bool valid = true;
  for (; words >= kAtOnce; words -= kAtOnce, packed += kAtOnce, digits += kAtOnce * kDecimals)
    valid &= unpack_decimal4(packed, digits);
  if (words > 0) valid &= finish(packed, words, digits, words * kDecimals, unpack_decimal4);
  return valid;
}

inline bool unpack_hex4(const std::uint64_t* packed, std::uint8_t* digits) {
  const __m256i bytes = swap_bytes(load32(packed)), nibble = _mm256_set1_epi8(15);
  const __m256i firsts = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), nibble);
  const __m256i seconds = _mm256_and_si256(bytes, nibble);
  store_two(digits, digits + 2 * kNibbles, _mm256_unpacklo_epi8(firsts, seconds));
  store_two(digits + kNibbles, digits + 3 * kNibbles, _mm256_unpackhi_epi8(firsts, seconds));
  return true;
}

void unpack_hex(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits) {
  for (; words >= kAtOnce; words -= kAtOnce, packed += kAtOnce, digits += kAtOnce * kNibbles)
    unpack_hex4(packed, digits);
  if (words > 0) finish(packed, words, digits, words * kNibbles, unpack_hex4);
}

/// Four values share each sweep.
void count(const std::uint8_t* digits, std::size_t size, unsigned radix, std::uint64_t* counts) {
  constexpr std::size_t kValues = 4, kLanes = 32;
  const std::size_t groups = size / kLanes;
  for (unsigned value = 0; value < radix; value += kValues) {
    __m256i sums[kValues];
    for (__m256i& sum : sums) sum = _mm256_setzero_si256();
    for (std::size_t i = 0; i < groups; ++i) {
      const __m256i x = load32(digits + i * kLanes);
      for (unsigned j = 0; j < kValues; ++j) {
        const __m256i equal =
            _mm256_cmpeq_epi8(x, _mm256_set1_epi8(static_cast<char>(value + j)));  // true is -1
        sums[j] = _mm256_sub_epi8(sums[j], equal);
      }
    }
    for (unsigned j = 0; j < kValues && value + j < radix; ++j) {
      std::uint64_t parts[4];
      store32(parts, _mm256_sad_epu8(sums[j], _mm256_setzero_si256()));
      counts[value + j] += parts[0] + parts[1] + parts[2] + parts[3];
    }
  }
  for (std::size_t i = groups * kLanes; i < size; ++i)
    if (digits[i] < radix) ++counts[digits[i]];
}

}  // namespace

const DigitKernels kDigitKernelsAvx2 = {pack_decimal, pack_hex, unpack_decimal, unpack_hex, count};

}  // namespace nmp
