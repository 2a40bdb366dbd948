// The layout of compressed digit files.
//
//   file = header text, one byte 0, words
//
//   #Compressed Digit File            the lines end in CR LF, an empty line follows each of them,
//   FileVersion:<TAB>1.1.0            and one TAB stands between a name and its value
//   Base:<TAB>10                      10 or 16
//   FirstDigits:<TAB>3.               as the caller gave it, without blanks
//   TotalDigits:<TAB>1000000          digits after the point of the whole set; 0: not known
//   Blocksize:<TAB>500000             digits of each file of the set
//   BlockID:<TAB>1                    this file holds the digits from BlockID * Blocksize on
//   EndHeader
//
// A set is the files BASE0.ncd, BASE1.ncd, ...; each holds the words (digit_words.h) of one block.
// Files of others may go on to the end of the block where the set has ended, and digits of the last
// word behind the file's last one mean nothing; here the file ends with that word, filled with 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/file_io.h"

namespace nmp {

inline constexpr std::string_view kNcdExtension = ".ncd";
/// Readers refuse files of fewer digits.
inline constexpr std::uint64_t kLeastDigitsPerFile = 100;
/// Digits per file that stands for one file with all digits.
inline constexpr std::uint64_t kSingleFile = ~std::uint64_t{0};
/// No header is longer: what is read of a file before its words are found.
inline constexpr std::size_t kMostNcdHeaderBytes = std::size_t{1} << 20;

/// Positions [first, end) after the point, the first digit being 0.
struct DigitRange {
  std::uint64_t first = 0;
  std::uint64_t end = 0;

  std::uint64_t size() const { return end - first; }
  bool contains(const DigitRange& part) const { return first <= part.first && part.end <= end; }
  bool operator==(const DigitRange&) const = default;
};

struct NcdHeader {
  std::string version = "1.1.0";
  unsigned radix = 0;
  std::string first_digits;
  std::uint64_t total_digits = 0;  ///< 0: not known when the file was written
  std::uint64_t digits_per_file = 0;
  std::uint64_t file_id = 0;
};

/// Whether a header can carry this text: readers take what stands between blanks.
bool is_ncd_first_digits(std::string_view text);

/// The header and the zero byte behind it.
std::string ncd_header_text(const NcdHeader& header);

/// What the start of a file says.
struct ParsedNcdHeader {
  NcdHeader header;
  DigitRange range;           ///< of this file's digits
  std::uint64_t data_offset;  ///< of the first word
};
/// Parses the start of a file, which is `text` up to kMostNcdHeaderBytes. FileException with this
/// `path`, at "BasicNcdFileReader::BasicNcdFileReader()", for everything that a reader refuses.
ParsedNcdHeader parse_ncd_header(std::string_view text, const std::string& path);

/// BASE, the block number in decimal with zeros in front up to `width` digits, ".ncd".
std::string ncd_file_name(std::string_view base, std::uint64_t file_id, std::size_t width = 0);

}  // namespace nmp
