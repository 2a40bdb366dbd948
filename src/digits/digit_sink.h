// Where digits go and where they come from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace nmp {

/// Digits travel as bytes that hold their values, 0 to radix - 1, never as characters. Offset 0 is
/// the first digit after the radix point.
class DigitSink {
 public:
  virtual ~DigitSink() = default;
  /// Takes digits[0, count) for the positions from `offset` on. Runs may come in any order and from
  /// several threads; no position may come twice.
  virtual void store_digits(const std::uint8_t* digits, std::uint64_t offset,
                            std::size_t count) = 0;
};

class DigitCounts;

/// The digits of a file or a set of files. Several threads may load digits at once.
class DigitReader {
 public:
  virtual ~DigitReader() = default;
  virtual unsigned radix() const = 0;
  /// The digits before the point, the point itself not included.
  virtual const std::string& first_digits() const = 0;
  /// Digits after the point.
  virtual std::uint64_t total_digits() const = 0;
  /// Throws where a range is known to be not there as a whole, with all that is missing of it. What
  /// passes may still turn out to be damaged.
  virtual void require(std::uint64_t offset, std::uint64_t count) = 0;
  /// Throws where a file goes on behind its digits, which no other operation minds.
  virtual void require_end() {}
  /// digits[0, count) = the digits from `offset` on. A range past the end is "Out of range.".
  virtual void load_digits(std::uint8_t* digits, std::uint64_t offset, std::size_t count) = 0;
  /// Appends the digits of a range to `counts`.
  virtual void load_stats(DigitCounts& counts, std::uint64_t offset, std::uint64_t count) = 0;
};

}  // namespace nmp
