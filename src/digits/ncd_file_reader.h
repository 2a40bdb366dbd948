// Reads one compressed digit file (ncd_format.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "digits/digit_counts.h"
#include "digits/ncd_format.h"
#include "foundation/file_io.h"

namespace nmp {

/// After construction every operation may be called by several threads at once.
class BasicNcdFileReader {
 public:
  /// Reads the header. FileException "No version # found.", "This .ncd file is of a later format
  /// version...", "Invalid Digits per File", "This file is out of range.\n", "Unsupported Radix",
  /// and where it is damaged in other ways.
  explicit BasicNcdFileReader(const std::string& path);

  const std::string& path() const { return file_.path(); }
  const std::string& version() const { return header_.version; }
  unsigned radix() const { return header_.radix; }
  /// The text of the header.
  const std::string& first_digits() const { return header_.first_digits; }
  /// Of the whole set; 0 where that was not known.
  std::uint64_t total_digits() const { return header_.total_digits; }
  std::uint64_t digits_per_file() const { return header_.digits_per_file; }
  std::uint64_t file_id() const { return header_.file_id; }
  DigitRange range() const { return range_; }
  unsigned digits_per_word() const { return digits_per_word_; }
  std::uint64_t data_offset() const { return data_offset_; }

  /// The words that hold a range: `count` from word `first` on, the range's first digit being digit
  /// `skip` of the first one.
  struct Access {
    std::uint64_t first = 0, count = 0;
    unsigned skip = 0;
  };
  /// FileException "Read out of bounds.\n..." outside range().
  Access start_access(const DigitRange& range) const;
  /// words[0, count) = the file's words from `first` on. FileException "Read error." where the file
  /// is too short.
  void read_words(std::uint64_t* words, std::uint64_t first, std::size_t count);
  /// FileException "The file is longer than its digits." where it is.
  void require_end();

  /// digits[0, range.size()) = the digits of a range, counted from the point. FileException as
  /// above, and "Invalid Digit" for a word that is no number of its digits.
  void load_digits(std::uint8_t* digits, const DigitRange& range);
  /// Appends the digits of a range to `counts`, without expanding them for the hash.
  void load_stats(DigitCounts& counts, const DigitRange& range);

 private:
  [[noreturn]] void fail_digit() const;

  FileIO::CheckedFile file_;
  NcdHeader header_;
  DigitRange range_;
  unsigned digits_per_word_ = 0;
  std::uint64_t data_offset_ = 0;
};

}  // namespace nmp
