// From digits to words.
#pragma once

#include <cstddef>
#include <cstdint>

namespace numforge {

/// Precision in words at which a constant below 2^32 must be computed so that this many digits
/// after the point can be cut off it exactly: the digits' own words, one for the integer part and
/// two of guard. A formula is right to 2^(-32 p) of its value and the conversion adds less than
/// that, so the last digit would be wrong only if some 18 digits after it were all 0 or all 9;
/// the conversion looks at those and refuses to guess.
/// Throws LimitExceededException when the words do not fit a number (2^32 - 1 words).
std::size_t words_for_digits(std::uint64_t decimal_digits, std::uint64_t hex_digits);

}  // namespace numforge
