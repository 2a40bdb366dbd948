// Compressed digit files that are damaged, contradict each other, or claim what cannot be.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "digits/ncd_oracle.h"
#include "digits/ncd_set_reader.h"
#include "foundation/exceptions.h"
#include "support/digits.h"
#include "support/temp_folder.h"

namespace nmp {
namespace {

using test::Digits;
using test::fields_of;
using test::NcdFields;

/// Why a reader of the file cannot be made; nothing where it can.
template <typename Reader>
std::string refusal(const std::string& path) {
  try {
    Reader reader(path);
    return "";
  } catch (const FileIO::FileException& e) {
    return e.message();
  }
}

class NcdDamage : public test::RandomTest {
 protected:
  const Digits digits_ = test::random_digits(rng_, 1000, 10);
  test::TempFolder folder_;
  const std::string path_ = folder_ / "Pi0.ncd";
};

TEST_F(NcdDamage, OfHeadersHasAMessageForEachKind) {
  using Change = std::function<void(NcdFields&)>;
  const std::string later =
      "This .ncd file is of a later format version.\n"
      "This version of the digit viewer is unable to view this file.";
  const auto numbers = [](std::uint64_t total, std::uint64_t blocksize, std::uint64_t id) {
    return [=](NcdFields& f) { f = fields_of(total, blocksize, id); };
  };
  const auto read = [&](const std::string& bytes) {
    test::put_file(path_, bytes);
    return refusal<BasicNcdFileReader>(path_);
  };
  const std::vector<std::pair<std::string, Change>> cases = {
      {"", [](NcdFields& f) { f.version = "1.0.0"; }},
      {later, [](NcdFields& f) { f.version = "1.2.0"; }},
      {"Unsupported Radix", [](NcdFields& f) { f.base = "8"; }},
      {"Unsupported Radix", [](NcdFields& f) { f.base = "266"; }},
      {"Invalid number behind \"Base:\".", [](NcdFields& f) { f.base = "+10"; }},
      {"Invalid number behind \"TotalDigits:\".",
       [](NcdFields& f) { f.total = "18446744073709551616"; }},
      {"Invalid number behind \"BlockID:\".", [](NcdFields& f) { f.id = "-1"; }},
      {"Invalid number behind \"Blocksize:\".", [](NcdFields& f) { f.blocksize = "100x"; }},
      {"Invalid Digits per File", numbers(1000, 99, 0)},
      {"", numbers(1000, 100, 9)},
      {"This file is out of range.\n", numbers(1000, 100, 10)},
      {"This file is out of range.\n", numbers(~std::uint64_t{0}, std::uint64_t{1} << 62, 5)},
      {"This file is out of range.\n", numbers(0, std::uint64_t{1} << 63, 1)},
      {"", numbers(0, ~std::uint64_t{0}, 0)},
      {"", [](NcdFields& f) { f.first_digits = std::string(500'000, '3'); }},
      {"The end of the header was not found.",
       [](NcdFields& f) { f.first_digits = std::string(kMostNcdHeaderBytes, '3'); }},
      {"", [](NcdFields& f) { f.first_digits = "3. Unknown:\tvalue\nBase 16"; }},
  };
  for (const auto& [message, change] : cases) {
    NcdFields fields = fields_of(1000, 1000, 0);
    change(fields);
    EXPECT_EQ(read(fields.text()), message) << fields.text().substr(0, 300);
  }
  const std::string good = fields_of(1000, 1000, 0).text();
  std::string unix_lines = good;
  std::erase(unix_lines, '\r');
  EXPECT_EQ(read(unix_lines), "");
  EXPECT_EQ(read(""), "No version # found.");
  EXPECT_EQ(read(std::string(100'000, '\0')), "No version # found.");
  EXPECT_EQ(read(good.substr(0, good.size() - 1)), "The end of the header was not found.");
  EXPECT_EQ(read(good.substr(0, 100)), "The end of the header was not found.");
}

TEST_F(NcdDamage, OfWordsIsNoticedWhenTheyAreRead) {
  const std::string good = test::ncd_file(digits_, 10, 1000, 0);
  const std::size_t header = good.size() - 53 * 8;
  const auto message = [&](const std::string& bytes, std::uint64_t from, std::uint64_t count) {
    test::put_file(path_, bytes);
    std::string found[2];
    for (std::string& text : found) try {
        BasicNcdSetReader reader(path_);
        DigitCounts counts(reader.radix());
        Digits read(static_cast<std::size_t>(count));
        if (&text == found)
          reader.load_stats(counts, from, count);
        else
          reader.load_digits(read.data(), from, read.size());
      } catch (const FileIO::FileException& e) {
        text = e.message();
      }
    EXPECT_EQ(found[0], found[1]);
    return found[0];
  };
  EXPECT_EQ(message(good, 0, 1000), "");
  EXPECT_EQ(message(good.substr(0, good.size() - 1), 0, 988), "");
  EXPECT_EQ(message(good.substr(0, good.size() - 1), 0, 989), "Read error.");
  EXPECT_EQ(message(good.substr(0, header), 0, 1), "Read error.");
  EXPECT_EQ(message(good + "more", 0, 1000), "");
  EXPECT_EQ(message(good, 1, 1000), "This digit stream does not have enough digits.");
  EXPECT_EQ(message(good, ~std::uint64_t{0}, 1), "This digit stream does not have enough digits.");
  for (std::size_t word : {0u, 26u, 52u}) {
    std::string wrong = good;
    wrong.replace(header + word * 8, 8, "\x00\x00\xE8\x89\x04\x23\xC7\x8A", 8);  // 10^19
    EXPECT_EQ(message(wrong, word * 19 + 1, 3), "Invalid Digit") << word;
    EXPECT_EQ(message(wrong, word == 0 ? 19 : 0, 300), "") << word;
  }
  // 10^19 digits in a file of one kilobyte.
  const std::string claim =
      fields_of(0, ~std::uint64_t{0}, 0).text() + test::ncd_words(digits_, 0, 1000, 10);
  EXPECT_EQ(message(claim, 0, 1000), "");
  EXPECT_EQ(message(claim, std::uint64_t{1} << 62, 1000), "Read error.");
  EXPECT_EQ(message(claim, ~std::uint64_t{0} - 1, 1), "Read error.");
  NcdFields hex = fields_of(0, ~std::uint64_t{0}, 0);  // whose offsets pass what files can have
  hex.base = "16";
  EXPECT_EQ(message(hex.text(), ~std::uint64_t{0} - 1, 1), "Read error.");
}

TEST_F(NcdDamage, OfASetIsToldByWhatContradicts) {
  using Change = std::function<void(NcdFields&)>;
  const std::vector<std::pair<std::string, Change>> cases = {
      {"File version does not match.", [](NcdFields& f) { f.version = "1.0.0"; }},
      {"Radix does not match.", [](NcdFields& f) { f.base = "16"; }},
      {"Digits per file does not match.", [](NcdFields& f) { f.blocksize = "101"; }},
      {"Total digits does not match.", [](NcdFields& f) { f.total = "999"; }},
      {"File id does not match.", [](NcdFields& f) { f.id = "2"; }},
  };
  test::put_file(path_, test::ncd_file(digits_, 10, 100, 0));
  const std::string other = folder_ / "Pi1.ncd";
  Digits read(2);
  for (const auto& [message, change] : cases) {
    NcdFields fields = fields_of(1000, 100, 1);
    change(fields);
    test::put_file(other, fields.text() + test::ncd_words(digits_, 100, 200, 10));
    try {
      BasicNcdSetReader(path_).load_digits(read.data(), 99, 2);
      ADD_FAILURE() << message;
    } catch (const DigitViewer2::InconsistentMetaData& e) {
      EXPECT_EQ(e.message(), "Inconsistent Metadata: \"" + other + "\"\n" + message);
    }
  }
  const auto named = [&](const std::string& name) {
    test::put_file(folder_ / name, test::ncd_file(digits_, 10, 100, 3));
    return refusal<BasicNcdSetReader>(folder_ / name);
  };
  EXPECT_EQ(named("e3.ncd"), "");
  EXPECT_EQ(named("3.ncd"), "");
  EXPECT_EQ(named("e2.ncd"),
            "Inconsistent Metadata: \"" + (folder_ / "e2.ncd") + "\"\nFile id does not match.");
  EXPECT_EQ(named("e3.txt"), "Invalid Extension");
  EXPECT_THROW(BasicNcdSetReader("ncd"), FileIO::FileException);
  EXPECT_THROW(BasicNcdSetReader(folder_.path() + "/none0.ncd"), FileIO::FileException);
}

}  // namespace
}  // namespace nmp
