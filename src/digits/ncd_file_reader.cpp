#include "digits/ncd_file_reader.h"

#include <algorithm>
#include <vector>

#include "digits/digit_words.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

using FileIO::FileException;

constexpr const char* kReadWords = "BasicNcdFileReader::read_words()";
/// Most headers are found in one read of this size.
constexpr std::size_t kUsualHeaderBytes = 4096;
/// Words that are read at a time.
constexpr std::size_t kWordsAtOnce = std::size_t{1} << 14;

std::string read_header(FileIO::CheckedFile& file) {
  std::string text(kUsualHeaderBytes, '\0');
  text.resize(file.read_at(text.data(), text.size(), 0));
  if (text.size() < kUsualHeaderBytes ||
      text.find('\0', text.find("EndHeader")) != text.npos)  // npos is behind everything
    return text;
  text.resize(kMostNcdHeaderBytes);
  text.resize(file.read_at(text.data(), text.size(), 0));
  return text;
}

std::string text_of(const DigitRange& range) {
  return " " + std::to_string(range.first) + " - " + std::to_string(range.end);
}

/// Reads the words of an access and hands them on: whole(words, count) for those that are wanted
/// as a whole, part(word, first digit, digits) for the others.
template <typename Whole, typename Part>
void visit_words(BasicNcdFileReader& file, const DigitRange& range, Whole whole, Part part) {
  const unsigned in_word = file.digits_per_word();
  auto [first, words, skip] = file.start_access(range);
  std::uint64_t left = range.size();
  std::vector<std::uint64_t> buffer(
      static_cast<std::size_t>(std::min<std::uint64_t>(words, kWordsAtOnce)));
  while (left > 0) {
    const std::size_t count =
        static_cast<std::size_t>(std::min<std::uint64_t>(words, kWordsAtOnce));
    file.read_words(buffer.data(), first, count);
    for (std::size_t i = 0; i < count;) {
      const std::uint64_t run = skip != 0 ? 0 : std::min<std::uint64_t>(left / in_word, count - i);
      if (run != 0) {
        whole(buffer.data() + i, static_cast<std::size_t>(run));
        i += static_cast<std::size_t>(run);
        left -= run * in_word;
      } else {
        const unsigned taken = static_cast<unsigned>(std::min<std::uint64_t>(in_word - skip, left));
        part(buffer[i++], skip, taken);
        left -= taken;
        skip = 0;
      }
    }
    first += count;
    words -= count;
  }
}

}  // namespace

BasicNcdFileReader::BasicNcdFileReader(const std::string& path)
    : file_(FileIO::CheckedFile::open_read(path)) {
  const ParsedNcdHeader parsed = parse_ncd_header(read_header(file_), path);
  header_ = parsed.header;
  range_ = parsed.range;
  data_offset_ = parsed.data_offset;
  digits_per_word_ = nmp::digits_per_word(header_.radix);
}

BasicNcdFileReader::Access BasicNcdFileReader::start_access(const DigitRange& range) const {
  if (range.first > range.end || !range_.contains(range))
    throw FileException("BasicNcdFileReader::start_access()", path(), 0,
                        "Read out of bounds.\nRequested Range:" + text_of(range) +
                            "\nAvailable Range:" + text_of(range_));
  if (range.first == range.end) return {};
  const std::uint64_t begin = range.first - range_.first, last = range.end - range_.first - 1;
  const std::uint64_t first = begin / digits_per_word_;
  return {first, last / digits_per_word_ - first + 1,
          static_cast<unsigned>(begin % digits_per_word_)};
}

void BasicNcdFileReader::read_words(std::uint64_t* words, std::uint64_t first, std::size_t count) {
  const std::uint64_t size = file_.size(), held = (size - std::min(size, data_offset_)) / 8;
  if (first > held || count > held - first ||
      file_.read_at(words, count * 8, data_offset_ + first * 8) != count * 8)
    throw FileException(kReadWords, path(), 0, "Read error.");
}

void BasicNcdFileReader::require_end() {
  const std::uint64_t words = (range_.size() - 1) / digits_per_word_ + 1;
  if (file_.size() > data_offset_ + words * 8)
    throw FileException("BasicNcdFileReader::require_end()", path(), 0,
                        "The file is longer than its digits.");
}

void BasicNcdFileReader::fail_digit() const {
  throw FileException(kReadWords, path(), 0, "Invalid Digit");
}

void BasicNcdFileReader::load_digits(std::uint8_t* digits, const DigitRange& range) {
  visit_words(
      *this, range,
      [&](const std::uint64_t* words, std::size_t count) {
        if (!unpack_words(words, count, radix(), digits)) fail_digit();
        digits += count * digits_per_word_;
      },
      [&](std::uint64_t word, unsigned first, unsigned count) {
        std::uint8_t all[kDecimalsPerWord];
        if (!unpack_words(&word, 1, radix(), all)) fail_digit();
        digits = std::copy_n(all + first, count, digits);
      });
}

void BasicNcdFileReader::load_stats(DigitCounts& counts, const DigitRange& range) {
  visit_words(
      *this, range,
      [&](const std::uint64_t* words, std::size_t count) {
        if (!append_words(counts, words, count)) fail_digit();
      },
      [&](std::uint64_t word, unsigned first, unsigned count) {
        std::uint8_t all[kDecimalsPerWord];
        if (!unpack_words(&word, 1, radix(), all)) fail_digit();
        counts.append(all + first, count);
      });
}

}  // namespace nmp
