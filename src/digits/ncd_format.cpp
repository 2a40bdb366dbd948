#include "digits/ncd_format.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <optional>

#include "digits/digit_words.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

static_assert(std::endian::native == std::endian::little, "words go to files as they are");

constexpr const char* kReader = "BasicNcdFileReader::BasicNcdFileReader()";
constexpr std::uint64_t kMostRadix = 255;
constexpr std::string_view kBlanks = " \t\r\n\v\f";

/// Takes tokens off a text and remembers whose it is.
class HeaderParser {
 public:
  HeaderParser(std::string_view text, const std::string& path) : text_(text), path_(path) {}

  [[noreturn]] void fail(const std::string& message) const {
    throw FileIO::FileException(kReader, path_, 0, message);
  }
  void skip_line() { at_ = std::min(text_.find('\n', at_), text_.size()); }
  /// Empty at the end.
  std::string_view token() {
    const std::size_t begin = std::min(text_.find_first_not_of(kBlanks, at_), text_.size());
    at_ = std::min(text_.find_first_of(kBlanks, begin), text_.size());
    return text_.substr(begin, at_ - begin);
  }
  std::uint64_t number(const std::string& name) {
    const std::string_view digits = token();
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(digits.begin(), digits.end(), value);
    if (digits.empty() || error != std::errc() || stop != digits.end())
      fail("Invalid number behind \"" + name + "\".");
    return value;
  }
  /// The position behind the next zero byte, or 0 where there is none.
  std::size_t behind_zero() const { return text_.find('\0', at_) + 1; }

 private:
  const std::string_view text_;
  const std::string& path_;
  std::size_t at_ = 0;
};

/// Reads up to "EndHeader"; false where there is none.
bool parse_fields(HeaderParser& parser, NcdHeader* header) {
  for (std::string_view name; !(name = parser.token()).empty();) {
    if (name == "EndHeader") return true;
    if (name == "FileVersion:") header->version = parser.token();
    if (name == "Base:")
      header->radix = static_cast<unsigned>(std::min(parser.number("Base:"), kMostRadix));
    if (name == "FirstDigits:") header->first_digits = parser.token();
    if (name == "TotalDigits:") header->total_digits = parser.number("TotalDigits:");
    if (name == "Blocksize:") header->digits_per_file = parser.number("Blocksize:");
    if (name == "BlockID:") header->file_id = parser.number("BlockID:");
  }
  return false;
}

/// The digits of a file; none where it lies behind the end of the set or past 64 bits.
std::optional<DigitRange> range_of(const NcdHeader& header) {
  const std::uint64_t most = ~std::uint64_t{0}, total = header.total_digits;
  if (header.digits_per_file == 0 || header.file_id > most / header.digits_per_file)
    return std::nullopt;
  const std::uint64_t first = header.file_id * header.digits_per_file;
  if (total != 0 ? first >= total : header.digits_per_file > most - first) return std::nullopt;
  if (total == 0 || total - first > header.digits_per_file)
    return DigitRange{first, first + header.digits_per_file};
  return DigitRange{first, total};
}

}  // namespace

bool is_ncd_first_digits(std::string_view text) {
  return !text.empty() && text.size() <= kMostNcdHeaderBytes / 2 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' || c < 0; });
}

std::string ncd_header_text(const NcdHeader& header) {
  std::string text = "#Compressed Digit File\r\n\r\n";
  const auto field = [&](const char* name, const std::string& value) {
    text += name;
    text += ":\t" + value + "\r\n\r\n";
  };
  field("FileVersion", header.version);
  field("Base", std::to_string(header.radix));
  field("FirstDigits", header.first_digits);
  field("TotalDigits", std::to_string(header.total_digits));
  field("Blocksize", std::to_string(header.digits_per_file));
  field("BlockID", std::to_string(header.file_id));
  text += "EndHeader\r\n\r\n";
  text += '\0';
  return text;
}

ParsedNcdHeader parse_ncd_header(std::string_view text, const std::string& path) {
  HeaderParser parser(text, path);
  ParsedNcdHeader parsed;
  NcdHeader& header = parsed.header;
  header.version.clear();
  parser.skip_line();
  const bool has_end = parse_fields(parser, &header);
  parsed.data_offset = has_end ? parser.behind_zero() : 0;

  if (header.version.empty()) parser.fail("No version # found.");
  if (header.version != "1.0.0" && header.version != "1.1.0")
    parser.fail(
        "This .ncd file is of a later format version.\n"
        "This version of the digit viewer is unable to view this file.");
  if (parsed.data_offset == 0) parser.fail("The end of the header was not found.");
  if (header.digits_per_file < kLeastDigitsPerFile) parser.fail("Invalid Digits per File");
  const std::optional<DigitRange> range = range_of(header);
  if (!range) parser.fail("This file is out of range.\n");
  parsed.range = *range;
  if (digits_per_word(header.radix) == 0) parser.fail("Unsupported Radix");
  return parsed;
}

std::string ncd_file_name(std::string_view base, std::uint64_t file_id, std::size_t width) {
  const std::string number = std::to_string(file_id);
  std::string name(base);
  if (number.size() < width) name.append(width - number.size(), '0');
  return name.append(number).append(kNcdExtension);
}

}  // namespace nmp
