#include "digits/text_writer.h"

#include <algorithm>
#include <cstring>

#include "digits/digit_text.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

/// Bytes that are assembled at a time; a multiple of the unit.
constexpr std::uint64_t kBuffer = 64 * BasicTextWriter::kUnit;

unsigned supported_radix(unsigned radix) {
  if (radix != 10 && radix != 16)
    throw InvalidParametersException("BasicTextWriter::BasicTextWriter()", "Invalid radix.");
  return radix;
}

std::uint64_t leading_length(const std::string& leading) {
  if (leading.find('.') == leading.npos)
    throw InvalidParametersException("TextWriter::TextWriter()", "No decimal place was found.");
  return leading.size();
}

}  // namespace

BasicTextWriter::BasicTextWriter(const std::string& path, const std::string& leading,
                                 unsigned radix, std::uint64_t digits)
    : path_(path),
      incomplete_path_(FileIO::incomplete_name(path)),
      radix_(supported_radix(radix)),
      leading_length_(leading_length(leading)),
      digits_(digits),
      file_size_(leading_length_ + digits),
      file_(FileIO::create_with_retry(incomplete_path_)) {
  try {
    file_.reserve(file_size_);
    file_.write_at(leading.data(), leading.size(), 0);
  } catch (...) {
    discard();
    throw;
  }
}

BasicTextWriter::~BasicTextWriter() {
  if (file_.is_open()) discard();
}

void BasicTextWriter::discard() {
  file_ = {};
  platform::remove_file(incomplete_path_);
}

void BasicTextWriter::store_digits(const std::uint8_t* digits, std::uint64_t offset,
                                   std::size_t count) {
  constexpr const char* kFunction = "BasicTextWriter::store_digits()";
  if (!file_.is_open()) throw FileIO::FileException(kFunction, path_, 0, "File is closed.");
  if (offset > digits_ || count > digits_ - offset)
    throw FileIO::FileException(kFunction, path_, 0, "Out of range.");
  if (count == 0) return;
  std::vector<char> units(
      static_cast<std::size_t>(std::min<std::uint64_t>(kBuffer, count + 2 * kUnit)));
  const std::uint64_t end = leading_length_ + offset + count;
  for (std::uint64_t begin = end - count; begin < end;) {
    const std::uint64_t stop = std::min(end, (begin / kBuffer + 1) * kBuffer);
    store_piece(units, digits, begin, stop);
    digits += stop - begin;
    begin = stop;
  }
  stored_ += count;
}

/// Writes bytes [begin, end) of the file, which lie within kBuffer bytes from a multiple of it.
void BasicTextWriter::store_piece(std::vector<char>& units, const std::uint8_t* digits,
                                  std::uint64_t begin, std::uint64_t end) {
  const std::uint64_t first = begin / kUnit * kUnit;
  const std::uint64_t last = std::min((end + kUnit - 1) / kUnit * kUnit, file_size_);
  const std::size_t head = static_cast<std::size_t>(begin - first);
  const std::size_t tail = static_cast<std::size_t>(last - end);
  const std::size_t size = static_cast<std::size_t>(last - first);
  if (!digits_to_text(digits, size - head - tail, radix_, units.data() + head))
    throw InvalidParametersException("BasicTextWriter::store_digits()", "Invalid Digit");

  std::unique_lock<std::mutex> lock(shared_units_, std::defer_lock);
  if (head != 0 || tail != 0) lock.lock();
  if (head != 0) file_.read_exact(units.data(), head, first);
  if (tail != 0) file_.read_exact(units.data() + (size - tail), tail, end);
  file_.write_at(units.data(), size, first);
}

void BasicTextWriter::close() {
  constexpr const char* kFunction = "BasicTextWriter::close()";
  if (!file_.is_open()) throw FileIO::FileException(kFunction, path_, 0, "File is closed.");
  if (stored_ != digits_)
    throw FileIO::FileException(kFunction, path_, 0, "Digits are missing from the file.");
  try {
    file_.flush();
    file_.close();
    FileIO::rename_replacing(incomplete_path_, path_);
  } catch (...) {
    discard();
    throw;
  }
}

}  // namespace nmp
