// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/Progress.h"

#include "checks/Scanner.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

/// Every call a piece of work made to its progress callback.
struct Recorder
{
    std::vector<Progress> calls;

    ProgressCallback callback()
    {
        return [this](const Progress& progress) { calls.push_back(progress); };
    }

    /// The stages in the order they came, each once; checks that every call gives a fraction,
    /// that fractions never go back, and that the last is 1.
    std::vector<std::string> stages() const
    {
        std::vector<std::string> names;
        double last = 0;
        for (const Progress& progress : calls) {
            if (names.empty() || names.back() != progress.stage)
                names.push_back(progress.stage);
            EXPECT_TRUE(progress.fraction) << progress.stage;
            const double fraction = progress.fraction.value_or(last);
            EXPECT_GE(fraction, last) << progress.stage;
            EXPECT_LE(fraction, 1.0) << progress.stage;
            last = fraction;
        }
        EXPECT_FALSE(calls.empty());
        EXPECT_EQ(last, 1.0);
        return names;
    }
};

const std::string treeText = SampleTree::syntheticText(3000, 5);

} // namespace

TEST(ProgressTest, ReadingGoesByTheBytesAFewTimes)
{
    const GedcomDocument plain = GedcomReader::read(treeText);
    Recorder recorder;
    const GedcomDocument document = GedcomReader::read(treeText, recorder.callback());
    EXPECT_EQ(recorder.stages(), std::vector<std::string>{"Reading the file\u2026"});
    // About once a percent, not once a line.
    EXPECT_GT(recorder.calls.size(), 50u);
    EXPECT_LE(recorder.calls.size(), 110u);
    EXPECT_EQ(document.nextID, plain.nextID);

    Recorder empty;
    (void)GedcomReader::read("", empty.callback());
    EXPECT_EQ(empty.stages(), std::vector<std::string>{"Reading the file\u2026"});
}

TEST(ProgressTest, ScanningNamesEachStageOnce)
{
    const GedcomDocument document = GedcomReader::read(treeText);
    const ScanResult plain = Scanner::scan(document);
    // Two threads name the stages as the calling thread reaches them; one thread indexes and
    // looks for duplicates first.
    struct Case
    {
        unsigned threads;
        std::vector<std::string> stages;
    };
    const Case cases[] = {
        {0,
         {"Checking the file\u2026", "Checking how dates are written\u2026", "Checking place names\u2026",
          "Indexing people and families\u2026", "Looking for impossible dates\u2026",
          "Looking for missing details\u2026", "Checking links between records\u2026",
          "Looking for duplicates\u2026"}},
        {1,
         {"Indexing people and families\u2026", "Looking for duplicates\u2026", "Checking the file\u2026",
          "Checking how dates are written\u2026", "Checking place names\u2026",
          "Looking for impossible dates\u2026", "Looking for missing details\u2026",
          "Checking links between records\u2026"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.threads);
        Recorder recorder;
        EXPECT_EQ(Scanner::scan(document, {}, c.threads, recorder.callback()), plain);
        EXPECT_EQ(recorder.stages(), c.stages);
        EXPECT_EQ(recorder.calls.front().fraction, 0.0);
    }
}

TEST(ProgressTest, WritingGoesByTheRecords)
{
    // UTF-8 is written straight; ASCII is rendered and converted; a character ASCII lacks makes
    // the writer render a second time, in UTF-8.
    const GedcomDocument utf8 = GedcomReader::read(treeText);
    const GedcomDocument ascii =
        GedcomReader::read("0 HEAD\n1 CHAR ASCII\n0 @I1@ INDI\n1 NAME Rene /Smith/\n0 TRLR\n");
    GedcomDocument fallback = ascii;
    ASSERT_TRUE(fallback.update(4, [](GedcomNode& name) { name.setValue("Ren\u00E9 /Smith/"); }));
    for (const GedcomDocument* document :
         std::initializer_list<const GedcomDocument*>{&utf8, &ascii, &fallback}) {
        Recorder recorder;
        EXPECT_EQ(GedcomWriter::write(*document, recorder.callback()), GedcomWriter::write(*document));
        EXPECT_EQ(recorder.stages(), std::vector<std::string>{"Writing the cleaned copy\u2026"});
        EXPECT_LE(recorder.calls.size(), 210u);
    }
}
