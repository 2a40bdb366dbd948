#include "digits/digit_text.h"

#include "digits/stats_kernels.h"

namespace nmp {
namespace {

void store8(std::uint8_t* digits, std::uint64_t x) {
  for (unsigned i = 0; i < 8; ++i) digits[i] = static_cast<std::uint8_t>(x >> (8 * i));
}

/// The eight digits of x < 10^8, the first in the lowest byte. Four digits side by side are divided
/// by 100, then pairs by 10, with multiplications that are exact for values this small.
std::uint64_t split8_decimal(Word x) {
  const std::uint64_t fours = x / 10000 + (std::uint64_t{x % 10000} << 32);
  const std::uint64_t hundreds = ((fours * 10486) >> 20) & 0x0000007F0000007F;
  const std::uint64_t pairs = hundreds + ((fours - 100 * hundreds) << 16);
  const std::uint64_t tens = ((pairs * 103) >> 10) & 0x000F000F000F000F;
  return tens + ((pairs - 10 * tens) << 8);
}

/// The eight nibbles of x, the top one in the lowest byte.
std::uint64_t split8_hex(Word x) {
  std::uint64_t y = (x >> 16) | (std::uint64_t{x & 0xFFFF} << 32);
  y = ((y >> 8) & 0x000000FF000000FF) | ((y & 0x000000FF000000FF) << 16);
  return ((y >> 4) & 0x000F000F000F000F) | ((y & 0x000F000F000F000F) << 8);
}

namespace portable {
#include "digits/text_digits.body.h"
}  // namespace portable

}  // namespace

bool digits_to_text(const std::uint8_t* digits, std::size_t count, unsigned radix, char* text) {
  std::uint8_t most = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t digit = digits[i];
    most = digit > most ? digit : most;
    text[i] = static_cast<char>(digit + (digit < 10 ? '0' : 'a' - 10));
  }
  return most < radix;
}

bool text_to_digits(const char* text, std::size_t count, unsigned radix, std::uint8_t* digits) {
  if (const stats::Kernels* fast = stats::kernels())
    return fast->text_to_digits(text, count, radix, digits);
  return portable::text_to_digits(text, count, radix, digits);
}

void blocks_to_digits(const Word* blocks, std::size_t count, std::uint8_t* digits) {
  for (std::size_t i = 0; i < count; ++i, digits += 9) {
    const Word top = blocks[i] / 100'000'000;
    digits[0] = static_cast<std::uint8_t>(top);
    store8(digits + 1, split8_decimal(blocks[i] - top * 100'000'000));
  }
}

void words_to_nibbles(const Word* words, std::size_t count, std::uint8_t* digits) {
  for (std::size_t i = count; i-- > 0; digits += 8) store8(digits, split8_hex(words[i]));
}

}  // namespace nmp
