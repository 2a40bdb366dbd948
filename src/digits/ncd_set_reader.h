// Reads a set of compressed digit files as one stream of digits.
//
// A file is looked for when its digits are wanted: first in the folder of the file that was named,
// then in the search paths, in order. Only a few files are open at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "digits/digit_sink.h"
#include "digits/ncd_file_reader.h"

namespace nmp {

/// Every operation may be called by several threads at once.
class BasicNcdSetReader final : public DigitReader {
 public:
  /// `file_name`: any file of the set, with or without its folder; where it is not found as it
  /// stands, it is looked for in the search paths. What stands behind the base name of the set is
  /// its block number. `width`: digits of the widest block number, for numbers with zeros in front;
  /// the number in `file_name` and the last one of the set may ask for more.
  /// FileException "File name is too short.", "Invalid Extension", and what BasicNcdFileReader
  /// throws; InconsistentMetaData where the name has another block number than the header.
  explicit BasicNcdSetReader(const std::string& file_name,
                             const std::vector<std::string>& search_paths = {},
                             std::size_t width = 0);

  unsigned radix() const override { return radix_; }
  /// The header's first digits up to the point, the point not included.
  const std::string& first_digits() const override { return first_digits_; }
  /// What the header says; where it does not know the total, the digits of blocks 0, 1, ... up to
  /// the first one that is missing.
  std::uint64_t total_digits() const override;
  /// The header's: 0 where it does not know.
  std::uint64_t stated_digits() const { return stated_digits_; }
  std::uint64_t digits_per_file() const { return digits_per_file_; }
  /// The header's first digits as they stand.
  const std::string& first_digits_text() const { return first_digits_text_; }
  std::vector<std::string> search_paths() const;
  /// Looked into after all others.
  void add_search_path(const std::string& folder);

  /// FileException "This digit stream does not have enough digits.", "Missing required files."
  /// after a list of them on the console, and what BasicNcdFileReader throws.
  void require(std::uint64_t offset, std::uint64_t count) override { make_commands(offset, count); }
  void require_end() override;
  void load_digits(std::uint8_t* digits, std::uint64_t offset, std::size_t count) override;
  void load_stats(DigitCounts& counts, std::uint64_t offset, std::uint64_t count) override;

  /// Opens a block that was not wanted before. FileException "Unable to open file #7";
  /// InconsistentMetaData for a file that is not of this set, "File id already exists.".
  void load_file(std::uint64_t file_id);

  /// The part of a range that lies in one file; `range` counts from the point.
  struct Command {
    std::uint64_t file_id;
    DigitRange range;
  };
  /// What a request for these digits reads, after a look whether the files are there.
  std::vector<Command> make_commands(std::uint64_t offset, std::uint64_t count);

 private:
  using File = std::shared_ptr<BasicNcdFileReader>;
  struct OpenFile {
    std::uint64_t file_id;
    File file;
  };

  File open_named(const std::string& name);
  void take_metadata(const BasicNcdFileReader& file);
  void strip_number(std::string_view stem, const BasicNcdFileReader& file, std::size_t width);
  void check_metadata(const BasicNcdFileReader& file, std::uint64_t file_id) const;
  File find_file(std::uint64_t file_id) const;
  File search(std::uint64_t file_id) const;
  bool is_there(std::uint64_t file_id) const;
  File file(const char* function, std::uint64_t file_id);
  [[noreturn]] void fail_to_open(const char* function, std::uint64_t file_id) const;

  std::string name_;  ///< base name without its folder
  std::size_t width_ = 0;
  std::string version_, first_digits_, first_digits_text_;
  unsigned radix_ = 0, digits_per_word_ = 0;
  std::uint64_t stated_digits_ = 0, digits_per_file_ = 0;

  mutable std::mutex mutex_;          ///< guards what follows
  std::vector<std::string> folders_;  ///< of the named file, then the search paths
  mutable std::map<std::uint64_t, std::string> paths_;  ///< of the blocks that were found
  mutable std::list<OpenFile> open_;                    ///< the last one used in front
  mutable std::optional<std::uint64_t> reachable_;  ///< blocks from 0 on, where that was counted
};

}  // namespace nmp
