// Characters to digit values, in a form that compilers turn into vector instructions. Included into
// an unnamed namespace, so that each instruction set gets its own.

bool decimal_to_digits(const char* text, std::size_t count, std::uint8_t* digits) {
  std::uint8_t most = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t digit = static_cast<std::uint8_t>(text[i] - '0');
    most = digit > most ? digit : most;
    digits[i] = digit;
  }
  return most < 10;
}

bool hex_to_digits(const char* text, std::size_t count, std::uint8_t* digits) {
  std::uint8_t most = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t decimal = static_cast<std::uint8_t>(text[i] - '0');
    // Setting bit 5 maps upper case to lower case; from "a" on letters count from 0.
    const std::uint8_t letter = static_cast<std::uint8_t>((text[i] | 0x20) - 'a');
    const std::uint8_t hex = letter < 6 ? static_cast<std::uint8_t>(letter + 10) : 0xFF;
    const std::uint8_t digit = decimal < 10 ? decimal : hex;
    most = digit > most ? digit : most;
    digits[i] = digit;
  }
  return most < 16;
}

bool text_to_digits(const char* text, std::size_t count, unsigned radix, std::uint8_t* digits) {
  return radix == 10 ? decimal_to_digits(text, count, digits) : hex_to_digits(text, count, digits);
}
