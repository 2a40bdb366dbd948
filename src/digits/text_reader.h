// Reads digits from a plain text file (see text_writer.h for its layout).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "digits/digit_sink.h"
#include "foundation/file_io.h"

namespace nmp {

class BasicTextReader final : public DigitReader {
 public:
  /// The point must stand within this many bytes of the start.
  static constexpr std::size_t kLeadingBytes = 63;

  /// InvalidParametersException "Invalid Radix" unless it is 10 or 16; FileException "A decimal
  /// place was not found within the first 63 bytes of the file.". Line breaks at the very end, as
  /// editors leave them, are not counted as digits.
  BasicTextReader(const std::string& path, unsigned radix);

  unsigned radix() const override { return radix_; }
  const std::string& first_digits() const override { return first_digits_; }
  std::uint64_t total_digits() const override { return total_digits_; }
  const std::string& path() const { return file_.path(); }

  /// FileException "Out of range.", "Incomplete read." and "Invalid Digit".
  void require(std::uint64_t offset, std::uint64_t count) override;
  void load_digits(std::uint8_t* digits, std::uint64_t offset, std::size_t count) override;
  void load_stats(DigitCounts& counts, std::uint64_t offset, std::uint64_t count) override;

 private:
  void check_range(const char* function, std::uint64_t offset, std::uint64_t count) const;
  void process_txt(const char* function, std::uint8_t* digits, std::uint64_t offset,
                   std::size_t count);
  std::uint64_t size_without_line_breaks();

  FileIO::CheckedFile file_;
  unsigned radix_;
  std::string first_digits_;
  std::uint64_t first_byte_ = 0;  ///< of the first digit after the point
  std::uint64_t total_digits_ = 0;
};

}  // namespace nmp
