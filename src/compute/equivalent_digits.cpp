#include "compute/equivalent_digits.h"

namespace numforge {
namespace {

/// High half of a 64 x 64 bit product; *low gets the other half.
std::uint64_t multiply_high(std::uint64_t a, std::uint64_t b, std::uint64_t* low) {
  const std::uint64_t mask = 0xffffffff;
  const std::uint64_t a0 = a & mask, a1 = a >> 32, b0 = b & mask, b1 = b >> 32;
  const std::uint64_t middle = a1 * b0 + (a0 * b0 >> 32);
  const std::uint64_t middle2 = a0 * b1 + (middle & mask);
  *low = a * b;
  return a1 * b1 + (middle >> 32) + (middle2 >> 32);
}

/// floor(n * (high / 2^64 + low / 2^128)) with high, low the fraction of an irrational number. Cut
/// after 128 bits it is short by less than 2^-128, the product by less than 2^-65, and no multiple
/// n < 2^63 of the two numbers below lies that close above an integer.
std::uint64_t times_fraction(std::uint64_t n, std::uint64_t high, std::uint64_t low) {
  std::uint64_t product_low = 0, ignored = 0;
  const std::uint64_t whole = multiply_high(n, high, &product_low);
  const std::uint64_t tail = multiply_high(n, low, &ignored);
  return whole + (product_low + tail < product_low ? 1 : 0);
}

}  // namespace

std::uint64_t hex_digits_of(std::uint64_t decimal_digits) {
  // log16(10) = 0.8304820237218405...
  return times_fraction(decimal_digits, 0xd49a784bcd1b8afe, 0x492bf6ff4dafdb4c);
}

std::uint64_t decimal_digits_of(std::uint64_t hex_digits) {
  // log10(16) = 1.2041199826559247...
  return hex_digits + times_fraction(hex_digits, 0x34413509f79fef31, 0x1f12b35816f922f0);
}

}  // namespace numforge
