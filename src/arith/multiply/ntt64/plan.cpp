#include "arith/multiply/ntt64/plan.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "arith/multiply/basecase/schoolbook.h"
#include "arith/multiply/ntt64/transform.h"
#include "foundation/exceptions.h"
#include "memory/aligned_buffer.h"

namespace nmp::n64 {
namespace {

constexpr std::size_t kProductWords = 2 * kPrimes;

/// The product of the primes as words.
struct PrimeProduct {
  PrimeProduct() {
    Word partial[kProductWords] = {1};
    for (std::size_t k = 0; k < kPrimes; ++k) {
      const Word prime[2] = {static_cast<Word>(kPrimeValues[k]),
                             static_cast<Word>(kPrimeValues[k] >> 32)};
      basecase::schoolbook_multiply<basecase::Limb32>(words, partial, 2 * k + 1, prime, 2);
      std::copy_n(words, 2 * k + 2, partial);
    }
  }
  Word words[kProductWords + 2] = {};
};

std::size_t plane_bytes(std::uint64_t length) {
  const std::uint64_t bytes = length * sizeof(std::uint64_t);
  if (bytes > std::numeric_limits<std::size_t>::max() - kBufferAlignment)
    throw LimitExceededException("n64::Plan::Plan()",
                                 "The transform does not fit this program's address space.", bytes);
  return carved_bytes<std::uint64_t>(static_cast<std::size_t>(length));
}

/// Relative time of `transforms` transforms.
std::uint64_t cost(std::uint64_t length, std::uint64_t transforms) {
  // The 6 stands for loading, pointwise products and recomposition.
  return length * transforms * (static_cast<std::uint64_t>(std::bit_width(length)) + 6);
}

}  // namespace

bool capacity_suffices(unsigned digit_bits, std::uint64_t points) {
  static const PrimeProduct primes;
  Word digit[3] = {~0u, ~0u, 0};  // the largest digit
  if (digit_bits == kWideDigitBits) digit[2] = 0xFFFFu;
  const Word count[2] = {static_cast<Word>(points), static_cast<Word>(points >> 32)};
  Word square[6], sum[8];
  basecase::schoolbook_square<basecase::Limb32>(square, digit, 3);
  basecase::schoolbook_multiply<basecase::Limb32>(sum, square, 6, count, 2);
  return std::lexicographical_compare(std::rbegin(sum), std::rend(sum), std::rbegin(primes.words),
                                      std::rend(primes.words));
}

Plan::Plan(std::size_t al, std::size_t bl, bool square_of_a)
    : digit_bits(kWideDigitBits), piece_words(al), pieces(1), square(square_of_a) {
  if (!capacity_suffices(digit_bits, digits_of(bl, digit_bits))) digit_bits = kNarrowDigitBits;
  const std::uint64_t b_digits = digits_of(bl, digit_bits);
  if (!capacity_suffices(digit_bits, b_digits))
    throw ConvolutionTooSmallException("n64::Plan::Plan()",
                                       "The primes cannot hold the sums of products.", 0, b_digits);
  const std::uint64_t whole = transform_length(digits_of(al, digit_bits) + b_digits);
  std::uint64_t best = cost(whole, 3);
  length = static_cast<std::size_t>(whole);
  plane_bytes(whole);
  // Pieces keep the second operand's planes for all primes, so their transforms must be short
  // enough not to need more memory than a single one.
  for (std::uint64_t n = transform_length(2 * b_digits); 2 * kPrimes * n <= (kPrimes + 1) * whole;
       n = transform_length(n + 1)) {
    const std::uint64_t words = (n - b_digits) * digit_bits / kWordBits;
    const std::uint64_t count = (al + words - 1) / words;
    const std::uint64_t time = cost(n, 1 + 2 * count);
    if (time >= best) continue;
    best = time;
    length = static_cast<std::size_t>(n);
    piece_words = static_cast<std::size_t>(words);
    pieces = static_cast<std::size_t>(count);
  }
}

std::size_t Plan::planes() const {
  if (square) return kPrimes;
  return pieces == 1 ? kPrimes + 1 : 2 * kPrimes;
}

std::size_t Plan::scratch_bytes() const { return planes() * plane_bytes(length); }

std::size_t plan_scratch_bytes(std::size_t n) {
  // Two operands of n words in all have at most two digits more than n words on their own.
  std::uint64_t length = transform_length(std::uint64_t{n} * 32 / kWideDigitBits + 2);
  if (!capacity_suffices(kWideDigitBits, digits_of(n / 2, kWideDigitBits)))
    length = std::max(length, transform_length(std::uint64_t{n} * 32 / kNarrowDigitBits + 1));
  constexpr std::uint64_t kMost = std::numeric_limits<std::size_t>::max() & ~(kBufferAlignment - 1);
  // Every plane of a plan is rounded up to whole lines.
  const std::uint64_t bytes =
      length * sizeof(std::uint64_t) * (kPrimes + 1) + 2 * kPrimes * kBufferAlignment;
  return static_cast<std::size_t>(
      std::min(kMost, (bytes + kBufferAlignment - 1) & ~std::uint64_t{kBufferAlignment - 1}));
}

}  // namespace nmp::n64
