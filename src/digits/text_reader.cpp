#include "digits/text_reader.h"

#include <algorithm>
#include <string_view>

#include "digits/digit_counts.h"
#include "digits/digit_text.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

constexpr std::size_t kHeaderBytes = 64;
constexpr std::size_t kBlock = std::size_t{1} << 18;

unsigned supported_radix(unsigned radix) {
  if (radix != 10 && radix != 16)
    throw InvalidParametersException("BasicTextReader::BasicTextReader()", "Invalid Radix");
  return radix;
}

}  // namespace

BasicTextReader::BasicTextReader(const std::string& path, unsigned radix)
    : file_(FileIO::CheckedFile::open_read((supported_radix(radix), path))), radix_(radix) {
  char header[kHeaderBytes];
  const std::size_t bytes = file_.read_at(header, kHeaderBytes, 0);
  const std::string_view leading(header, std::min(bytes, kLeadingBytes));
  const std::size_t point = leading.find('.');
  if (point == leading.npos)
    throw FileIO::FileException(
        "BasicTextReader::BasicTextReader()", path, 0,
        "A decimal place was not found within the first 63 bytes of the file.");
  first_digits_ = leading.substr(0, point);
  first_byte_ = point + 1;
  total_digits_ = size_without_line_breaks() - first_byte_;
}

std::uint64_t BasicTextReader::size_without_line_breaks() {
  std::uint64_t size = file_.size();
  for (char last; size > first_byte_; --size) {
    file_.read_exact(&last, 1, size - 1);
    if (last != '\r' && last != '\n') break;
  }
  return size;
}

void BasicTextReader::check_range(const char* function, std::uint64_t offset,
                                  std::uint64_t count) const {
  if (offset > total_digits_ || count > total_digits_ - offset)
    throw FileIO::FileException(function, path(), 0, "Out of range.");
}

void BasicTextReader::process_txt(const char* function, std::uint8_t* digits, std::uint64_t offset,
                                  std::size_t count) {
  char* text = reinterpret_cast<char*>(digits);
  if (file_.read_at(text, count, first_byte_ + offset) != count)
    throw FileIO::FileException(function, path(), 0, "Incomplete read.");
  if (!text_to_digits(text, count, radix_, digits))
    throw FileIO::FileException("BasicTextReader::process_txt()", path(), 0, "Invalid Digit");
}

void BasicTextReader::load_digits(std::uint8_t* digits, std::uint64_t offset, std::size_t count) {
  constexpr const char* kFunction = "BasicTextReader::load_digits()";
  check_range(kFunction, offset, count);
  process_txt(kFunction, digits, offset, count);
}

void BasicTextReader::load_stats(DigitCounts& counts, std::uint64_t offset, std::uint64_t count) {
  constexpr const char* kFunction = "BasicTextReader::load_stats()";
  check_range(kFunction, offset, count);
  block_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count)));
  while (count > 0) {
    const std::size_t taken = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count));
    process_txt(kFunction, block_.data(), offset, taken);
    counts.append(block_.data(), taken);
    offset += taken;
    count -= taken;
  }
}

}  // namespace nmp
