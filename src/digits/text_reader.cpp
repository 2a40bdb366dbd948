#include "digits/text_reader.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "digits/digit_counts.h"
#include "digits/digit_text.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp {
namespace {

constexpr std::size_t kHeaderBytes = 64;
constexpr std::size_t kBlock = std::size_t{1} << 17;  ///< a processor's own cache holds it

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

/// Not below first_byte_: a file may have shrunk meanwhile, and some files that the system makes up
/// state no size.
std::uint64_t BasicTextReader::size_without_line_breaks() {
  char block[4096];
  std::uint64_t size = std::max(file_.size(), first_byte_);
  while (size > first_byte_) {
    throw_if_interrupted();  // a file may be full of them
    const std::size_t bytes =
        static_cast<std::size_t>(std::min<std::uint64_t>(sizeof block, size - first_byte_));
    file_.read_exact(block, bytes, size - bytes);
    const std::string_view text(block, bytes);
    const std::size_t last = text.find_last_not_of("\r\n");
    if (last != text.npos) return size - bytes + last + 1;
    size -= bytes;
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

void BasicTextReader::require(std::uint64_t offset, std::uint64_t count) {
  check_range("BasicTextReader::load_stats()", offset, count);
}

void BasicTextReader::load_digits(std::uint8_t* digits, std::uint64_t offset, std::size_t count) {
  constexpr const char* kFunction = "BasicTextReader::load_digits()";
  check_range(kFunction, offset, count);
  process_txt(kFunction, digits, offset, count);
}

void BasicTextReader::load_stats(DigitCounts& counts, std::uint64_t offset, std::uint64_t count) {
  constexpr const char* kFunction = "BasicTextReader::load_stats()";
  check_range(kFunction, offset, count);
  std::vector<std::uint8_t> block(static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count)));
  while (count > 0) {
    const std::size_t taken = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count));
    process_txt(kFunction, block.data(), offset, taken);
    counts.append(block.data(), taken);
    offset += taken;
    count -= taken;
  }
}

}  // namespace nmp
