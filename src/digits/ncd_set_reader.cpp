#include "digits/ncd_set_reader.h"

#include <algorithm>

#include "digits/digit_counts.h"
#include "digits/file_names.h"
#include "foundation/console.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

using DigitViewer2::InconsistentMetaData;
using FileIO::FileException;

constexpr const char* kConstructor = "BasicNcdSetReader::BasicNcdSetReader()";
constexpr const char* kLoadFile = "BasicNcdSetReader::load_file()";
constexpr const char* kMakeCommands = "BasicNcdSetReader::make_commands()";
constexpr std::size_t kMostOpenFiles = 16;
/// Names that the list of missing files shows.
constexpr std::size_t kMostListed = 1000;

/// Null where the system does not let it be read; a file that is no digit file throws.
std::shared_ptr<BasicNcdFileReader> open_if_there(const std::string& path) {
  try {
    return std::make_shared<BasicNcdFileReader>(path);
  } catch (const FileException& failure) {
    if (failure.error_code() == 0) throw;
    return nullptr;
  }
}

[[noreturn]] void contradict(const char* function, const std::string& path,
                             const std::string& message) {
  throw InconsistentMetaData(function, path, 0,
                             "Inconsistent Metadata: \"" + path + "\"\n" + message);
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

BasicNcdSetReader::BasicNcdSetReader(const std::string& file_name,
                                     const std::vector<std::string>& search_paths,
                                     std::size_t width) {
  if (file_name.size() < kNcdExtension.size())
    throw FileException(kConstructor, file_name, 0, "File name is too short.");
  if (!file_name.ends_with(kNcdExtension))
    throw FileException(kConstructor, file_name, 0, "Invalid Extension");
  const std::size_t name_at = file_name.find_last_of("/\\") + 1;  // npos + 1 is 0: no folder
  const std::string name = file_name.substr(name_at);
  folders_.push_back(file_name.substr(0, name_at));
  for (const std::string& folder : search_paths) folders_.push_back(with_separator(folder));

  const File file = open_named(name);
  take_metadata(*file);
  const std::string last_id =
      std::to_string((std::max<std::uint64_t>(stated_digits_, 1) - 1) / digits_per_file_);
  width_ = std::max(width, last_id.size());
  strip_number(std::string_view(name).substr(0, name.size() - kNcdExtension.size()), *file, width);
  paths_[file->file_id()] = file->path();
  open_.push_front({file->file_id(), file});
}

BasicNcdSetReader::File BasicNcdSetReader::open_named(const std::string& name) {
  for (const std::string& folder : folders_)
    if (File file = open_if_there(folder + name)) return file;
  return std::make_shared<BasicNcdFileReader>(folders_[0] + name);  // for what it throws
}

void BasicNcdSetReader::take_metadata(const BasicNcdFileReader& file) {
  version_ = file.version();
  radix_ = file.radix();
  first_digits_text_ = file.first_digits();
  first_digits_ = first_digits_text_.substr(0, first_digits_text_.find('.'));
  stated_digits_ = file.total_digits();
  digits_per_file_ = file.digits_per_file();
  digits_per_word_ = file.digits_per_word();
}

/// A base name may end in a digit itself. So zeros in front are only taken for part of the block
/// number where there are as many as was told, or nothing but them behind the letters.
void BasicNcdSetReader::strip_number(std::string_view stem, const BasicNcdFileReader& file,
                                     std::size_t width) {
  const std::string id = std::to_string(file.file_id());
  if (!stem.ends_with(id)) contradict(kConstructor, file.path(), "File id does not match.");
  std::size_t base = stem.size() - id.size(), padded = base;
  while (padded > 0 && stem[padded - 1] == '0') --padded;
  if (padded == 0 || !is_digit(stem[padded - 1])) base = padded;
  if (stem.size() - padded >= width && id.size() < width) base = stem.size() - width;
  name_ = stem.substr(0, base);
  width_ = std::max(width_, stem.size() - base);
}

void BasicNcdSetReader::check_metadata(const BasicNcdFileReader& file,
                                       std::uint64_t file_id) const {
  const auto check = [&](bool good, const char* message) {
    if (!good) contradict(kLoadFile, file.path(), message);
  };
  check(file.version() == version_, "File version does not match.");
  check(file.radix() == radix_, "Radix does not match.");
  check(file.digits_per_file() == digits_per_file_, "Digits per file does not match.");
  check(file.digits_per_word() == digits_per_word_, "Digits per word does not match.");
  check(file.total_digits() == stated_digits_, "Total digits does not match.");
  check(file.file_id() == file_id, "File id does not match.");
}

/// Opens a block wherever it lies; null where it is nowhere.
BasicNcdSetReader::File BasicNcdSetReader::search(std::uint64_t file_id) const {
  const std::size_t least = std::to_string(file_id).size();
  for (const std::string& folder : folders_)
    for (std::size_t width = least; width <= std::max(least, width_); ++width)
      if (File file = open_if_there(folder + ncd_file_name(name_, file_id, width))) {
        check_metadata(*file, file_id);
        paths_[file_id] = file->path();
        open_.push_front({file_id, file});
        if (open_.size() > kMostOpenFiles) open_.pop_back();
        return file;
      }
  return nullptr;
}

/// The block, opened again where that is needed; null where it is nowhere. Under the lock.
BasicNcdSetReader::File BasicNcdSetReader::find_file(std::uint64_t file_id) const {
  const auto known = std::find_if(open_.begin(), open_.end(),
                                  [&](const OpenFile& open) { return open.file_id == file_id; });
  if (known == open_.end()) return search(file_id);
  open_.splice(open_.begin(), open_, known);
  return open_.front().file;
}

bool BasicNcdSetReader::is_there(std::uint64_t file_id) const {
  return paths_.contains(file_id) || search(file_id) != nullptr;
}

void BasicNcdSetReader::fail_to_open(const char* function, std::uint64_t file_id) const {
  throw FileException(function, folders_[0] + ncd_file_name(name_, file_id), 0,
                      "Unable to open file #" + std::to_string(file_id));
}

void BasicNcdSetReader::load_file(std::uint64_t file_id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (const auto known = paths_.find(file_id); known != paths_.end())
    contradict(kLoadFile, known->second, "File id already exists.");
  if (search(file_id) == nullptr) fail_to_open(kLoadFile, file_id);
}

std::uint64_t BasicNcdSetReader::total_digits() const {
  if (stated_digits_ != 0) return stated_digits_;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!reachable_) {
    std::uint64_t blocks = 0;
    while (is_there(blocks)) ++blocks;
    reachable_ = blocks;
  }
  return *reachable_ * digits_per_file_;
}

std::vector<std::string> BasicNcdSetReader::search_paths() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return folders_;
}

void BasicNcdSetReader::add_search_path(const std::string& folder) {
  const std::lock_guard<std::mutex> lock(mutex_);
  folders_.push_back(with_separator(folder));
  reachable_.reset();
}

std::vector<BasicNcdSetReader::Command> BasicNcdSetReader::make_commands(std::uint64_t offset,
                                                                         std::uint64_t count) {
  const std::uint64_t most = stated_digits_ != 0 ? stated_digits_ : ~std::uint64_t{0};
  if (offset > most || count > most - offset)
    throw FileException(kMakeCommands, folders_[0] + name_, 0,
                        "This digit stream does not have enough digits.");
  std::vector<Command> commands;
  std::string missing;
  std::size_t listed = 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const std::uint64_t end = offset + count; offset < end && listed <= kMostListed;) {
    const std::uint64_t file_id = offset / digits_per_file_;
    const std::uint64_t left = digits_per_file_ - offset % digits_per_file_;
    const std::uint64_t stop = end - offset < left ? end : offset + left;
    if (is_there(file_id))
      commands.push_back({file_id, {offset, stop}});
    else
      missing += ++listed > kMostListed ? "...\n" : ncd_file_name(name_, file_id) + "\n";
    offset = stop;
  }
  if (listed == 0) return commands;
  console::print('R', "The following needed files are missing or inaccessible:\n" + missing);
  throw FileException(kMakeCommands, folders_[0] + name_, 0, "Missing required files.");
}

BasicNcdSetReader::File BasicNcdSetReader::file(const char* function, std::uint64_t file_id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  File found = find_file(file_id);
  if (found == nullptr) fail_to_open(function, file_id);
  return found;
}

void BasicNcdSetReader::require_end() {
  for (const auto& [file_id, range] : make_commands(0, total_digits()))
    file("BasicNcdSetReader::require_end()", file_id)->require_end();
}

void BasicNcdSetReader::load_digits(std::uint8_t* digits, std::uint64_t offset, std::size_t count) {
  for (const auto& [file_id, range] : make_commands(offset, count))
    file(kLoadFile, file_id)->load_digits(digits + (range.first - offset), range);
}

void BasicNcdSetReader::load_stats(DigitCounts& counts, std::uint64_t offset, std::uint64_t count) {
  for (const auto& [file_id, range] : make_commands(offset, count))
    file("BasicNcdSetReader::load_stats()", file_id)->load_stats(counts, range);
}

}  // namespace nmp
