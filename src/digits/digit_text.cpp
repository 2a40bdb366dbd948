#include "digits/digit_text.h"

namespace nmp {
namespace {

#include "digits/eight_digits.body.h"

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
  std::uint8_t most = 0;
  if (radix == 10) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint8_t digit = static_cast<std::uint8_t>(text[i] - '0');
      most = digit > most ? digit : most;
      digits[i] = digit;
    }
    return most < 10;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t decimal = static_cast<std::uint8_t>(text[i] - '0');
    // Setting bit 5 maps upper case to lower case; from "a" on letters count from 0.
    const std::uint8_t letter = static_cast<std::uint8_t>((text[i] | 0x20) - 'a');
    const std::uint8_t hex = letter < 6 ? static_cast<std::uint8_t>(letter + 10) : 0xFF;
    const std::uint8_t digit = decimal < 10 ? decimal : hex;
    most = digit > most ? digit : most;
    digits[i] = digit;
  }
  return most < radix;
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
