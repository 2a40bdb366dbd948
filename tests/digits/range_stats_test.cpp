// Statistics by all threads, the proof of what was written, and how they are judged.

#include "digits/range_stats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <tuple>

#include "digits/chi_square.h"
#include "digits/ncd_oracle.h"
#include "digits/ncd_set_reader.h"
#include "digits/read_check.h"
#include "digits/text_reader.h"
#include "foundation/exceptions.h"
#include "support/console_io.h"
#include "support/digits.h"
#include "support/temp_folder.h"
#include "support/threads.h"

namespace nmp {
namespace {

using test::Digits;

class RangeStats : public test::RandomTest {
 protected:
  test::TempFolder folder_;
};

TEST_F(RangeStats, AreTheSameForAnyThreadsKindOfFileAndCut) {
  // More than the blocks that one thread has between two looks at the progress.
  const std::size_t n = test::scale() < 1 ? 3'000'000 : 40'000'000;
  for (const unsigned radix : {10u, 16u}) {
    Digits digits(n);
    for (std::uint64_t i = 0, x = rng_.u64(); i < n; ++i, x = x * 6364136223846793005u + 1442695u)
      digits[i] = static_cast<std::uint8_t>((x >> 40) % radix);
    const std::string path = folder_ / "digits.txt";
    test::put_file(path, "3." + test::text_of(digits));
    for (const std::size_t id : {0u, 1u, 2u})
      test::put_file(folder_ / "set" + std::to_string(id) + ".ncd",
                     test::ncd_file(digits, radix, n / 3 + 1, id));
    BasicTextReader text(path, radix);
    BasicNcdSetReader set(folder_ / "set1.ncd");
    const std::size_t first = rng_.below(n), last = first + rng_.below(n - first + 1);
    const std::pair<std::size_t, std::size_t> ranges[] = {{0, n}, {first, last}, {n, n}};
    for (const auto& [begin, end] : ranges) {
      DigitCounts expected(radix);
      expected.append(digits.data() + begin, end - begin);
      for (const unsigned threads : {1u, 3u})
        for (DigitReader* reader :
             {static_cast<DigitReader*>(&text), static_cast<DigitReader*>(&set)}) {
          test::Threads context(threads);
          DigitCounts told(radix);
          EXPECT_EQ(range_stats(context, *reader, begin, end,
                                [&](const DigitCounts& so_far) { told = so_far; }),
                    expected)
              << begin << " - " << end << " by " << threads << " threads";
          EXPECT_EQ(told, expected);
        }
    }
  }
}

// Every damage to a set that leaves its files readable shows in the statistics; any other stops the
// reading with its own message.
TEST_F(RangeStats, ProveASetOfFiles) {
  Digits digits = test::random_digits(rng_, 1000, 10), others = digits;
  others[450] = digits[450] == 0 ? 1 : 0;
  HashedDigits record(10);
  record.append(digits.data(), digits.size());
  const auto file = [&](const Digits& content, std::size_t id) {
    return test::ncd_file(content, 10, 300, id);
  };
  const auto damaged = [&](std::size_t id, const std::string& bytes) {
    for (std::size_t i = 0; i < 4; ++i)
      test::put_file(folder_ / "e" + std::to_string(i) + ".ncd", i == id ? bytes : file(digits, i));
    if (bytes.empty()) std::filesystem::remove(folder_ / "e" + std::to_string(id) + ".ncd");
    std::string message;
    const std::string shown = test::on_console("", [&] {
      test::Threads context(2);
      BasicNcdSetReader reader(folder_ / "e0.ncd");
      try {
        read_check(context, reader, record, nullptr);
      } catch (const StringException& e) {
        message = e.message();
      } catch (const FileIO::FileException& e) {
        message = e.message();
      }
    });
    return message + "\n" + shown;
  };
  const std::string mismatch = "Digit output failed. Metadata cross-check doesn't match.\n";
  const std::string good = file(digits, 1);
  const auto expect = [&](const std::string& found, const std::string& start) {
    EXPECT_EQ(found.substr(0, start.size()), start);
  };
  EXPECT_EQ(damaged(1, good), "\n");
  for (const std::size_t id : {1, 3})
    EXPECT_EQ(damaged(id, file(digits, id) + "l"), "The file is longer than its digits.\n");
  expect(damaged(1, file(others, 1)), mismatch + "\nPre-Write Hash = ");
  std::string swapped = good;
  std::swap_ranges(swapped.end() - 8, swapped.end() - 4, swapped.end() - 16);
  EXPECT_NE(damaged(1, swapped), "\n");
  expect(damaged(1, good.substr(0, good.size() - 1)), "Read error.\n");
  expect(damaged(2, ""),
         "Missing required files.\nThe following needed files are missing or "
         "inaccessible:\ne2.ncd\n");
  const std::string inconsistent = "Inconsistent Metadata: \"" + (folder_ / "e1.ncd") + "\"\n";
  expect(damaged(1, file(digits, 2)), inconsistent + "File id does not match.");
  expect(damaged(1, file(Digits(900, 1), 1)), inconsistent + "Total digits does not match.");
  EXPECT_EQ(damaged(4, file(digits, 3)), "\n");  // left over from a longer set
}

TEST(ChiSquare, HasTheProbabilityOfTheTables) {
  // Degrees of freedom, chi-square, share above it: from printed tables.
  for (const auto& [freedom, x, share] : {std::tuple{1.0, 3.841459, 0.05},
                                          {9.0, 2.087901, 0.99},
                                          {9.0, 16.918978, 0.05},
                                          {9.0, 27.877165, 0.001},
                                          {15.0, 14.338860, 0.5},
                                          {15.0, 24.995790, 0.05}})
    EXPECT_NEAR(upper_gamma_share(freedom / 2, x / 2), share, 1e-7) << freedom << " " << x;
  for (const double x : {0.1, 1.0, 1.9, 2.1, 30.0, 700.0})  // a = 1: the exponential distribution
    EXPECT_NEAR(upper_gamma_share(1, x) / std::exp(-x), 1, 1e-12) << x;
  EXPECT_EQ(upper_gamma_share(4.5, 0), 1);
  EXPECT_EQ(upper_gamma_share(4.5, 1e6), 0);
}

TEST(ChiSquare, IsDrawnWithinAScreen) {
  const auto marks = [](const std::string& line) {
    return std::count(line.begin(), line.end(), '#');
  };
  for (const unsigned radix : {10u, 16u})
    for (const std::uint64_t each :
         {std::uint64_t{0}, std::uint64_t{1000}, std::uint64_t{1} << 59}) {
      std::array<std::uint64_t, DigitCounts::kMaxRadix> numbers{};
      std::fill_n(numbers.begin(), radix, each);
      DigitCounts even(radix), odd(radix);
      even.append(numbers, 0);
      numbers[3] += each / 10;  // 10 % too many of 3, 5 % too few of 7
      numbers[7] -= each / 20;
      odd.append(numbers, 0);
      EXPECT_EQ(chi_square(even), 0);
      for (const std::string& line : deviation_picture(even)) EXPECT_EQ(marks(line), 0);
      const std::vector<std::string> lines = deviation_picture(odd);
      ASSERT_EQ(lines.size(), radix + 5);
      for (const std::string& line : lines) EXPECT_LE(line.size(), 79u) << line;
      if (each == 0) continue;
      EXPECT_GT(marks(lines[5]), 0) << lines[5];
      EXPECT_NEAR(static_cast<double>(marks(lines[9])), marks(lines[5]) / 2.0, 1.5);
      EXPECT_GT(lines[5].find('#'), lines[5].find('|'));
      EXPECT_LT(lines[9].find('#'), lines[9].find('|'));
    }
}

}  // namespace
}  // namespace nmp
