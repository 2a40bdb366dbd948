// Text files of digits: written in any order, read back, and proved to be what was written.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "digits/digit_text.h"
#include "digits/read_check.h"
#include "digits/text_reader.h"
#include "digits/text_writer.h"
#include "support/console_io.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/temp_folder.h"

#ifdef __linux__
#include <sys/mount.h>
#endif

namespace nmp {
namespace {

using Digits = std::vector<std::uint8_t>;
using FileIO::FileException;

template <typename Body>
void expect_file_fault(const std::string& function, const std::string& message, Body body) {
  try {
    body();
    ADD_FAILURE() << "no exception: " << message;
  } catch (const FileException& e) {
    EXPECT_EQ(e.message(), message);
    EXPECT_NE(e.report().find(function), std::string::npos) << e.report();
  }
}

class TextFile : public ::testing::Test {
 protected:
  Digits random_digits(std::size_t n, unsigned radix) {
    Digits digits(n);
    for (auto& d : digits) d = static_cast<std::uint8_t>(rng_.below(radix));
    return digits;
  }
  static std::string text_of(const Digits& digits) {
    std::string text(digits.size(), ' ');
    digits_to_text(digits.data(), digits.size(), 16, text.data());
    return text;
  }
  void write(const Digits& digits, unsigned radix = 10) {
    BasicTextWriter writer(path_, "3.", radix, digits.size());
    writer.store_digits(digits.data(), 0, digits.size());
    writer.close();
  }

  test::TempFolder folder_;
  const std::string path_ = folder_ / "Pi - Dec - Test.txt";
  test::Rng rng_ = test::Rng::from_environment();
  ::testing::ScopedTrace trace_{__FILE__, __LINE__, rng_.trace()};
};

TEST_F(TextFile, IsTheSameWhateverTheOrderOfTheRuns) {
  for (std::size_t rep = 0; rep < test::reps(40); ++rep) {
    const unsigned radix = rng_.below(2) == 0 ? 10 : 16;
    const std::size_t n = rng_.size(rep == 0 ? 900000 : 20000);
    const Digits digits = random_digits(n, radix);
    std::vector<std::size_t> cuts = {0, n};
    for (std::size_t i = rng_.below(30); i > 0; --i) cuts.push_back(rng_.below(n + 1));
    std::sort(cuts.begin(), cuts.end());
    std::vector<std::size_t> runs(cuts.size() - 1);
    for (std::size_t i = 0; i < runs.size(); ++i) runs[i] = i;
    for (std::size_t i = runs.size(); i > 1; --i) std::swap(runs[i - 1], runs[rng_.below(i)]);

    const std::string leading = std::string(rng_.below(9), '7') + ".";
    BasicTextWriter writer(path_, leading, radix, n);
    for (std::size_t i : runs)
      writer.store_digits(digits.data() + cuts[i], cuts[i], cuts[i + 1] - cuts[i]);
    EXPECT_EQ(test::contents(path_), "") << "stands under its final name before it is closed";
    writer.close();
    ASSERT_EQ(test::contents(path_), leading + text_of(digits)) << n << " digits";
    std::filesystem::remove(path_);
  }
  EXPECT_EQ(folder_.entries(), 0u);
}

TEST_F(TextFile, TakesRunsFromSeveralThreads) {
  const Digits digits = random_digits(200000, 10);
  BasicTextWriter writer(path_, "3.", 10, digits.size());
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (std::size_t i = 1000 * t; i < digits.size(); i += 4000)
        writer.store_digits(digits.data() + i, i, 1000);
    });
  for (std::thread& thread : threads) thread.join();
  writer.close();
  EXPECT_EQ(test::contents(path_), "3." + text_of(digits));
}

TEST_F(TextFile, LeavesNothingBehindUnlessComplete) {
  const Digits digits = random_digits(5000, 10);
  test::put_file(path_, "an older file");
  {
    BasicTextWriter writer(path_, "3.", 10, 5000);
    writer.store_digits(digits.data(), 0, 4999);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "Pi - Dec - Test (incomplete).txt"));
    expect_file_fault("BasicTextWriter::close()", "Digits are missing from the file.",
                      [&] { writer.close(); });
  }
  EXPECT_EQ(test::contents(path_), "an older file");
  EXPECT_EQ(folder_.entries(), 1u);

  BasicTextWriter writer(path_, "3.", 10, 5000);
  Digits bad = digits;
  bad[77] = 10;
  test::expect_fault<InvalidParametersException>("BasicTextWriter::store_digits()", "Invalid Digit",
                                                 [&] { writer.store_digits(bad.data(), 0, 5000); });
  expect_file_fault("BasicTextWriter::store_digits()", "Out of range.",
                    [&] { writer.store_digits(digits.data(), 1, 5000); });
  writer.store_digits(digits.data(), 0, 5000);
  writer.close();
  expect_file_fault("BasicTextWriter::store_digits()", "File is closed.",
                    [&] { writer.store_digits(digits.data(), 0, 1); });
  EXPECT_EQ(test::contents(path_), "3." + text_of(digits));
  EXPECT_EQ(folder_.entries(), 1u);
}

TEST_F(TextFile, RefusesOtherRadixesAndTextWithoutAPoint) {
  test::expect_fault<InvalidParametersException>("BasicTextWriter::BasicTextWriter()",
                                                 "Invalid radix.",
                                                 [&] { BasicTextWriter(path_, "3.", 8, 10); });
  test::expect_fault<InvalidParametersException>("TextWriter::TextWriter()",
                                                 "No decimal place was found.",
                                                 [&] { BasicTextWriter(path_, "3", 10, 10); });
  EXPECT_THROW(BasicTextReader(path_, 8), InvalidParametersException);
  EXPECT_EQ(folder_.entries(), 0u);
}

#ifdef __linux__
TEST_F(TextFile, ReportsAFullDisk) {
  const std::string disk = folder_ / "disk";
  std::filesystem::create_directory(disk);
  if (::mount("none", disk.c_str(), "tmpfs", 0, "size=64k") != 0) GTEST_SKIP() << "cannot mount";
  EXPECT_THROW(BasicTextWriter(disk + "/Pi.txt", "3.", 10, 100000), FileException);
  EXPECT_TRUE(std::filesystem::is_empty(disk));
  ::umount(disk.c_str());
}
#endif

TEST_F(TextFile, IsReadByPosition) {
  test::put_file(path_, "3.14159265358979323846\r\n");
  BasicTextReader reader(path_, 10);
  EXPECT_EQ(reader.first_digits(), "3");
  EXPECT_EQ(reader.total_digits(), 20u);
  Digits digits(3);
  reader.load_digits(digits.data(), 17, 3);
  EXPECT_EQ(digits, (Digits{8, 4, 6}));
  DigitCounts one(10), all(10);
  reader.load_stats(one, 0, 1);
  EXPECT_EQ(one.hash(), 1u);
  reader.load_stats(all, 0, 20);
  EXPECT_EQ(all.hash(), 14159265358979323846u % 2305843009213693951u);
  expect_file_fault("BasicTextReader::load_digits()", "Out of range.",
                    [&] { reader.load_digits(digits.data(), 18, 3); });
  expect_file_fault("BasicTextReader::load_stats()", "Out of range.",
                    [&] { reader.load_stats(all, 0, 21); });
  std::filesystem::resize_file(path_, 10);
  expect_file_fault("BasicTextReader::load_stats()", "Incomplete read.",
                    [&] { reader.load_stats(all, 0, 20); });
  test::put_file(path_, "3.1415a");
  BasicTextReader bad(path_, 10);
  expect_file_fault("BasicTextReader::process_txt()", "Invalid Digit",
                    [&] { bad.load_stats(all, 0, 5); });
}

TEST_F(TextFile, HasItsPointAmongTheFirst63Bytes) {
  test::put_file(path_, std::string(62, '1') + ".5");
  EXPECT_EQ(BasicTextReader(path_, 10).total_digits(), 1u);
  test::put_file(path_, std::string(63, '1') + ".5");
  expect_file_fault("BasicTextReader::BasicTextReader()",
                    "A decimal place was not found within the first 63 bytes of the file.",
                    [&] { BasicTextReader(path_, 10); });
  EXPECT_THROW(BasicTextReader(folder_ / "nothing.txt", 10), FileException);
}

class ReadCheck : public TextFile {
 protected:
  void SetUp() override {
    digits_ = random_digits(10000, 10);
    digits_[100] = 3;
    digits_[7000] = 4;
    record_.append(digits_.data(), digits_.size());
    write(digits_);
    text_ = test::contents(path_);
  }
  /// Checks the file with `text` as its contents; returns what was shown.
  std::string expect_mismatch(const std::string& text) {
    test::put_file(path_, text);
    return test::on_console("", [&] {
      test::expect_fault<AlgorithmFailedException>(
          "read_check()", "Digit output failed. Metadata cross-check doesn't match.",
          [&] { read_check(path_, record_, nullptr); });
    });
  }

  Digits digits_;
  HashedDigits record_{10};
  std::string text_;
};

TEST_F(ReadCheck, PassesWhatWasWrittenAndNothingElse) {
  read_check(path_, record_, nullptr);

  std::string changed = text_;
  changed[102] = '5';
  std::string shown = expect_mismatch(changed);
  for (const char* label :
       {"Pre-Write Hash = ", "Read-Back Hash = ", "Pre-Write Counts =\n", "Read-Back Counts =\n"})
    EXPECT_NE(shown.find(label), std::string::npos) << label;
  EXPECT_NE(shown.find(std::to_string(record_.hash())), std::string::npos);

  std::string swapped = text_;
  std::swap(swapped[102], swapped[7002]);
  expect_mismatch(swapped);
  expect_mismatch(text_.substr(0, text_.size() - 1));
  expect_mismatch(text_ + "0");
  expect_mismatch(text_.substr(0, 2) + "0" + text_.substr(2));
}

TEST_F(ReadCheck, ReadsTheFirstDigitsToo) {
  test::put_file(path_, "x" + text_);
  test::expect_fault<AlgorithmFailedException>("read_check()",
                                               "Invalid decimal digit in first digits.",
                                               [&] { read_check(path_, record_, nullptr); });
  const HashedDigits hex(16);
  test::put_file(path_, "g.");
  test::expect_fault<AlgorithmFailedException>("read_check()",
                                               "Invalid hexadecimal digit in first digits.",
                                               [&] { read_check(path_, hex, nullptr); });
}

}  // namespace
}  // namespace nmp
