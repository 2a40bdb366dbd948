// Text files of digits: written in any order, read back, and proved to be what was written.

#include <gtest/gtest.h>

#include <string>

#include "digits/read_check.h"
#include "digits/text_reader.h"
#include "digits/text_writer.h"
#include "support/console_io.h"
#include "support/digits.h"
#include "support/faults.h"
#include "support/temp_folder.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Digits;
using test::expect_fault;
using test::expect_file_fault;

class TextFile : public test::RandomTest {
 protected:
  test::TempFolder folder_;
  const std::string path_ = folder_ / "Pi - Dec - Test.txt";
  test::Threads threads_{3};
};

TEST_F(TextFile, IsTheSameWhateverTheOrderAndTheThreadsOfTheRuns) {
  for (std::size_t rep = 0; rep < test::reps(40); ++rep) {
    const unsigned radix = rng_.below(2) == 0 ? 10 : 16;
    const std::size_t n = rng_.size(rep == 0 ? 900000 : 20000);
    const Digits digits = test::random_digits(rng_, n, radix);
    const std::string leading = std::string(rng_.below(9), '7') + ".";
    BasicTextWriter writer(path_, leading, radix, n);
    test::store_in_pieces(rng_, writer, digits, 30);
    EXPECT_FALSE(std::filesystem::exists(path_)) << "before it is closed";
    writer.close();
    ASSERT_EQ(test::contents(path_), leading + test::text_of(digits)) << n << " digits";
    std::filesystem::remove(path_);
  }
  EXPECT_TRUE(test::names_in(folder_.path()).empty());
}

TEST_F(TextFile, LeavesNothingBehindUnlessComplete) {
  const std::string final_name = "Pi - Dec - Test.txt";
  const Digits digits = test::random_digits(rng_, 5000, 10);
  test::put_file(path_, "an older file");
  {
    BasicTextWriter writer(path_, "3.", 10, 5000);
    writer.store_digits(digits.data(), 0, 4999);
    EXPECT_EQ(test::names_in(folder_.path()),
              (std::set<std::string>{"Pi - Dec - Test (incomplete).txt", final_name}));
    expect_file_fault("BasicTextWriter::close()", "Digits are missing from the file.",
                      [&] { writer.close(); });
  }
  EXPECT_EQ(test::contents(path_), "an older file");
  EXPECT_EQ(test::names_in(folder_.path()), std::set<std::string>{final_name});

  BasicTextWriter writer(path_, "3.", 10, 5000);
  Digits bad = digits;
  bad[77] = 10;
  expect_fault<InvalidParametersException>("BasicTextWriter::store_digits()", "Invalid Digit",
                                           [&] { writer.store_digits(bad.data(), 0, 5000); });
  expect_file_fault("BasicTextWriter::store_digits()", "Out of range.",
                    [&] { writer.store_digits(digits.data(), 1, 5000); });
  writer.store_digits(digits.data(), 0, 5000);
  writer.close();
  expect_file_fault("BasicTextWriter::store_digits()", "File is closed.",
                    [&] { writer.store_digits(digits.data(), 0, 1); });
  EXPECT_EQ(test::contents(path_), "3." + test::text_of(digits));
  EXPECT_EQ(test::names_in(folder_.path()), std::set<std::string>{final_name});
}

TEST_F(TextFile, IsReadByPosition) {
  test::put_file(path_, "3.14159265358979323846\r\n");
  BasicTextReader reader(path_, 10);
  EXPECT_EQ(reader.first_digits(), "3");
  EXPECT_EQ(reader.total_digits(), 20u);
  Digits digits(3);
  reader.load_digits(digits.data(), 17, 3);
  EXPECT_EQ(digits, (Digits{8, 4, 6}));
  DigitCounts all(10);
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
  expect_file_fault("BasicTextReader::process_txt()", "Invalid Digit",
                    [&] { BasicTextReader(path_, 10).load_stats(all, 0, 5); });
}

TEST_F(TextFile, MayEndInLineBreaksOrHaveNoSize) {
  for (const std::size_t breaks : {1u, 4095u, 4096u, 10000u}) {
    test::put_file(path_, "3.14" + std::string(breaks, '\n') + "\r");
    EXPECT_EQ(BasicTextReader(path_, 10).total_digits(), 2u);
  }
  test::put_file(path_, ".\r\n");
  EXPECT_EQ(BasicTextReader(path_, 10).total_digits(), 0u);
  if (test::contents("/proc/version").substr(0, 63).find('.') != std::string::npos) {
    EXPECT_EQ(BasicTextReader("/proc/version", 10).total_digits(), 0u);
  }
}

TEST_F(TextFile, HasARadixAndAPointAmongTheFirst63Bytes) {
  test::put_file(path_, std::string(62, '1') + ".5");
  EXPECT_EQ(BasicTextReader(path_, 10).total_digits(), 1u);
  test::put_file(path_, std::string(63, '1') + ".5");
  expect_file_fault("BasicTextReader::BasicTextReader()",
                    "A decimal place was not found within the first 63 bytes of the file.",
                    [&] { BasicTextReader(path_, 10); });
  EXPECT_THROW(BasicTextReader(path_, 8), InvalidParametersException);
  expect_fault<InvalidParametersException>("BasicTextWriter::BasicTextWriter()", "Invalid radix.",
                                           [&] { BasicTextWriter(path_, "3.", 8, 10); });
  expect_fault<InvalidParametersException>("TextWriter::TextWriter()",
                                           "No decimal place was found.",
                                           [&] { BasicTextWriter(path_, "3", 10, 10); });
  EXPECT_EQ(test::names_in(folder_.path()).size(), 1u);
}

TEST_F(TextFile, IsProvedByReadingItBack) {
  Digits digits = test::random_digits(rng_, 10000, 10);
  digits[100] = 3;
  digits[7000] = 4;
  HashedDigits record(10);
  record.append(digits.data(), digits.size());
  const std::string text = "3." + test::text_of(digits);
  const auto fault_in = [&](const std::string& spoilt, const std::string& message) {
    test::put_file(path_, spoilt);
    return test::on_console("", [&] {
      expect_fault<AlgorithmFailedException>("read_check()", message,
                                             [&] { read_check(threads_, path_, record, nullptr); });
    });
  };
  test::put_file(path_, text);
  read_check(threads_, path_, record, nullptr);

  std::string changed = text, swapped = text;
  changed[102] = '5';
  std::swap(swapped[102], swapped[7002]);
  for (const std::string& spoilt :
       {changed, swapped, text.substr(0, 10001), text + "0", "3.0" + text.substr(2)}) {
    const std::string shown =
        fault_in(spoilt, "Digit output failed. Metadata cross-check doesn't match.");
    for (const std::string& label :
         {"Pre-Write Hash = " + std::to_string(record.hash()), std::string("Read-Back Hash = "),
          std::string("Pre-Write Counts =\n"), std::string("Read-Back Counts =\n")})
      EXPECT_NE(shown.find(label), std::string::npos) << label;
  }
  fault_in("x" + text, "Invalid decimal digit in first digits.");
  record = HashedDigits(16);
  fault_in("g.", "Invalid hexadecimal digit in first digits.");
}

}  // namespace
}  // namespace nmp
