// Compressed digit files: written in any order, byte for byte as the format says, and read back.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "digits/ncd_oracle.h"
#include "digits/ncd_set_reader.h"
#include "digits/ncd_set_writer.h"
#include "digits/output_record.h"
#include "digits/read_check.h"
#include "support/console_io.h"
#include "support/digits.h"
#include "support/faults.h"
#include "support/temp_folder.h"
#include "support/threads.h"

namespace nmp {
namespace {

using DigitViewer2::InconsistentMetaData;
using test::Digits;
using test::expect_fault;
using test::expect_file_fault;

class Ncd : public test::RandomTest {
 protected:
  std::string path(std::size_t id) const { return folder_ / ("Pi" + std::to_string(id) + ".ncd"); }
  void put_set(const Digits& digits, unsigned radix, std::size_t blocksize, bool knows = true) {
    for (std::size_t id = 0; id * blocksize < digits.size(); ++id)
      test::put_file(path(id), test::ncd_file(digits, radix, blocksize, id, knows));
  }

  test::TempFolder folder_;
  test::Threads threads_{3};
};

TEST_F(Ncd, IsWrittenAsTheFormatSaysWhateverTheOrderAndTheThreadsOfTheRuns) {
  for (std::size_t rep = 0; rep < test::reps(40); ++rep) {
    const unsigned radix = rng_.below(2) == 0 ? 10 : 16;
    const std::size_t n = rng_.size(rep == 0 ? 3'000'000 : 20'000);
    const std::size_t blocksize =
        rng_.below(3) == 0 ? std::max<std::size_t>(n, 100) : 100 + rng_.below(n + 1);
    const Digits digits = test::random_digits(rng_, n, radix);
    BasicNcdSetWriter writer(folder_.path(), "Pi", static_cast<std::uint8_t>(radix),
                             blocksize == n ? kSingleFile : blocksize, n, "3.");
    // Half of the time runs so short that they share words.
    test::store_in_pieces(rng_, writer, digits, rng_.below(2) == 0 ? n / 4 + 2 : 30);
    const std::size_t files = (n - 1) / blocksize + 1;
    ASSERT_EQ(test::names_in(folder_.path()).size(), files);
    for (std::size_t id = 0; id < files; ++id)
      ASSERT_EQ(test::contents(path(id)), test::ncd_file(digits, radix, blocksize, id))
          << n << " digits, " << blocksize << " per file, file " << id;
    HashedDigits record(radix);
    record.append(digits.data(), n);
    read_check(threads_, *writer.close_and_get_basic_reader(), record, nullptr);
    for (std::size_t id = 0; id < files; ++id) std::filesystem::remove(path(id));
  }
}

TEST_F(Ncd, GivesAnyRange) {
  for (std::size_t rep = 0; rep < test::reps(8); ++rep) {
    const unsigned radix = rep % 2 == 0 ? 10 : 16;
    const std::size_t n = 1 + rng_.below(rep == 0 ? 800'000 : 5'000);
    const std::size_t blocksize = 100 + rng_.below(n);
    const bool knows_total = n % blocksize != 0 || rng_.below(2) == 0;
    const Digits digits = test::random_digits(rng_, n, radix);
    put_set(digits, radix, blocksize, knows_total);
    BasicNcdSetReader reader(path(rng_.below((n - 1) / blocksize + 1)));
    ASSERT_EQ(reader.total_digits(), n);
    ASSERT_EQ(reader.first_digits(), "3");
    for (std::size_t i = 0; i < 60; ++i) {
      const std::size_t from = rng_.below(n), count = rng_.below(n - from + 1);
      Digits part(count);
      reader.load_digits(part.data(), from, count);
      ASSERT_TRUE(std::equal(part.begin(), part.end(), digits.data() + from)) << from << count;
    }
    for (const std::string& name : test::names_in(folder_.path()))
      std::filesystem::remove(folder_ / name);
  }
}

TEST_F(Ncd, IsFoundInTheSearchPathsAndUnderPaddedNumbers) {
  const Digits digits = test::random_digits(rng_, 15 * 200, 10);
  const std::string far = folder_ / "far", farther = folder_ / "farther/";
  for (const std::string& folder : {far, farther}) std::filesystem::create_directory(folder);
  const auto bytes = [&](std::size_t id, bool stale = false) {
    return test::ncd_file(stale ? Digits(3000, 7) : digits, 10, 200, id);
  };
  for (std::size_t id = 0; id < 15; ++id) {
    const std::string plain = std::to_string(id),
                      padded = std::string(3 - plain.size(), '0') + plain;
    test::put_file(id < 3 ? folder_ / ("sqrt2" + plain + ".ncd")
                          : (id < 9 ? far + "/sqrt2" + plain : farther + "sqrt2" + padded) + ".ncd",
                   bytes(id));
  }
  test::put_file(farther + "sqrt24.ncd", bytes(4, true));  // behind the right one
  std::filesystem::create_directory(folder_ / "sqrt25.ncd");

  BasicNcdSetReader reader(folder_ / "sqrt22.ncd", {far}, 3);
  Digits read(digits.size());
  reader.load_digits(read.data(), 400, 1200);
  EXPECT_TRUE(std::equal(read.begin(), read.begin() + 1200, digits.begin() + 400));
  EXPECT_EQ(test::on_console("",
                             [&] {
                               expect_file_fault(
                                   "BasicNcdSetReader::make_commands()", "Missing required files.",
                                   [&] { reader.load_digits(read.data(), 1799, 401); });
                             }),
            "The following needed files are missing or inaccessible:\nsqrt29.ncd\nsqrt210.ncd\n");
  expect_file_fault("BasicNcdSetReader::load_file()", "Unable to open file #14",
                    [&] { reader.load_file(14); });
  reader.add_search_path(farther);
  reader.load_file(14);
  expect_file_fault<InconsistentMetaData>(
      "BasicNcdSetReader::load_file()",
      "Inconsistent Metadata: \"" + farther + "sqrt2014.ncd\"\nFile id already exists.",
      [&] { reader.load_file(14); });
  reader.load_digits(read.data(), 0, read.size());
  EXPECT_EQ(read, digits);
  // Named by a padded number, and looked for in the search paths.
  BasicNcdSetReader padded("sqrt2014.ncd", {folder_.path(), far, farther}, 3);
  padded.load_digits(read.data(), 0, read.size());
  EXPECT_EQ(read, digits);
}

TEST_F(Ncd, KeepsItsIncompleteNameUntilEveryDigitIsStored) {
  const Digits digits = test::random_digits(rng_, 1000, 10);
  const std::string incomplete = folder_ / "Pi1 (incomplete).ncd";
  test::put_file(path(1), "an older file");
  {
    BasicNcdSetWriter writer(folder_.path(), "Pi", 10, 400, 0, "3.");
    writer.store_digits(digits.data(), 0, 799);
    EXPECT_EQ(test::names_in(folder_.path()),
              (std::set<std::string>{"Pi0.ncd", "Pi1.ncd", "Pi1 (incomplete).ncd"}));
    EXPECT_EQ(test::on_console("", [&] { writer.close_and_get_basic_reader(); }),
              "Warning, closing incomplete file: " + incomplete + "\n");
    expect_file_fault("BasicNcdSetWriter::close_and_get_basic_reader()", "No files open.",
                      [&] { writer.close_and_get_basic_reader(); });
  }
  EXPECT_EQ(test::contents(path(1)), "an older file");

  BasicNcdFileWriter file(folder_ / "Pi", "3.", 10, 400, 0, 1);
  const auto store = [&](std::uint64_t offset, std::size_t count) {
    file.store_digits_B(digits.data() + offset, offset, count);
  };
  Digits wrong = digits;
  for (std::size_t at : {401u, 500u, 798u}) {
    wrong[at] = 10;
    expect_fault<InvalidParametersException>("BasicNcdFileWriter::store_digits_B()",
                                             "Invalid Digit",
                                             [&] { file.store_digits_B(&wrong[401], 401, 398); });
    wrong[at] = 0;
  }
  store(500, 100);
  store(400, 50);
  for (const DigitRange& twice : {DigitRange{449, 451}, {480, 501}, {550, 551}, {599, 800}})
    expect_fault<InvalidParametersException>("BasicNcdFileWriter::start_access()",
                                             "Digits were stored before.",
                                             [&] { store(twice.first, twice.size()); });
  store(600, 200);
  EXPECT_FALSE(file.is_complete());
  store(450, 50);
  EXPECT_TRUE(file.is_complete());
  for (const DigitRange& outside : {DigitRange{399, 400}, {799, 801}, {801, 801}})
    expect_file_fault("BasicNcdFileWriter::store_digits_B()", "Write out of bounds.\n",
                      [&] { store(outside.first, outside.size()); });
  file.close();
  EXPECT_EQ(test::contents(path(1)),
            test::ncd_file(Digits(digits.begin(), digits.begin() + 800), 10, 400, 1, false));
  expect_file_fault("BasicNcdFileWriter::start_access()", "File is closed.",
                    [&] { store(400, 1); });
}

TEST_F(Ncd, RefusesParametersThatNoReaderTakes) {
  const auto refused_set = [&](const std::string& message, std::uint8_t radix, std::uint64_t each,
                               std::uint64_t total, const std::string& first) {
    expect_fault<InvalidParametersException>(
        "BasicNcdSetWriter::BasicNcdSetWriter()", message,
        [&] { BasicNcdSetWriter(folder_.path(), "Pi", radix, each, total, first); });
  };
  refused_set("Invalid Parameters", 8, 100, 100, "3.");
  refused_set("Invalid Parameters", 10, 99, 100, "3.");
  refused_set("Invalid Parameters", 10, 100, 100, "");
  refused_set("Invalid Parameters", 10, 100, 100, "3. 14");
  refused_set("Single-file is incompatible with unbounded output.", 10, kSingleFile, 0, "3.");

  const auto refused_file = [&](const std::string& function, const std::string& message,
                                std::uint8_t radix, std::uint64_t each, std::uint64_t total,
                                std::uint64_t id) {
    expect_fault<InvalidParametersException>("BasicNcdFileWriter::" + function, message, [&] {
      BasicNcdFileWriter(folder_ / "x", "3.", radix, each, total, id);
    });
  };
  refused_file("BasicNcdFileWriter()", "Unsupported Radix", 2, 100, 100, 0);
  refused_file("get_range()", "File ID is out of range.", 10, 100, 1000, 10);
  refused_file("get_range()", "File ID is out of range.", 10, 1ull << 60, 0, 16);
  refused_file("get_range()", "Invalid Range - Failed: s < e", 10, 1ull << 60, 0, 15);

  BasicNcdSetWriter bounded(folder_.path(), "Pi", 10, 100, 250, "3.");
  BasicNcdSetWriter unbounded(folder_.path(), "Pi", 10, 100, 0, "3.");
  const Digits digits(300, 1);
  expect_file_fault("BasicNcdSetWriter::store_digits()", "Out of range.",
                    [&] { bounded.store_digits(digits.data(), 1, 250); });
  expect_fault<InvalidParametersException>(
      "BasicNcdSetWriter::make_commands()", "Internal Overflow",
      [&] { unbounded.store_digits(digits.data(), ~std::uint64_t{0} - 299, 300); });
  expect_file_fault("BasicNcdSetWriter::close_and_get_basic_reader()", "No files open.",
                    [&] { bounded.close_and_get_basic_reader(); });
  EXPECT_TRUE(test::names_in(folder_.path()).empty());
}

}  // namespace
}  // namespace nmp
