// Between digit values, characters, and the words that digits are computed in.
#pragma once

#include <cstddef>
#include <cstdint>

#include "arith/word.h"

namespace nmp {

/// text[i] = the character of digits[i]: "0" to "9", then "a" to "f". False where a value is not
/// below the radix, 10 or 16; `text` is then unspecified.
bool digits_to_text(const std::uint8_t* digits, std::size_t count, unsigned radix, char* text);
/// The reverse, which also takes "A" to "F". `digits` may be `text` itself.
bool text_to_digits(const char* text, std::size_t count, unsigned radix, std::uint8_t* digits);

/// digits[0, 9 count) = the digits of blocks below 10^9, in printed order.
void blocks_to_digits(const Word* blocks, std::size_t count, std::uint8_t* digits);
/// digits[0, 8 count) = the nibbles of words[count - 1], ..., words[0], each from its top.
void words_to_nibbles(const Word* words, std::size_t count, std::uint8_t* digits);

}  // namespace nmp
