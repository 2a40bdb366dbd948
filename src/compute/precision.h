// From digits to words.
#pragma once

#include <cstddef>
#include <cstdint>

namespace numforge {

/// Precision in words at which a constant below 2^32 must be computed so that this many digits
/// after the point can be cut off it exactly: the digits' own words, one for the integer part and
/// two of guard. A formula is right to 2^(-32 p) of its value, so what is cut off is known to some
/// 19 digits: the last digit could only be wrong where all of those are 0 or all are 9.
std::uint64_t words_for_digits(std::uint64_t decimal_digits, std::uint64_t hex_digits);

/// The longest number: its words, and those of its square, are counted in 32 bits.
inline constexpr std::uint64_t kMostWords = 0x7FFFF000;

}  // namespace numforge
