#include "compute/precision.h"

#include <algorithm>
#include <cmath>

#include "arith/word.h"

namespace numforge {
namespace {

constexpr std::uint64_t kIntegerWords = 1, kGuardWords = 2;

}  // namespace

std::uint64_t words_for_digits(std::uint64_t decimal_digits, std::uint64_t hex_digits) {
  const long double decimal_words =
      static_cast<long double>(decimal_digits) * 3.32192809488736234787L / nmp::kWordBits;
  const long double words =
      std::ceil(std::max(decimal_words, static_cast<long double>(hex_digits) * 4 / nmp::kWordBits));
  return static_cast<std::uint64_t>(words) + kIntegerWords + kGuardWords;
}

}  // namespace numforge
