#include "compute/precision.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "arith/word.h"
#include "foundation/exceptions.h"

namespace numforge {
namespace {

constexpr std::uint64_t kIntegerWords = 1, kGuardWords = 2;
/// Numbers count their words in 32 bits, and products twice as many.
constexpr std::uint64_t kMostWords = std::numeric_limits<std::uint32_t>::max() / 2 - 1024;

}  // namespace

std::size_t words_for_digits(std::uint64_t decimal_digits, std::uint64_t hex_digits) {
  const long double decimal_words =
      static_cast<long double>(decimal_digits) * 3.32192809488736234787L / nmp::kWordBits;
  const long double words = std::ceil(
      std::max(decimal_words, static_cast<long double>(hex_digits) * 4 / nmp::kWordBits));
  if (words > static_cast<long double>(kMostWords))
    throw nmp::LimitExceededException("words_for_digits()", "Too many digits.",
                                      std::max(decimal_digits, hex_digits));
  return static_cast<std::size_t>(static_cast<std::uint64_t>(words) + kIntegerWords + kGuardWords);
}

}  // namespace numforge
