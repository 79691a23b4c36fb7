// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/Files.h"

#include "document/SaveError.h"

#include <gtest/gtest.h>

#include <fstream>
#include <latch>
#include <set>
#include <thread>
#include <unistd.h>

using namespace kinloom;

namespace {

class FilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_folder =
            std::filesystem::temp_directory_path() / ("kinloom-files-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override
    {
        std::filesystem::permissions(m_folder, std::filesystem::perms::owner_all);
        std::filesystem::remove_all(m_folder);
    }

    std::string contents(const std::filesystem::path& path)
    {
        std::string error;
        return Files::readFile(path.string(), error).value_or("<unreadable>");
    }

    /// Everything in the folder, so a test can see that nothing stray was left.
    std::vector<std::string> listing()
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path m_folder;
};

} // namespace

TEST_F(FilesTest, SaveErrorTexts)
{
    EXPECT_EQ(SaveError{SaveError::Exists{"Smith (tidied).ged"}}.description(),
              "\u201CSmith (tidied).ged\u201D already exists. Choose a new name: the original and other "
              "files are never "
              "overwritten.");
    EXPECT_EQ(SaveError{SaveError::SameAsOriginal{}}.description(),
              "That\u2019s the file you opened. Choose a new name: the original is never changed.");
    EXPECT_NE(SaveError{SaveError::Exists{"a"}}, SaveError{SaveError::Exists{"b"}});
}

TEST_F(FilesTest, NumberedNamesCountFromTwo)
{
    std::string error;
    EXPECT_EQ(Files::writeNewNumberedFile(m_folder, "Smith (tidied)", "ged", "1", error),
              m_folder / "Smith (tidied).ged");
    EXPECT_EQ(Files::writeNewNumberedFile(m_folder, "Smith (tidied)", "ged", "2", error),
              m_folder / "Smith (tidied) 2.ged");
    // A dangling link takes its name too, and is left alone.
    std::filesystem::create_symlink(m_folder / "nowhere", m_folder / "Smith (tidied) 3.ged");
    EXPECT_EQ(Files::writeNewNumberedFile(m_folder, "Smith (tidied)", "ged", "4", error),
              m_folder / "Smith (tidied) 4.ged");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "nowhere"));
    EXPECT_EQ(contents(m_folder / "Smith (tidied).ged"), "1");
    EXPECT_EQ(contents(m_folder / "Smith (tidied) 4.ged"), "4");
    EXPECT_EQ(listing().size(), 4u);

    EXPECT_EQ(Files::baseName("Smith.family.ged"), "Smith.family");
    EXPECT_EQ(Files::baseName("Smith"), "Smith");
    EXPECT_EQ(Files::fileName("/a/b/Smith.ged"), "Smith.ged");
}

TEST_F(FilesTest, NumberedWritesAtTheSameMomentTakeDistinctNames)
{
    ASSERT_EQ(Files::writeNewFile((m_folder / "Smith (tidied) 3.ged").string(), "taken"), std::nullopt);
    constexpr int writers = 16;
    std::vector<std::string> bytes(writers);
    std::vector<std::optional<std::filesystem::path>> written(writers);
    std::vector<std::string> errors(writers);
    std::latch start(writers);
    std::vector<std::thread> threads;
    for (int i = 0; i < writers; ++i) {
        bytes[i] = std::string(std::size_t{1} << 18, static_cast<char>('a' + i));
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            written[i] = Files::writeNewNumberedFile(m_folder, "Smith (tidied)", "ged", bytes[i], errors[i]);
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    std::set<std::filesystem::path> names;
    for (int i = 0; i < writers; ++i) {
        ASSERT_TRUE(written[i]) << errors[i];
        names.insert(*written[i]);
        EXPECT_TRUE(contents(*written[i]) == bytes[i]) << *written[i];
    }
    std::set<std::filesystem::path> expected = {m_folder / "Smith (tidied).ged",
                                                m_folder / "Smith (tidied) 2.ged"};
    for (int n = 4; n <= writers + 1; ++n)
        expected.insert(m_folder / ("Smith (tidied) " + std::to_string(n) + ".ged"));
    EXPECT_EQ(names, expected);
    EXPECT_EQ(contents(m_folder / "Smith (tidied) 3.ged"), "taken");
    EXPECT_EQ(listing().size(), std::size_t{writers} + 1);
}

TEST_F(FilesTest, SameFileThroughLinksAndDots)
{
    const auto original = m_folder / "Smith.ged";
    ASSERT_EQ(Files::writeNewFile(original.string(), "0 HEAD\n"), std::nullopt);
    std::filesystem::create_symlink(original, m_folder / "link.ged");
    std::filesystem::create_directory_symlink(m_folder, m_folder / "here");
    EXPECT_TRUE(Files::isSameFile(m_folder / "link.ged", original));
    EXPECT_TRUE(Files::isSameFile(m_folder / "here" / "." / "Smith.ged", original));
    EXPECT_FALSE(Files::isSameFile(m_folder / "Smith (tidied).ged", original));
}

TEST_F(FilesTest, WritingNeverReplacesAFile)
{
    const auto path = m_folder / "Smith.ged";
    ASSERT_EQ(Files::writeNewFile(path.string(), "original"), std::nullopt);
    EXPECT_EQ(Files::writeNewFile(path.string(), "new"),
              SaveError{SaveError::Exists{"Smith.ged"}}.description());
    EXPECT_EQ(contents(path), "original");

    // Also not through a link, nor a dangling link's target.
    std::filesystem::create_symlink(path, m_folder / "link.ged");
    EXPECT_NE(Files::writeNewFile((m_folder / "link.ged").string(), "new"), std::nullopt);
    std::filesystem::create_symlink(m_folder / "target.ged", m_folder / "dangling.ged");
    EXPECT_NE(Files::writeNewFile((m_folder / "dangling.ged").string(), "new"), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "target.ged"));
    EXPECT_EQ(contents(path), "original");
    EXPECT_EQ(listing(), (std::vector<std::string>{"Smith.ged", "dangling.ged", "link.ged"}));
}

TEST_F(FilesTest, FailuresSayWhereAndLeaveNothingBehind)
{
    const std::filesystem::path missing = m_folder / "missing";
    EXPECT_EQ(Files::writeNewFile((missing / "x.ged").string(), "x"),
              "Couldn\u2019t save \u201Cx.ged\u201D in \u201C" + missing.string() +
                  "\u201D: the folder doesn\u2019t exist.");
    std::string error;
    EXPECT_EQ(Files::writeNewNumberedFile(missing, "x", "ged", "x", error), std::nullopt);
    EXPECT_EQ(error, "Couldn\u2019t save \u201Cx.ged\u201D in \u201C" + missing.string() +
                         "\u201D: the folder doesn\u2019t exist.");
    if (geteuid() != 0) {
        std::filesystem::permissions(m_folder,
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        EXPECT_EQ(Files::writeNewFile((m_folder / "x.ged").string(), "x"),
                  "Couldn\u2019t save \u201Cx.ged\u201D in \u201C" + m_folder.string() +
                      "\u201D: you don\u2019t have permission to write there.");
        std::filesystem::permissions(m_folder, std::filesystem::perms::owner_all);
    }
    EXPECT_TRUE(listing().empty());

    EXPECT_EQ(Files::readFile((m_folder / "none.ged").string(), error), std::nullopt);
    EXPECT_EQ(error, "No such file or directory");
}

TEST_F(FilesTest, FilesLargerThanMemoryAreRefusedUnread)
{
    // A sparse file as large as all the memory there is: refusing it reads none of it.
    const auto path = m_folder / "huge.ged";
    ASSERT_EQ(Files::writeNewFile(path.string(), ""), std::nullopt);
    std::filesystem::resize_file(path, Files::availableMemory() + 1);
    std::string error;
    EXPECT_EQ(Files::readFile(path.string(), error), std::nullopt);
    EXPECT_EQ(error, "The file is too large to work on in this computer\u2019s memory");
}

TEST_F(FilesTest, LargeFilesReadWhole)
{
    // Large files take another path through the page cache; their bytes must be the same.
    std::string bytes(40u << 20, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7 + (i >> 13));
    const auto path = m_folder / "large.ged";
    ASSERT_EQ(Files::writeNewFile(path.string(), bytes), std::nullopt);
    std::string error;
    const auto read = Files::readFile(path.string(), error);
    ASSERT_TRUE(read);
    EXPECT_TRUE(*read == bytes);
}
