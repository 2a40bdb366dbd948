// Files on a real disk, on every system.
#include "platform/file.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/random.h"
#include "support/temp_folder.h"

namespace nmp::platform {
namespace {

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
  File file;
  ASSERT_EQ(file.create(folder / "data"), 0);
  std::string model;
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
  EXPECT_EQ(moved.close(), 0);
  EXPECT_EQ(read_all(folder / "data"), model);
}

TEST(File, OffsetsPast32Bits) {
  test::TempFolder folder;
  File file;
  ASSERT_EQ(file.create(folder / "sparse"), 0);
  const std::uint64_t far = (std::uint64_t{5} << 30) + 3;
  ASSERT_EQ(file.write_at("end", 3, far), 0);
  ASSERT_EQ(file.write_at("start", 5, 0), 0);
  std::uint64_t bytes = 0;
  EXPECT_EQ(file.size(&bytes), 0);
  EXPECT_EQ(bytes, far + 3);
  char text[8] = {};
  std::size_t done = 0;
  EXPECT_EQ(file.read_at(text, 8, far, &done), 0);
  EXPECT_EQ(std::string(text, done), "end");
  EXPECT_NE(file.write_at("x", 1, ~std::uint64_t{0}), 0);
  EXPECT_NE(file.set_size(~std::uint64_t{0}), 0);
}

TEST(File, ReserveGivesTheSizeAndKeepsTheContent) {
  test::TempFolder folder;
  File file;
  ASSERT_EQ(file.create(folder / "reserved"), 0);
  ASSERT_EQ(file.write_at("3.", 2, 0), 0);
  bool marked = false;
  ASSERT_EQ(file.reserve(100'000, &marked), 0);
  ASSERT_EQ(file.write_at("9", 1, 99'999), 0);
  file.close();
  const std::string text = read_all(folder / "reserved");
  ASSERT_EQ(text.size(), 100'000u);
  EXPECT_EQ(text.substr(0, 2), "3.");
  EXPECT_EQ(text.back(), '9');

  std::uint64_t bytes = 1;
  ASSERT_EQ(file.create(folder / "reserved"), 0);  // emptied, not overwritten
  EXPECT_EQ(file.size(&bytes), 0);
  EXPECT_EQ(bytes, 0u);
  EXPECT_EQ(file.reserve(0, &marked), 0);
  EXPECT_NE(file.reserve(std::uint64_t{1} << 61, &marked), 0);  // no disk is that large
  EXPECT_FALSE(marked);
  file.close();
  EXPECT_EQ(read_all(folder / "reserved"), "");
}

TEST(File, FailuresAreErrorsAndLeaveNothingOpen) {
  test::TempFolder folder;
  test::put_file(folder / "a", "not meant by a name that goes on");
  File file;
  for (const std::string& path : {folder.path(), folder / "missing", folder / "no/such/folder",
                                  std::string(), folder / std::string("a\0b", 3)}) {
    const ErrorCode error = file.open_read(path);
    EXPECT_NE(error, 0) << path;
    EXPECT_FALSE(error_may_pass(error)) << path << ": " << error_text(error);
    EXPECT_FALSE(error_text(error).empty());
    EXPECT_FALSE(file.is_open());
  }
  for (const std::string& path : {folder.path(), folder / "no/such/folder", std::string()}) {
    const ErrorCode error = file.create(path);
    EXPECT_NE(error, 0) << path;
    EXPECT_FALSE(error_may_pass(error)) << path << ": " << error_text(error);
    EXPECT_FALSE(file.is_open());
  }
  EXPECT_EQ(folder.entries(), 1u);
  EXPECT_EQ(error_text(0), "");
}

TEST(File, RenamingReplacesFilesButNothingElse) {
  test::TempFolder folder;
  const std::string target = folder / "\xcf\x80 - Dec.txt";  // a name that is not ASCII
  test::put_file(folder / "new", "new");
  File old;
  ASSERT_EQ(old.create(target), 0);
  ASSERT_EQ(old.write_at("old", 3, 0), 0);
  old.close();
  EXPECT_EQ(rename_replacing(folder / "new", target), 0);
  EXPECT_EQ(read_all(target), "new");
  EXPECT_FALSE(file_exists(folder / "new"));

  ASSERT_EQ(create_folders(folder / "folder"), 0);
  EXPECT_NE(rename_replacing(target, folder / "folder"), 0);
  EXPECT_NE(rename_replacing(folder / "missing", target), 0);
  EXPECT_EQ(read_all(target), "new");
  EXPECT_NE(remove_file(folder / "folder"), 0);
  EXPECT_EQ(remove_file(target), 0);
  EXPECT_NE(remove_file(target), 0);
}

TEST(File, CreatesFoldersWithTheirParents) {
  test::TempFolder folder;
  EXPECT_EQ(create_folders(folder / "a/b//c/"), 0);
  EXPECT_TRUE(is_folder(folder / "a/b/c"));
  EXPECT_FALSE(file_exists(folder / "a/b/c"));
  EXPECT_EQ(create_folders(folder / "a/b/c"), 0);
  EXPECT_EQ(create_folders(""), 0);
  test::put_file(folder / "file", "");
  EXPECT_FALSE(is_folder(folder / "file"));
  EXPECT_NE(create_folders(folder / "file"), 0);
  EXPECT_NE(create_folders(folder / "file/below"), 0);
}

TEST(File, LongPathsWork) {
  test::TempFolder folder;
  std::string path = folder.path();
  for (int i = 0; i < 8; ++i) path += "/" + std::string(50, static_cast<char>('a' + i));
  ASSERT_EQ(create_folders(path), 0);
  File file;
  ASSERT_EQ(file.create(path + "/file"), 0);
  ASSERT_EQ(file.write_at("x", 1, 0), 0);
  file.close();
  EXPECT_EQ(read_all(path + "/file"), "x");
  ASSERT_EQ(rename_replacing(path + "/file", folder / "short"), 0);
  EXPECT_TRUE(file_exists(folder / "short"));
}

}  // namespace
}  // namespace nmp::platform
