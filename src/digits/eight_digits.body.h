// Eight digits in the bytes of a 64-bit word, the first one in the lowest byte. Included inside the
// unnamed namespace of whoever uses it, so that no kernel file shares it with another.

inline std::uint64_t load8(const std::uint8_t* digits) {
  std::uint64_t x = 0;
  for (unsigned i = 0; i < 8; ++i) x |= std::uint64_t{digits[i]} << (8 * i);
  return x;
}
inline void store8(std::uint8_t* digits, std::uint64_t x) {
  for (unsigned i = 0; i < 8; ++i) digits[i] = static_cast<std::uint8_t>(x >> (8 * i));
}

/// As one number: neighbours are joined to pairs, pairs to fours, fours to the eight.
inline std::uint32_t join8_decimal(std::uint64_t x) {
  x = (x * 10 + (x >> 8)) & 0x00FF00FF00FF00FF;
  x = (x * 100 + (x >> 16)) & 0x0000FFFF0000FFFF;
  return static_cast<std::uint32_t>(x * 10000 + (x >> 32));
}
inline std::uint32_t join8_hex(std::uint64_t x) {
  x = ((x << 4) | (x >> 8)) & 0x00FF00FF00FF00FF;
  x = ((x << 8) | (x >> 16)) & 0x0000FFFF0000FFFF;
  return static_cast<std::uint32_t>((x << 16) | (x >> 32));
}

/// The digits of x < 10^8. Four digits side by side are divided by 100, then pairs by 10, with
/// multiplications that are exact for values this small.
inline std::uint64_t split8_decimal(std::uint32_t x) {
  const std::uint64_t fours = x / 10000 + (std::uint64_t{x % 10000} << 32);
  const std::uint64_t hundreds = ((fours * 10486) >> 20) & 0x0000007F0000007F;
  const std::uint64_t pairs = hundreds + ((fours - 100 * hundreds) << 16);
  const std::uint64_t tens = ((pairs * 103) >> 10) & 0x000F000F000F000F;
  return tens + ((pairs - 10 * tens) << 8);
}
/// The nibbles of x, the top one first.
inline std::uint64_t split8_hex(std::uint32_t x) {
  std::uint64_t y = (x >> 16) | (std::uint64_t{x & 0xFFFF} << 32);
  y = ((y >> 8) & 0x000000FF000000FF) | ((y & 0x000000FF000000FF) << 16);
  return ((y >> 4) & 0x000F000F000F000F) | ((y & 0x000F000F000F000F) << 8);
}
