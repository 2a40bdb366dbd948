// Compressed digit files put together byte by byte, sharing no code with the program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nmp::test {

/// What stands in a header; every value as text, so that it may be anything.
struct NcdFields {
  std::string version = "1.1.0", base = "10", first_digits = "3.", total, blocksize, id;

  std::string text() const {
    return "#Compressed Digit File\r\n\r\nFileVersion:\t" + version + "\r\n\r\nBase:\t" + base +
           "\r\n\r\nFirstDigits:\t" + first_digits + "\r\n\r\nTotalDigits:\t" + total +
           "\r\n\r\nBlocksize:\t" + blocksize + "\r\n\r\nBlockID:\t" + id +
           "\r\n\r\nEndHeader\r\n\r\n" + std::string(1, '\0');
  }
};

inline NcdFields fields_of(std::uint64_t total, std::uint64_t blocksize, std::uint64_t id) {
  NcdFields fields;
  fields.total = std::to_string(total);
  fields.blocksize = std::to_string(blocksize);
  fields.id = std::to_string(id);
  return fields;
}

/// The bytes of the words that digits[begin, end) fill, `unused` in the places that are left.
inline std::string ncd_words(const std::vector<std::uint8_t>& digits, std::size_t begin,
                             std::size_t end, unsigned radix, unsigned unused = 0) {
  const unsigned in_word = radix == 10 ? 19 : 16;
  std::string bytes;
  for (; begin < end; begin += in_word) {
    std::uint64_t word = 0;
    for (unsigned i = 0; i < in_word; ++i)
      word = word * radix + (begin + i < end ? digits[begin + i] : unused);
    for (unsigned i = 0; i < 64; i += 8) bytes += static_cast<char>(word >> i & 255);
  }
  return bytes;
}

/// Block `id` of a set whose `total` digits the header knows or not.
inline std::string ncd_file(const std::vector<std::uint8_t>& digits, unsigned radix,
                            std::size_t blocksize, std::size_t id, bool knows_total = true) {
  NcdFields fields = fields_of(knows_total ? digits.size() : 0, blocksize, id);
  fields.base = std::to_string(radix);
  return fields.text() +
         ncd_words(digits, id * blocksize, std::min(digits.size(), (id + 1) * blocksize), radix);
}

}  // namespace nmp::test
