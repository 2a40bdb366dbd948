// Files on a real disk, on every system.
#include "platform/file.h"

#include <gtest/gtest.h>

#include "support/random.h"
#include "support/temp_folder.h"

namespace nmp::platform {
namespace {

/// Through the layer itself: names that are long or not ASCII need its care.
std::string read_all(const std::string& path) {
  File file;
  std::uint64_t bytes = 0;
  std::size_t done = 0;
  EXPECT_EQ(file.open_read(path), 0);
  EXPECT_EQ(file.size(&bytes), 0);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  EXPECT_EQ(file.read_at(text.data(), text.size(), 0, &done), 0);
  EXPECT_EQ(done, text.size());
  return text;
}

TEST(File, AgreesWithAModelUnderRandomWritesAndReads) {
  test::TempFolder folder;
  test::Rng rng = test::Rng::from_environment();
  SCOPED_TRACE(rng.trace());
  test::put_file(folder / "data", std::string(99999, 'o'));  // emptied, not overwritten
  File file;
  bool marked = false;
  ASSERT_EQ(file.create(folder / "data"), 0);
  ASSERT_EQ(file.reserve(5000, &marked), 0);
  std::string model(5000, '\0');
  for (std::size_t rep = 0; rep < test::reps(200); ++rep) {
    const std::size_t offset = rng.below(20000);
    std::string piece(rng.size(9000), static_cast<char>('a' + rng.below(26)));
    if (rng.below(2) == 0) {
      ASSERT_EQ(file.write_at(piece.data(), piece.size(), offset), 0);
      if (model.size() < offset + piece.size()) model.resize(offset + piece.size());
      model.replace(offset, piece.size(), piece);
    }
    std::size_t done = 0;
    ASSERT_EQ(file.read_at(piece.data(), piece.size(), offset, &done), 0);
    const std::string expected = offset < model.size() ? model.substr(offset, piece.size()) : "";
    ASSERT_EQ(piece.substr(0, done), expected) << offset;
  }
  EXPECT_EQ(file.flush(), 0);
  File moved = std::move(file);
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(read_all(folder / "data"), model);

  const std::uint64_t past_32_bits = (std::uint64_t{5} << 30) + 3;
  ASSERT_EQ(moved.write_at("end", 3, past_32_bits), 0);
  char text[8] = {};
  std::size_t done = 0;
  EXPECT_EQ(moved.read_at(text, 8, past_32_bits, &done), 0);
  EXPECT_EQ(std::string(text, done), "end");
  EXPECT_NE(moved.write_at("x", 1, ~std::uint64_t{0}), 0);
  EXPECT_EQ(moved.close(), 0);
}

TEST(File, FailuresAreErrorsAndLeaveNothingOpen) {
  test::TempFolder folder;
  test::put_file(folder / "a", "not meant by a name that goes on");
  File file;
  const auto expect_failure = [&](ErrorCode error, const std::string& path) {
    EXPECT_NE(error, 0) << path;
    EXPECT_FALSE(error_may_pass(error)) << path << ": " << error_text(error);
    EXPECT_FALSE(error_text(error).empty());
    EXPECT_FALSE(file.is_open());
  };
  for (const std::string& path :
       {folder.path(), folder / "no/such/folder", std::string(), folder / std::string("a\0b", 3)}) {
    expect_failure(file.open_read(path), path);
    expect_failure(file.create(path), path);
  }
  expect_failure(file.open_read(folder / "missing"), "missing");
  EXPECT_EQ(test::names_in(folder.path()).size(), 1u);
}

TEST(File, FoldersAreMadeWithTheirParentsAndFilesReplaceOnlyFiles) {
  test::TempFolder folder;
  std::string deep = folder / "\xcf\x80";  // not ASCII, and longer than old systems take
  for (int i = 0; i < 8; ++i) deep += "/" + std::string(50, static_cast<char>('a' + i));
  EXPECT_EQ(create_folders(deep + "//"), 0);
  EXPECT_EQ(create_folders(deep), 0);
  EXPECT_TRUE(is_folder(deep));
  EXPECT_FALSE(file_exists(deep));
  EXPECT_EQ(create_folders(""), 0);

  const std::string old = folder / "old", replaced = deep + "/new";
  test::put_file(old, "old");
  File file;
  ASSERT_EQ(file.create(replaced), 0);
  ASSERT_EQ(file.write_at("new", 3, 0), 0);
  file.close();
  EXPECT_EQ(rename_replacing(replaced, old), 0);
  EXPECT_FALSE(file_exists(replaced));
  EXPECT_NE(rename_replacing(old, deep), 0);
  EXPECT_NE(rename_replacing(folder / "missing", old), 0);
  EXPECT_EQ(read_all(old), "new");
  EXPECT_NE(create_folders(old), 0);
  EXPECT_NE(create_folders(old + "/below"), 0);
  EXPECT_NE(remove_file(deep), 0);
  EXPECT_EQ(remove_file(old), 0);
  EXPECT_NE(remove_file(old), 0);
}

}  // namespace
}  // namespace nmp::platform
