#include "foundation/file_io.h"

#include <gtest/gtest.h>

#include "foundation/exceptions.h"
#include "support/temp_folder.h"
#if __has_include(<sys/wait.h>)
#include "support/child.h"
#endif

namespace nmp::FileIO {
namespace {

/// The exception that `call` throws; a failed test where it throws none.
template <typename Call>
FileException failure_of(Call call) {
  try {
    call();
  } catch (const FileException& failure) {
    return failure;
  }
  ADD_FAILURE() << "no FileException";
  return {};
}

TEST(FileIO, EveryFailureNamesThePathAndTheCause) {
  test::TempFolder folder;
  const std::string path = folder / "no/file";
  for (const FileException& failure : {failure_of([&] { CheckedFile::open_read(path); }),
                                       failure_of([&] { CheckedFile::create(path); }),
                                       failure_of([&] { write_text_file(path, "x"); }),
                                       failure_of([&] { rename_replacing(folder / "x", path); })}) {
    EXPECT_TRUE(failure.path().starts_with(folder / "no/file")) << failure.report();
    EXPECT_NE(failure.error_code(), 0);
    EXPECT_NE(failure.report().find(platform::error_text(failure.error_code())), std::string::npos);
  }

  CheckedFile file = CheckedFile::create(folder / "file");
  file.write_at("0123456789", 10, 0);
  char buffer[10];
  EXPECT_EQ(file.read_at(buffer, 10, 4), 6u);
  const FileException incomplete = failure_of([&] { file.read_exact(buffer, 10, 1); });
  EXPECT_EQ(incomplete.message(), "Incomplete read.");
  EXPECT_EQ(incomplete.path(), folder / "file");
  CheckedFile reader = CheckedFile::open_read(folder / "file");
  EXPECT_NE(failure_of([&] { reader.write_at("x", 1, 0); }).error_code(), 0);
  EXPECT_NE(failure_of([&] { file.reserve(std::uint64_t{1} << 61); }).error_code(), 0);
}

TEST(FileIO, ATextFileIsOldOrNewAndNothingElseStays) {
  test::TempFolder folder;
  write_text_file(folder / "report.txt", "old");
  write_text_file(folder / "report.txt", "new text\r\n");
  EXPECT_EQ(test::contents(folder / "report.txt"), "new text\r\n");
  EXPECT_EQ(test::names_in(folder.path()).size(), 1u);
  // The renaming is the step that fails here; what had been written goes.
  platform::create_folders(folder / "taken.txt");
  failure_of([&] { write_text_file(folder / "taken.txt", "text"); });
  EXPECT_TRUE(platform::is_folder(folder / "taken.txt"));
  EXPECT_EQ(test::names_in(folder.path()).size(), 2u);
}

TEST(FileIO, IncompleteNamesKeepFolderAndExtension) {
  EXPECT_EQ(incomplete_name("a.b/c.txt"), "a.b/c (incomplete).txt");
  EXPECT_EQ(incomplete_name("a.b\\c"), "a.b\\c (incomplete)");
  EXPECT_EQ(incomplete_name(".hidden"), ".hidden (incomplete)");
}

#if __has_include(<sys/wait.h>)
// A program that runs cannot be overwritten: a failure that passes when the program ends.
TEST(FileIO, FailuresThatMayPassAreRetried) {
  for (const bool passes : {true, false}) {
    test::TempFolder folder;
    std::filesystem::copy_file("/bin/sleep", folder / "busy");
    test::Child program([&] {
      return ::execl((folder / "busy").c_str(), "sleep", passes ? "0.3" : "10", nullptr);
    });
    ::usleep(100'000);  // until it has been started
    test::Child child([&] {
      try {
        create_with_retry(folder / "busy", {3, passes ? 400 : 1}).write_at("x", 1, 0);
        return 0;
      } catch (const FileException& failure) {
        return failure.error_code() == ETXTBSY ? 1 : 2;
      }
    });
    const test::ChildResult result = child.finish();
    EXPECT_EQ(result.exit_code, passes ? 0 : 1);
    EXPECT_TRUE(result.output.starts_with("Unable to create file.\n"));
    EXPECT_NE(result.output.find("Re-attempting...\n"), std::string::npos);
  }
}

#endif

}  // namespace
}  // namespace nmp::FileIO
