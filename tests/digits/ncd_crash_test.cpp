// Compressed digit files of processes that are killed, on disks that are full, and in sets of more
// files than a process may open.
#if __has_include(<sys/wait.h>)

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include "digits/ncd_oracle.h"
#include "digits/ncd_set_writer.h"
#include "foundation/exceptions.h"
#include "support/child.h"
#include "support/digits.h"
#include "support/temp_folder.h"

namespace nmp {
namespace {

using test::Digits;

class NcdCrash : public test::RandomTest {
 protected:
  static constexpr std::size_t kBlock = 3000;

  std::unique_ptr<BasicNcdSetWriter> writer(std::uint64_t each = kBlock) const {
    return std::make_unique<BasicNcdSetWriter>(folder_.path(), "Pi", std::uint8_t{10}, each,
                                               digits_.size(), "3.");
  }
  /// Every file under a final name is whole. Returns how many there are.
  std::size_t whole_files(std::size_t each = kBlock) const {
    std::size_t found = 0;
    for (std::size_t id = 0; id * each < digits_.size(); ++id) {
      const std::string path = folder_ / ("Pi" + std::to_string(id) + ".ncd");
      if (!std::filesystem::exists(path)) continue;
      EXPECT_EQ(test::contents(path), test::ncd_file(digits_, 10, each, id)) << path;
      ++found;
    }
    return found;
  }

  const Digits digits_ = test::random_digits(rng_, 100 * kBlock, 10);
  test::TempFolder folder_;
};

TEST_F(NcdCrash, LeavesOnlyWholeFilesUnderFinalNames) {
  std::size_t most = 0;
  for (std::size_t rep = 0; rep < test::reps(12); ++rep) {
    test::Child child([&] {
      const auto set = writer();
      // Two places of the set are written in turn, in runs that end within words and files.
      const std::size_t half = digits_.size() / 2;
      for (std::size_t at = 0; at + 700 <= half; at += 700) {
        set->store_digits(digits_.data() + at, at, 700);
        set->store_digits(digits_.data() + half + at, half + at, 700);
        if (::write(STDOUT_FILENO, ".", 1) != 1) return 1;
      }
      return 0;
    });
    ASSERT_TRUE(child.wait_for(std::string(1 + rng_.below(150), '.')));
    ::kill(child.process(), SIGKILL);
    EXPECT_EQ(child.finish().signal, SIGKILL);
    most = std::max(most, whole_files());
    for (const std::string& name : test::names_in(folder_.path()))
      std::filesystem::remove(folder_ / name);
  }
  EXPECT_GT(most, 0u);
}

/// In a child: files may grow to so many bytes from now on.
void limit_file_size(std::uint64_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit;
  ::getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = static_cast<rlim_t>(bytes);
  ::setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(NcdCrash, LeavesNothingOfAFileThatDoesNotFit) {
  test::Child child([&] {
    const auto set = writer(digits_.size() / 2);
    set->store_digits(digits_.data(), 0, digits_.size() / 2);
    limit_file_size(10'000);
    try {
      set->store_digits(digits_.data() + digits_.size() / 2, digits_.size() / 2, 1);
    } catch (const FileIO::FileException& e) {
      return e.error_code() != 0 && set->close_and_get_basic_reader() != nullptr ? 0 : 1;
    }
    return 2;
  });
  EXPECT_EQ(child.finish().exit_code, 0);
  EXPECT_EQ(whole_files(digits_.size() / 2), 1u);
  EXPECT_EQ(test::names_in(folder_.path()).size(), 1u);
}

TEST_F(NcdCrash, NamesAFileIncompleteThatCouldNotBeWritten) {
  test::Child child([&] {
    const auto set = writer(digits_.size());
    set->store_digits(digits_.data(), 0, 5000);
    limit_file_size(10'000);
    try {
      set->store_digits(digits_.data() + 5000, 5000, digits_.size() - 5000);
    } catch (const FileIO::FileException&) {
      limit_file_size(RLIM_INFINITY);  // there is room again, and the digits are wanted once more
      if (::rename((folder_ / "Pi0 (incomplete).ncd").c_str(), (folder_ / "seen").c_str()) != 0)
        return 3;
      ::rename((folder_ / "seen").c_str(), (folder_ / "Pi0 (incomplete).ncd").c_str());
      set->store_digits(digits_.data() + 5000, 5000, digits_.size() - 5000);
      return 0;
    }
    return 2;
  });
  EXPECT_EQ(child.finish().exit_code, 0);
  EXPECT_EQ(whole_files(digits_.size()), 1u);
}

TEST_F(NcdCrash, ReadsSetsOfMoreFilesThanMayBeOpen) {
  for (std::size_t id = 0; id < 3000; ++id)
    test::put_file(folder_ / ("Pi" + std::to_string(id) + ".ncd"),
                   test::ncd_file(digits_, 10, 100, id, false));
  rlimit before, few;
  ::getrlimit(RLIMIT_NOFILE, &before);
  few = before;
  few.rlim_cur = 64;
  ::setrlimit(RLIMIT_NOFILE, &few);
  BasicNcdSetReader reader(folder_ / "Pi77.ncd");
  EXPECT_EQ(reader.total_digits(), digits_.size());
  Digits read(digits_.size());
  std::thread other([&] {
    DigitCounts counts(10), expected(10);
    expected.append(digits_.data(), digits_.size());
    reader.load_stats(counts, 0, digits_.size());
    EXPECT_EQ(counts, expected);
  });
  reader.load_digits(read.data(), 0, read.size());
  other.join();
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(read, digits_);
}

}  // namespace
}  // namespace nmp

#endif
