#include <cstring>

#include "digits/digit_kernels.h"
#include "digits/digit_words.h"

namespace nmp {
namespace {

#include "digits/eight_digits.body.h"

constexpr std::uint64_t kTen8 = 100'000'000;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

/// A bit of kHighBits for each of eight bytes that is not below the radix.
std::uint64_t not_below(std::uint64_t x, unsigned radix) {
  const std::uint64_t rest = 0x0101010101010101 * (128 - radix);
  return (((x & ~kHighBits) + rest) | x) & kHighBits;
}

bool pack_decimal(const std::uint8_t* digits, std::size_t words, std::uint64_t* packed) {
  std::uint64_t wrong = 0;
  for (std::size_t i = 0; i < words; ++i, digits += kDecimalsPerWord) {
    const std::uint64_t high = load8(digits), low = load8(digits + 8);
    const std::uint64_t end =
        digits[16] | (std::uint64_t{digits[17]} << 8) | (std::uint64_t{digits[18]} << 16);
    wrong |= not_below(high, 10) | not_below(low, 10) | not_below(end, 10);
    packed[i] = (join8_decimal(high) * kTen8 + join8_decimal(low)) * 1000 + digits[16] * 100u +
                digits[17] * 10u + digits[18];
  }
  return wrong == 0;
}

bool pack_hex(const std::uint8_t* digits, std::size_t words, std::uint64_t* packed) {
  std::uint64_t wrong = 0;
  for (std::size_t i = 0; i < words; ++i, digits += kNibblesPerWord) {
    const std::uint64_t high = load8(digits), low = load8(digits + 8);
    wrong |= not_below(high, 16) | not_below(low, 16);
    packed[i] = std::uint64_t{join8_hex(high)} << 32 | join8_hex(low);
  }
  return wrong == 0;
}

bool unpack_decimal(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits) {
  bool valid = true;
  for (std::size_t i = 0; i < words; ++i, digits += kDecimalsPerWord) {
    const std::uint64_t word = packed[i], high = word / kTen8;
    valid &= word <= kLargestDecimalWord;
    const std::uint32_t top = static_cast<std::uint32_t>(high / kTen8);
    digits[0] = static_cast<std::uint8_t>(top / 100);
    digits[1] = static_cast<std::uint8_t>(top / 10 % 10);
    digits[2] = static_cast<std::uint8_t>(top % 10);
    store8(digits + 3, split8_decimal(static_cast<std::uint32_t>(high - top * kTen8)));
    store8(digits + 11, split8_decimal(static_cast<std::uint32_t>(word - high * kTen8)));
  }
  return valid;
}

void unpack_hex(const std::uint64_t* packed, std::size_t words, std::uint8_t* digits) {
  for (std::size_t i = 0; i < words; ++i, digits += kNibblesPerWord) {
    store8(digits, split8_hex(static_cast<std::uint32_t>(packed[i] >> 32)));
    store8(digits + 8, split8_hex(static_cast<std::uint32_t>(packed[i])));
  }
}

/// Sixteen byte counters; the compiler maps them to what the target has.
constexpr std::size_t kLanes = 16;
typedef std::uint8_t Lanes __attribute__((vector_size(kLanes)));

/// Two values share each sweep.
void count(const std::uint8_t* digits, std::size_t size, unsigned radix, std::uint64_t* counts) {
  const std::size_t groups = size / kLanes;
  for (unsigned value = 0; value < radix; value += 2) {
    const Lanes even = Lanes{} + static_cast<std::uint8_t>(value), odd = even + 1;
    Lanes evens{}, odds{};
    for (std::size_t i = 0; i < groups; ++i) {
      Lanes x;
      std::memcpy(&x, digits + kLanes * i, kLanes);
      evens -= reinterpret_cast<Lanes>(x == even);  // true is ~0
      odds -= reinterpret_cast<Lanes>(x == odd);
    }
    for (std::size_t j = 0; j < kLanes; ++j) {
      counts[value] += evens[j];
      if (value + 1 < radix) counts[value + 1] += odds[j];
    }
  }
  for (std::size_t i = groups * kLanes; i < size; ++i)
    if (digits[i] < radix) ++counts[digits[i]];
}

}  // namespace

const DigitKernels kDigitKernelsGeneric = {pack_decimal, pack_hex, unpack_decimal, unpack_hex,
                                           count};

}  // namespace nmp
