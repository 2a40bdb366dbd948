// Writes the digits of a number as a set of compressed files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "digits/digit_sink.h"
#include "digits/ncd_file_writer.h"
#include "digits/ncd_set_reader.h"

namespace nmp {

class BasicNcdSetWriter final : public DigitSink {
 public:
  /// Files are PATH/NAME0.ncd, PATH/NAME1.ncd, ...; PATH gets the system's separator unless it is
  /// empty or ends in one. digits_per_file = kSingleFile: one file with everything. total_digits =
  /// 0: not known. `first_digits` is the text of the leading digits that each file carries.
  /// InvalidParametersException "Invalid Parameters"; "Single-file is incompatible with unbounded
  /// output.". Files are created when their first digits come.
  BasicNcdSetWriter(const std::string& path, const std::string& name, std::uint8_t radix,
                    std::uint64_t digits_per_file, std::uint64_t total_digits,
                    const std::string& first_digits);
  /// Closes all files.
  ~BasicNcdSetWriter() override;

  /// Any order, any threads. A file gets its final name with its last digit. "Out of range." past
  /// the total, and what BasicNcdFileWriter throws.
  void store_digits(const std::uint8_t* digits, std::uint64_t offset, std::size_t count) override;

  /// The part of a run that goes into one file; `range` counts from the point.
  struct Command {
    std::uint64_t file_id;
    DigitRange range;
  };
  /// "Internal Overflow" where a position passes 64 bits.
  std::vector<Command> make_commands(std::uint64_t offset, std::uint64_t count) const;

  /// Closes all files; incomplete ones keep their incomplete names, which warnings say.
  void close();
  /// Closes all files and opens what was written. "No files open." where no file was begun, or none
  /// since the last call.
  std::unique_ptr<BasicNcdSetReader> close_and_get_basic_reader();

  /// Of one file, the single one included.
  std::uint64_t digits_per_file() const { return digits_per_file_; }
  /// The path of a complete file.
  std::string file_path(std::uint64_t file_id) const { return ncd_file_name(base_, file_id); }

 private:
  std::shared_ptr<BasicNcdFileWriter> file(std::uint64_t file_id);

  const std::string base_;  ///< folder and name
  const std::string first_digits_;
  const std::uint8_t radix_;
  const std::uint64_t digits_per_file_, total_digits_;
  std::mutex mutex_;                                                    ///< guards what follows
  std::map<std::uint64_t, std::shared_ptr<BasicNcdFileWriter>> files_;  ///< the open ones
  std::set<std::uint64_t> complete_;                                    ///< the closed ones
};

}  // namespace nmp
