#include "digits/ncd_set_writer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "digits/digit_words.h"
#include "digits/file_names.h"
#include "foundation/exceptions.h"

namespace nmp {
namespace {

using FileIO::FileException;

constexpr const char* kConstructor = "BasicNcdSetWriter::BasicNcdSetWriter()";

std::uint64_t digits_of_each(std::uint64_t digits_per_file, std::uint64_t total_digits) {
  if (digits_per_file == kSingleFile) {
    if (total_digits == 0)
      throw InvalidParametersException(kConstructor,
                                       "Single-file is incompatible with unbounded output.");
    return std::max(total_digits, kLeastDigitsPerFile);
  }
  if (digits_per_file < kLeastDigitsPerFile)
    throw InvalidParametersException(kConstructor, "Invalid Parameters");
  return digits_per_file;
}

}  // namespace

BasicNcdSetWriter::BasicNcdSetWriter(const std::string& path, const std::string& name,
                                     std::uint8_t radix, std::uint64_t digits_per_file,
                                     std::uint64_t total_digits, const std::string& first_digits)
    : base_(with_separator(path) + name),
      first_digits_(first_digits),
      radix_(radix),
      digits_per_file_(digits_of_each(digits_per_file, total_digits)),
      total_digits_(total_digits) {
  if (digits_per_word(radix) == 0 || name.find_first_of("/\\") != name.npos ||
      !is_ncd_first_digits(first_digits))
    throw InvalidParametersException(kConstructor, "Invalid Parameters");
}

BasicNcdSetWriter::~BasicNcdSetWriter() = default;

std::vector<BasicNcdSetWriter::Command> BasicNcdSetWriter::make_commands(
    std::uint64_t offset, std::uint64_t count) const {
  if (count > ~std::uint64_t{0} - offset)
    throw InvalidParametersException("BasicNcdSetWriter::make_commands()", "Internal Overflow");
  std::vector<Command> commands;
  for (const std::uint64_t end = offset + count; offset < end;) {
    const std::uint64_t left = digits_per_file_ - offset % digits_per_file_;
    const std::uint64_t stop = end - offset < left ? end : offset + left;
    commands.push_back({offset / digits_per_file_, {offset, stop}});
    offset = stop;
  }
  return commands;
}

std::shared_ptr<BasicNcdFileWriter> BasicNcdSetWriter::file(std::uint64_t file_id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (complete_.contains(file_id))
    throw FileException("BasicNcdSetWriter::store_digits()", file_path(file_id), 0,
                        "File is closed.");
  std::shared_ptr<BasicNcdFileWriter>& file = files_[file_id];
  try {
    if (file == nullptr)
      file = std::make_shared<BasicNcdFileWriter>(base_, first_digits_, radix_, digits_per_file_,
                                                  total_digits_, file_id);
  } catch (...) {
    files_.erase(file_id);
    throw;
  }
  return file;
}

void BasicNcdSetWriter::store_digits(const std::uint8_t* digits, std::uint64_t offset,
                                     std::size_t count) {
  if (total_digits_ != 0 && (offset > total_digits_ || count > total_digits_ - offset))
    throw FileException("BasicNcdSetWriter::store_digits()", base_, 0, "Out of range.");
  for (const auto& [file_id, range] : make_commands(offset, count)) {
    const std::shared_ptr<BasicNcdFileWriter> target = file(file_id);
    target->store_digits_B(digits + (range.first - offset), range.first,
                           static_cast<std::size_t>(range.size()));
    if (!target->is_complete()) continue;
    target->close();  // the slow part, outside the lock
    const std::lock_guard<std::mutex> lock(mutex_);
    complete_.insert(file_id);
    files_.erase(file_id);
  }
}

void BasicNcdSetWriter::close() {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::exception_ptr failure;
  for (const auto& [file_id, file] : std::exchange(files_, {})) {
    try {
      file->close();
      if (file->is_complete()) complete_.insert(file_id);
    } catch (const Exception&) {
      if (failure == nullptr) failure = std::current_exception();
    }
  }
  if (failure != nullptr) std::rethrow_exception(failure);
}

std::unique_ptr<BasicNcdSetReader> BasicNcdSetWriter::close_and_get_basic_reader() {
  if (files_.empty() && complete_.empty())
    throw FileException("BasicNcdSetWriter::close_and_get_basic_reader()", base_, 0,
                        "No files open.");
  close();
  const std::uint64_t any = complete_.empty() ? 0 : *complete_.begin();
  complete_.clear();
  return std::make_unique<BasicNcdSetReader>(file_path(any));
}

}  // namespace nmp
