// Statistics of a range of digits: how often each value occurs, and a residue.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace nmp {

/// The counts of a range and the range read as one integer, its first digit most significant,
/// modulo 2^61 - 1. Ranges are put together from left to right.
class DigitCounts {
 public:
  static constexpr unsigned kMaxRadix = 16;

  /// InvalidParametersException "Radix is too large." past kMaxRadix, "Invalid Radix." below 2.
  explicit DigitCounts(unsigned radix);

  /// Appends digits[0, count) on the right. InvalidParametersException "Invalid Digit" where one is
  /// not below the radix; nothing has changed then.
  void append(const std::uint8_t* digits, std::size_t count);
  /// Appends a range of which these are the counts and the hash.
  void append(const std::array<std::uint64_t, kMaxRadix>& counts, std::uint64_t hash);
  /// Appends a range of the same radix on the right.
  void append(const DigitCounts& right);

  unsigned radix() const { return radix_; }
  std::uint64_t count(unsigned value) const { return counts_[value]; }
  std::uint64_t total() const { return total_; }
  std::uint64_t hash() const { return hash_; }
  bool operator==(const DigitCounts&) const = default;
  /// One line per value: "    0 : 999,440".
  std::string listing() const;

 private:
  unsigned radix_;
  std::array<std::uint64_t, kMaxRadix> counts_{};
  std::uint64_t total_ = 0;
  std::uint64_t hash_ = 0;
};

/// The digits read as one integer modulo 2^61 - 1. Every digit is below the radix, 10 or 16 being
/// the fast ones.
std::uint64_t hash_digits(const std::uint8_t* digits, std::size_t count, unsigned radix);

}  // namespace nmp
