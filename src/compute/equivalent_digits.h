// How many digits of one radix are worth a number of digits of the other.
#pragma once

#include <cstdint>

namespace numforge {

/// floor(digits * log16(10)), exact for every digits < 2^63.
std::uint64_t hex_digits_of(std::uint64_t decimal_digits);
/// floor(digits * log10(16)), exact for every digits < 2^63.
std::uint64_t decimal_digits_of(std::uint64_t hex_digits);

}  // namespace numforge
