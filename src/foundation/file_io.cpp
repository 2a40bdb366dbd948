#include "foundation/file_io.h"

#include <atomic>
#include <chrono>
#include <thread>

#include "foundation/console.h"
#include "foundation/exceptions.h"
#include "foundation/progress.h"

namespace nmp::FileIO {
namespace {

void warn_once(const char* warning, const std::string& path) {
  static std::atomic<bool> warned{false};
  if (warned.exchange(true)) return;
  console::print('Y', warning);
  console::print_line("Path: " + path);
  console::print("Further messages for this warning will be suppressed.\n");
}

}  // namespace

void CheckedFile::check(const char* function, platform::ErrorCode error) const {
  if (error != 0) throw FileException(function, path_, error);
}

CheckedFile CheckedFile::open_read(const std::string& path) {
  CheckedFile file;
  file.path_ = path;
  file.check("FileIO::open_read()", file.file_.open_read(path));
  return file;
}

CheckedFile CheckedFile::create(const std::string& path) {
  CheckedFile file;
  file.path_ = path;
  file.check("FileIO::create()", file.file_.create(path));
  return file;
}

std::size_t CheckedFile::read_at(void* buffer, std::size_t bytes, std::uint64_t offset) {
  std::size_t done = 0;
  check("FileIO::read_at()", file_.read_at(buffer, bytes, offset, &done));
  return done;
}

void CheckedFile::read_exact(void* buffer, std::size_t bytes, std::uint64_t offset) {
  if (read_at(buffer, bytes, offset) != bytes)
    throw FileException("FileIO::read_exact()", path_, 0, "Incomplete read.");
}

void CheckedFile::write_at(const void* buffer, std::size_t bytes, std::uint64_t offset) {
  check("FileIO::write_at()", file_.write_at(buffer, bytes, offset));
}

std::uint64_t CheckedFile::size() {
  std::uint64_t bytes = 0;
  check("FileIO::size()", file_.size(&bytes));
  return bytes;
}

void CheckedFile::set_size(std::uint64_t bytes) {
  check("FileIO::set_size()", file_.set_size(bytes));
}

void CheckedFile::reserve(std::uint64_t bytes) {
  bool marked_valid = false;
  check("FileIO::reserve()", file_.reserve(bytes, &marked_valid));
  const char* warning = platform::reserve_warning();
  if (!marked_valid && warning != nullptr) warn_once(warning, path_);
}

void CheckedFile::flush() { check("FileIO::flush()", file_.flush()); }

void CheckedFile::close() { check("FileIO::close()", file_.close()); }

CheckedFile create_with_retry(const std::string& path, RetryPolicy policy) {
  for (int attempt = 1;; ++attempt) {
    try {
      return CheckedFile::create(path);
    } catch (const FileException& failure) {
      const platform::ErrorCode error = failure.error_code();
      if (attempt >= policy.attempts || !platform::error_may_pass(error))
        throw FileException("FileIO::create_with_retry()", path, error, "Unable to create file.");
    }
    console::print_line('R', "Unable to create file.");
    console::print_line("Path: " + path);
    console::print_line("Re-attempting...");
    std::this_thread::sleep_for(std::chrono::milliseconds(policy.pause_milliseconds));
    throw_if_interrupted();
  }
}

std::string incomplete_name(const std::string& path) {
  const std::size_t name = path.find_last_of("/\\") + 1;  // npos + 1 is 0: no folder
  const std::size_t dot = path.rfind('.');
  const bool has_extension = dot != path.npos && dot > name;
  return std::string(path).insert(has_extension ? dot : path.size(), " (incomplete)");
}

void rename_replacing(const std::string& from, const std::string& to) {
  const platform::ErrorCode error = platform::rename_replacing(from, to);
  if (error != 0) throw FileException("FileIO::rename_replacing()", to, error);
}

void write_text_file(const std::string& path, std::string_view text) {
  const std::string incomplete = incomplete_name(path);
  CheckedFile file = create_with_retry(incomplete);
  try {
    file.write_at(text.data(), text.size(), 0);
    file.flush();
    file.close();
    rename_replacing(incomplete, path);
  } catch (...) {
    file = {};
    platform::remove_file(incomplete);
    throw;
  }
}

}  // namespace nmp::FileIO
