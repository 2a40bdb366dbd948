// What is kept in memory of the digits that were written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "digits/digit_counts.h"

namespace nmp {

/// The statistics of all digits after the point of one radix, gathered before they are written, for
/// comparison with what is read back. InvalidParametersException "Invalid Radix." unless the radix
/// is 10 or 16.
class HashedDigits {
 public:
  explicit HashedDigits(unsigned radix);

  unsigned radix() const { return counts_.radix(); }
  const DigitCounts& counts() const { return counts_; }
  std::uint64_t hash() const { return counts_.hash(); }
  /// Appends digits[0, count) on the right.
  void append(const std::uint8_t* digits, std::size_t count) { counts_.append(digits, count); }
  void append(const DigitCounts& right) { counts_.append(right); }

 private:
  DigitCounts counts_;
};

/// The last digits of the output, for the job's report.
class LastDigits {
 public:
  static constexpr std::size_t kKept = 100;

  /// Forgets everything and starts over. InvalidParametersException "Invalid Radix." unless the
  /// radix is 10 or 16.
  void set(unsigned radix);
  /// Appends digits[0, count) on the right; the last kKept of all stay.
  void append(const std::uint8_t* digits, std::size_t count);

  unsigned radix() const { return radix_; }
  /// The kept digits as characters.
  const std::string& text() const { return text_; }
  /// Position after the point of the last digit, from 1.
  std::uint64_t position() const { return position_; }
  /// "Last Decimal Digits:", "Last Hexadecimal Digits:", or "Last Digits:" while nothing is set.
  std::string label() const;
  /// The label as a line of a text file.
  std::string file_label() const { return label() + "\r\n"; }

 private:
  unsigned radix_ = 0;
  std::string text_;
  std::uint64_t position_ = 0;
};

}  // namespace nmp
