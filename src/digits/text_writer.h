// Writes digits into a plain text file.
//
//   file = leading text, which ends in the radix point; then one character per digit, "0" to "9"
//          and "a" to "f"; nothing behind the last one.
//
// The file bears an incomplete name ("Pi (incomplete).txt") until every digit has been stored and
// `close` gives it its own, so whatever happens no unfinished file stands under a final name.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "digits/digit_sink.h"
#include "foundation/file_io.h"

namespace nmp {

class BasicTextWriter final : public DigitSink {
 public:
  /// The file is written in whole units of this many bytes at multiples of it; only the end of the
  /// file may cut the last one short.
  static constexpr std::size_t kUnit = 4096;

  /// Creates the file for `path`, reserves its final size and writes the leading text.
  /// InvalidParametersException "Invalid radix." unless it is 10 or 16, "No decimal place was
  /// found." for a leading text without "."; FileException, also for a disk without room.
  BasicTextWriter(const std::string& path, const std::string& leading, unsigned radix,
                  std::uint64_t digits);
  /// Removes the file unless `close` has completed it.
  ~BasicTextWriter() override;
  BasicTextWriter(const BasicTextWriter&) = delete;
  BasicTextWriter& operator=(const BasicTextWriter&) = delete;

  /// Any order, any threads. FileException "File is closed." and "Out of range.",
  /// InvalidParametersException "Invalid Digit".
  void store_digits(const std::uint8_t* digits, std::uint64_t offset, std::size_t count) override;

  /// Makes the file durable and gives it its final name. FileException where digits are missing.
  void close();

  const std::string& path() const { return path_; }

 private:
  void store_piece(std::vector<char>& units, const std::uint8_t* digits, std::uint64_t begin,
                   std::uint64_t end);
  void discard();

  std::string path_, incomplete_path_;
  unsigned radix_;
  std::uint64_t leading_length_, digits_, file_size_;
  FileIO::CheckedFile file_;
  std::atomic<std::uint64_t> stored_{0};
  std::mutex shared_units_;  ///< guards reading and rewriting units that two runs may share
};

}  // namespace nmp
