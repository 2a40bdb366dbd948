// Writes one compressed digit file (ncd_format.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "digits/ncd_format.h"
#include "foundation/file_io.h"

namespace nmp {

class BasicNcdFileWriter {
 public:
  /// Creates PATH_BASE, the file id, " (incomplete).ncd", with its header and room for its words.
  /// total_digits = 0: not known. FileException, also for a disk without room;
  /// InvalidParametersException "Unsupported Radix", "File ID is out of range.", "Invalid Range -
  /// Failed: s < e", and "Invalid Parameters" for digits per file that no reader accepts and for
  /// first digits that are empty or hold a blank or control character.
  BasicNcdFileWriter(const std::string& path_base, const std::string& first_digits,
                     std::uint8_t radix, std::uint64_t digits_per_file, std::uint64_t total_digits,
                     std::uint64_t file_id);
  /// Closes. A failure to do so is printed.
  ~BasicNcdFileWriter();
  BasicNcdFileWriter(const BasicNcdFileWriter&) = delete;
  BasicNcdFileWriter& operator=(const BasicNcdFileWriter&) = delete;

  /// The digits of this file.
  DigitRange get_range() const;

  /// Takes digits[0, count) for the positions from `offset` on, counted from the point as in
  /// get_range(). Any order, any threads. FileException "Write out of bounds.\n" outside the range,
  /// "File is closed."; InvalidParametersException "Invalid Digit", "Digits were stored before.".
  void store_digits_B(const std::uint8_t* digits, std::uint64_t offset, std::size_t count);

  /// Every digit of the range has been stored.
  bool is_complete() const;
  /// A complete file is made durable and gets its final name. Any other keeps its incomplete name,
  /// which a warning says. FileException. Nothing happens the second time.
  void close();

  /// The final name.
  const std::string& path() const { return path_; }

 private:
  /// Digits of a word that is not complete yet.
  struct PartialWord {
    std::uint64_t value = 0;
    unsigned digits = 0;
  };

  void start_access(const DigitRange& range);
  void cancel_access(const DigitRange& range);
  std::uint64_t partial_value(const std::uint8_t* digits, unsigned first, unsigned count) const;
  void store_words(const std::uint8_t* digits, std::uint64_t first, std::size_t count);
  void add_to_word(std::uint64_t word, std::uint64_t value, unsigned digits);

  const NcdHeader header_;
  const DigitRange range_;
  const unsigned digits_per_word_;
  const std::string path_, incomplete_path_;
  std::uint64_t data_offset_ = 0;
  FileIO::CheckedFile file_;
  mutable std::mutex mutex_;                        ///< guards what follows
  std::map<std::uint64_t, std::uint64_t> claimed_;  ///< ranges stored or being stored: first, end
  std::map<std::uint64_t, PartialWord> partial_words_;
  std::uint64_t stored_ = 0;
};

}  // namespace nmp
