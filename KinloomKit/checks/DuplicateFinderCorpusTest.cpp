// The duplicate finder over every real file of the corpus folder (../shared/corpus or
// KINLOOM_CORPUS; without it the test skips itself): no pair it reports rests on a placeholder
// name ("LIVING", "Son_1", "Twin-Boy_2"), and a parish tree exported with its living people
// hidden is not buried in pairs of them.
#include "checks/DuplicateFinder.h"
#include "checks/NameWords.h"
#include "document/Files.h"
#include "document/GedcomReader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using namespace kinloom;

namespace {

std::filesystem::path corpusFolder()
{
    if (const char* folder = std::getenv("KINLOOM_CORPUS"))
        return folder;
    return KINLOOM_CORPUS_DEFAULT;
}

TEST(DuplicateFinderCorpus, NoPlaceholderIsMatched)
{
    const std::filesystem::path folder = corpusFolder();
    if (!std::filesystem::is_directory(folder))
        GTEST_SKIP() << "no corpus at " << folder;
    std::size_t files = 0;
    for (const auto& item : std::filesystem::directory_iterator(folder)) {
        const std::string extension = item.path().extension().string();
        if (extension != ".ged" && extension != ".GED")
            continue;
        SCOPED_TRACE(item.path().filename().string());
        std::string error;
        const std::optional<std::string> bytes = Files::readFile(item.path().string(), error);
        ASSERT_TRUE(bytes) << error;
        const GedcomDocument document = GedcomReader::read(*bytes);
        const TreeIndex index = TreeIndex::build(document);
        const std::vector<DuplicateMatch> matches = DuplicateFinder::find(index, 0.65);
        for (const DuplicateMatch& match : matches) {
            for (const std::string& xref : {match.keep, match.remove}) {
                const Person* person = index.person(xref);
                ASSERT_NE(person, nullptr);
                EXPECT_FALSE(NameWords::isPlaceholderName(person->names.front().given))
                    << xref << " " << displayName(*person);
            }
        }
        if (item.path().filename() == "5.5.1 sample 3.ged") {
            EXPECT_LE(matches.size(), 150u);
        }
        ++files;
    }
    EXPECT_GT(files, 0u);
}

} // namespace
