// The Linux directory listing: wildcard, regular files only, byte order of
// the UTF-8 name, and modification stamps with their nanoseconds.
#include "host/base/Strings.h"
#include "platform/posix/PosixServices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

TEST(PosixDirectory, ListsMatchingFilesInByteOrderWithNanosecondStamps) {
    const std::filesystem::path dir = std::filesystem::temp_directory_path() / ("qffx-list-" + std::to_string(getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir / "sub.fx");
    for (const char* name : {"b.fx", "B.fx", "a.FX", "\xc3\xa9t\xc3\xa9.fx", "_inc.fx", ".hidden.fx", "notes.txt"})
        std::ofstream(dir / name) << "x";
    const timespec times[2] = {{1700000000, 123456789}, {1700000000, 123456789}};
    ASSERT_EQ(utimensat(AT_FDCWD, (dir / "b.fx").c_str(), times, 0), 0);

    PosixFileService files;
    std::vector<DirectoryEntry> entries;
    ASSERT_TRUE(files.listDirectory(fromUTF8((dir.string() + "/*.fx").c_str()), entries, 1, 0));
    std::vector<std::string> names;
    for (const DirectoryEntry& e : entries) names.push_back(toUTF8(e.name).str());
    EXPECT_THAT(names, ::testing::ElementsAre("B.fx", "_inc.fx", "a.FX", "b.fx", "\xc3\xa9t\xc3\xa9.fx"));
    EXPECT_EQ(entries[3].modified, 1700000000123456789ull);

    std::vector<DirectoryEntry> none;
    EXPECT_FALSE(files.listDirectory(fromUTF8((dir.string() + "/missing/*.fx").c_str()), none, 1, 0));
    EXPECT_TRUE(none.empty());
    std::filesystem::remove_all(dir);
}
