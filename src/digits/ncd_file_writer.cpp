#include "digits/ncd_file_writer.h"

#include <algorithm>
#include <vector>

#include "digits/digit_words.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

using FileIO::FileException;

constexpr const char* kConstructor = "BasicNcdFileWriter::BasicNcdFileWriter()";
constexpr const char* kStore = "BasicNcdFileWriter::store_digits_B()";
/// Words that are packed and written at a time.
constexpr std::size_t kWordsAtOnce = std::size_t{1} << 15;

/// A header of which every reader gets the same values back.
NcdHeader checked(NcdHeader header) {
  if (digits_per_word(header.radix) == 0)
    throw InvalidParametersException(kConstructor, "Unsupported Radix");
  if (header.digits_per_file < kLeastDigitsPerFile || !is_ncd_first_digits(header.first_digits))
    throw InvalidParametersException(kConstructor, "Invalid Parameters");
  return header;
}

std::uint64_t power_of(unsigned radix, unsigned exponent) {
  std::uint64_t power = 1;
  while (exponent-- > 0) power *= radix;
  return power;
}

}  // namespace

BasicNcdFileWriter::BasicNcdFileWriter(const std::string& path_base,
                                       const std::string& first_digits, std::uint8_t radix,
                                       std::uint64_t digits_per_file, std::uint64_t total_digits,
                                       std::uint64_t file_id)
    : header_(checked(
          {NcdHeader().version, radix, first_digits, total_digits, digits_per_file, file_id})),
      range_(get_range()),
      digits_per_word_(digits_per_word(radix)),
      path_(ncd_file_name(path_base, file_id)),
      incomplete_path_(FileIO::incomplete_name(path_)),
      file_(FileIO::create_with_retry(incomplete_path_)) {
  const std::string text = ncd_header_text(header_);
  data_offset_ = text.size();
  try {
    file_.reserve(data_offset_ + ((range_.size() - 1) / digits_per_word_ + 1) * 8);
    file_.write_at(text.data(), text.size(), 0);
  } catch (...) {
    file_ = {};
    platform::remove_file(incomplete_path_);
    throw;
  }
}

BasicNcdFileWriter::~BasicNcdFileWriter() {
  try {
    close();
  } catch (const Exception& failure) {
    failure.print();
  }
}

DigitRange BasicNcdFileWriter::get_range() const {
  constexpr const char* kFunction = "BasicNcdFileWriter::get_range()";
  const std::uint64_t size = header_.digits_per_file, total = header_.total_digits;
  const std::uint64_t first = header_.file_id * size;
  if (header_.file_id > ~std::uint64_t{0} / size || (total != 0 && first >= total))
    throw InvalidParametersException(kFunction, "File ID is out of range.");
  const std::uint64_t end = total != 0 && total - first < size ? total : first + size;
  if (first >= end)  // past 64 bits
    throw InvalidParametersException(kFunction, "Invalid Range - Failed: s < e");
  return {first, end};
}

/// Positions that are being stored are nobody else's from here on.
void BasicNcdFileWriter::start_access(const DigitRange& range) {
  constexpr const char* kFunction = "BasicNcdFileWriter::start_access()";
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!file_.is_open()) throw FileException(kFunction, path_, 0, "File is closed.");
  auto next = claimed_.lower_bound(range.first);
  if (next != claimed_.end() && next->first < range.end)
    throw InvalidParametersException(kFunction, "Digits were stored before.");
  if (next != claimed_.begin()) {
    const auto before = std::prev(next);
    if (before->second > range.first)
      throw InvalidParametersException(kFunction, "Digits were stored before.");
    if (before->second == range.first) {
      before->second = range.end;
      if (next != claimed_.end() && next->first == range.end) {
        before->second = next->second;
        claimed_.erase(next);
      }
      return;
    }
  }
  std::uint64_t end = range.end;
  if (next != claimed_.end() && next->first == end) {
    end = next->second;
    claimed_.erase(next);
  }
  claimed_.emplace(range.first, end);
}

void BasicNcdFileWriter::cancel_access(const DigitRange& range) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto whole = std::prev(claimed_.upper_bound(range.first));
  const auto [first, end] = *whole;
  claimed_.erase(whole);
  if (first < range.first) claimed_.emplace(first, range.first);
  if (range.end < end) claimed_.emplace(range.end, end);
}

/// What `count` digits are worth as digits `first` and following of a word.
std::uint64_t BasicNcdFileWriter::partial_value(const std::uint8_t* digits, unsigned first,
                                                unsigned count) const {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < count; ++i) {
    if (digits[i] >= header_.radix) throw InvalidParametersException(kStore, "Invalid Digit");
    value = value * header_.radix + digits[i];
  }
  return value * power_of(header_.radix, digits_per_word_ - first - count);
}

void BasicNcdFileWriter::store_words(const std::uint8_t* digits, std::uint64_t first,
                                     std::size_t count) {
  std::vector<std::uint64_t> words(std::min(count, kWordsAtOnce));
  while (count > 0) {
    const std::size_t taken = std::min(count, kWordsAtOnce);
    if (!pack_digits(digits, taken, header_.radix, words.data()))
      throw InvalidParametersException(kStore, "Invalid Digit");
    file_.write_at(words.data(), taken * 8, data_offset_ + first * 8);
    digits += taken * digits_per_word_;
    first += taken;
    count -= taken;
  }
}

/// A word that several runs share is put together in memory and written once.
void BasicNcdFileWriter::add_to_word(std::uint64_t word, std::uint64_t value, unsigned digits) {
  if (digits == 0) return;
  const std::uint64_t behind = range_.size() - word * digits_per_word_;
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto known = partial_words_.find(word);
  PartialWord sum = known == partial_words_.end() ? PartialWord{} : known->second;
  sum.value += value;
  sum.digits += digits;
  if (sum.digits == std::min<std::uint64_t>(digits_per_word_, behind)) {
    file_.write_at(&sum.value, 8, data_offset_ + word * 8);
    if (known != partial_words_.end()) partial_words_.erase(known);
  } else {
    partial_words_[word] = sum;
  }
}

void BasicNcdFileWriter::store_digits_B(const std::uint8_t* digits, std::uint64_t offset,
                                        std::size_t count) {
  if (offset < range_.first || offset > range_.end || count > range_.end - offset)
    throw FileException(kStore, path_, 0, "Write out of bounds.\n");
  if (count == 0) return;
  const DigitRange range{offset, offset + count};
  const std::uint64_t begin = offset - range_.first;
  const unsigned skip = static_cast<unsigned>(begin % digits_per_word_);
  const unsigned head =
      skip == 0 ? 0 : static_cast<unsigned>(std::min<std::size_t>(digits_per_word_ - skip, count));
  const std::size_t words = (count - head) / digits_per_word_;
  const unsigned tail = static_cast<unsigned>((count - head) % digits_per_word_);
  const std::uint64_t first = (begin + head) / digits_per_word_;

  start_access(range);
  std::uint64_t head_value, tail_value;
  try {
    head_value = partial_value(digits, skip, head);
    tail_value = partial_value(digits + (count - tail), 0, tail);
    store_words(digits + head, first, words);
  } catch (...) {
    cancel_access(range);
    throw;
  }
  add_to_word(begin / digits_per_word_, head_value, head);
  add_to_word(first + words, tail_value, tail);
  const std::lock_guard<std::mutex> lock(mutex_);
  stored_ += count;
}

bool BasicNcdFileWriter::is_complete() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return stored_ == range_.size();
}

void BasicNcdFileWriter::close() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!file_.is_open()) return;
  if (stored_ != range_.size()) {
    console::print_line('Y', "Warning, closing incomplete file: " + incomplete_path_);
    file_.close();
    return;
  }
  file_.flush();
  file_.close();
  FileIO::rename_replacing(incomplete_path_, path_);
}

}  // namespace nmp
