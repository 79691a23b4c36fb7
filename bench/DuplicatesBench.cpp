// SPDX-License-Identifier: GPL-3.0-or-later
// The duplicate finder on synthetic trees: time, pairs scored, and how many of the planted
// duplicate pairs it finds at the default threshold, with why it misses the others. Then on
// crowds of look-alikes, each in a process of its own so that its peak memory is its own: time,
// peak memory, matches, and how many people are left once every match is merged.
#include "Measure.h"

#include "changes/Merger.h"
#include "checks/DuplicateFinder.h"
#include "document/GedcomReader.h"
#include "family/TreeIndex.h"
#include "sample/SampleTree.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace kinloom;
using namespace kinloom::bench;

namespace {

constexpr double defaultThreshold = 0.65;

std::string_view verdictName(DuplicateFinder::detail::Verdict verdict)
{
    using DuplicateFinder::detail::Verdict;
    switch (verdict) {
    case Verdict::match:
        return "scored below the threshold";
    case Verdict::differentSex:
        return "ruled out: different sex";
    case Verdict::siblings:
        return "ruled out: children of one family told apart";
    case Verdict::relatives:
        return "ruled out: relatives";
    case Verdict::givenNames:
        return "ruled out: given names too different";
    case Verdict::surnames:
        return "ruled out: surnames and their codes differ";
    case Verdict::births:
        return "ruled out: births two or more years apart";
    case Verdict::deaths:
        return "ruled out: deaths two or more years apart";
    case Verdict::diedBeforeBorn:
        return "ruled out: one died before the other was born";
    case Verdict::littleEvidence:
        return "ruled out: too little evidence beyond the names";
    }
    return "";
}

void run(std::size_t people)
{
    const SampleTree::SyntheticTree tree = SampleTree::syntheticTree(people, 1, true);
    const GedcomDocument document = GedcomReader::read(tree.text);
    const TreeIndex index = TreeIndex::build(document);

    DuplicateFinder::detail::Statistics statistics;
    const auto start = Clock::now();
    const std::vector<DuplicateMatch> matches =
        DuplicateFinder::detail::find(index, defaultThreshold, 0, &statistics);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    std::set<std::pair<std::string, std::string>> reported;
    for (const DuplicateMatch& match : matches)
        reported.insert(std::minmax(match.keep, match.remove));
    std::size_t found = 0;
    std::set<std::pair<std::string, std::string>> planted;
    std::map<std::string, std::pair<std::size_t, std::size_t>> byVariation; // found, planted
    for (const auto& pair : tree.duplicates) {
        planted.insert(std::minmax(pair.original, pair.copy));
        const bool isFound = reported.contains(std::minmax(pair.original, pair.copy));
        found += isFound;
        auto& [variationFound, variationPlanted] = byVariation[pair.variation];
        variationFound += isFound;
        ++variationPlanted;
    }
    // The reported pairs that were not planted, by the kinds of their reasons (the values in
    // brackets left out): the people the rules cannot tell apart.
    std::size_t unplanted = 0;
    std::map<std::string, std::size_t> kinds;
    for (const DuplicateMatch& match : matches) {
        if (planted.contains(std::minmax(match.keep, match.remove)))
            continue;
        ++unplanted;
        std::string kind;
        for (const std::string& reason : match.reasons)
            kind += (kind.empty() ? "" : "; ") + reason.substr(0, reason.find(" ("));
        ++kinds[kind];
    }
    std::vector<std::pair<std::size_t, std::string>> commonKinds;
    for (const auto& [kind, count] : kinds)
        commonKinds.emplace_back(count, kind);
    std::sort(commonKinds.rbegin(), commonKinds.rend());

    std::printf("%zu people: %.3f s, %zu candidates in %zu blocks (largest %zu; %zu pairs inside blocks), "
                "%zu pairs scored, %zu matches\n",
                people, seconds, statistics.candidates, statistics.blocks, statistics.largestBlock,
                statistics.pairsInBlocks, statistics.pairsScored, matches.size());
    const double recall = tree.duplicates.empty()
                              ? 1.0
                              : static_cast<double>(found) / static_cast<double>(tree.duplicates.size());
    std::printf("  planted pairs found %zu of %zu (recall %.3f), reported pairs not planted %zu\n", found,
                tree.duplicates.size(), recall, unplanted);
    for (const auto& [variation, counts] : byVariation)
        std::printf("    %-45s %5zu of %5zu (recall %.3f)\n", variation.c_str(), counts.first, counts.second,
                    static_cast<double>(counts.first) / static_cast<double>(counts.second));
    for (std::size_t i = 0; i < commonKinds.size() && i < 4; ++i)
        std::printf("    not planted: %zu with %s\n", commonKinds[i].first, commonKinds[i].second.c_str());

    // Why each missed pair is missed, by the rule that decided it.
    const auto candidates = DuplicateFinder::Candidates::build(index);
    constexpr std::size_t verdicts =
        static_cast<std::size_t>(DuplicateFinder::detail::Verdict::littleEvidence) + 1;
    std::array<std::size_t, verdicts> misses{};
    std::size_t notCandidates = 0;
    std::array<std::vector<std::string>, verdicts> examples;
    for (const auto& pair : tree.duplicates) {
        if (reported.contains(std::minmax(pair.original, pair.copy)))
            continue;
        const auto* a = candidates.find(pair.original);
        const auto* b = candidates.find(pair.copy);
        if (!a || !b) {
            ++notCandidates;
            continue;
        }
        const auto comparison = DuplicateFinder::detail::compare(*a, *b);
        const auto verdict = static_cast<std::size_t>(comparison.verdict);
        ++misses[verdict];
        if (examples[verdict].size() < 3) {
            std::string example = pair.original + " " + displayName(*a->person) + " / " + pair.copy + " " +
                                  displayName(*b->person);
            if (comparison.verdict == DuplicateFinder::detail::Verdict::match) {
                std::array<char, 16> score{};
                std::snprintf(score.data(), score.size(), " (%.2f)", comparison.match.score);
                example += score.data();
            }
            examples[verdict].push_back(example);
        }
    }
    if (notCandidates > 0)
        std::printf("  missed, not a candidate (no given name): %zu\n", notCandidates);
    for (std::size_t v = 0; v < misses.size(); ++v) {
        if (misses[v] == 0)
            continue;
        std::printf("  missed, %s: %zu\n",
                    verdictName(static_cast<DuplicateFinder::detail::Verdict>(v)).data(), misses[v]);
        for (const std::string& example : examples[v])
            std::printf("    e.g. %s\n", example.c_str());
    }
}

// ---- crowds ----

std::string header()
{
    return "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n";
}

/// A tree imported many times over: 20,000 records of one man born in 1850.
std::string datedCrowd()
{
    std::string text = header();
    for (int i = 1; i <= 20'000; ++i)
        text += "0 @I" + std::to_string(i) + "@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1850\n";
    return text + "0 TRLR\n";
}

/// 20,000 records of one woman with nothing but her name.
std::string undatedCrowd()
{
    std::string text = header();
    for (int i = 1; i <= 20'000; ++i)
        text += "0 @I" + std::to_string(i) + "@ INDI\n1 NAME Mary /Smith/\n1 SEX F\n";
    return text + "0 TRLR\n";
}

/// One family of 3,000 sons of one name, born over twenty years.
std::string familyCrowd()
{
    std::mt19937 random(1);
    const char* months[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                            "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
    std::string text = header() + "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n";
    for (int i = 3; i < 3'003; ++i)
        text += "1 CHIL @I" + std::to_string(i) + "@\n";
    text += "0 @I1@ INDI\n1 NAME Thomas /Smith/\n1 SEX M\n1 FAMS @F1@\n";
    text += "0 @I2@ INDI\n1 NAME Ann /Brown/\n1 SEX F\n1 FAMS @F1@\n";
    for (int i = 3; i < 3'003; ++i)
        text += "0 @I" + std::to_string(i) + "@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE " +
                std::to_string(1 + random() % 28) + " " + months[random() % 12] + " " +
                std::to_string(1850 + random() % 20) + "\n1 FAMC @F1@\n";
    return text + "0 TRLR\n";
}

/// 10,000 men with a given name each of their own ("Person1" … "Person10000") and no dates, under
/// surnames of one Soundex code: one block of thousands of first names.
std::string manyFirstNames()
{
    std::string text = header();
    for (int i = 1; i <= 10'000; ++i)
        text += "0 @I" + std::to_string(i) + "@ INDI\n1 NAME Person" + std::to_string(i) + " /Surname" +
                std::to_string(i % 997) + "/\n1 SEX M\n";
    return text + "0 TRLR\n";
}

void crowd(const char* name, std::string (*make)())
{
    GedcomDocument document = GedcomReader::read(make());
    const TreeIndex index = TreeIndex::build(document);
    const auto start = Clock::now();
    const std::vector<DuplicateMatch> matches = DuplicateFinder::find(index, defaultThreshold);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const double peak = peakMegabytes();
    const std::size_t people = index.people.size();

    std::vector<std::pair<std::string, std::string>> pairs;
    for (const DuplicateMatch& match : matches)
        pairs.emplace_back(match.keep, match.remove);
    (void)Merger::merge(pairs, document);
    const std::size_t left = TreeIndex::build(document).people.size();
    std::printf("%s: %.3f s, peak %.0f MB, %zu matches; merging them all leaves %zu of %zu people\n", name,
                seconds, peak, matches.size(), left, people);
}

/// Runs each crowd in a child process, so that each peak is its own.
void crowds()
{
    const std::pair<const char*, std::string (*)()> list[] = {
        {"20,000 \u201cJohn Smith\u201d born 1850", datedCrowd},
        {"20,000 undated \u201cMary Smith\u201d", undatedCrowd},
        {"one family of 3,000 sons \u201cJohn Smith\u201d", familyCrowd},
        {"10,000 first names in one surname code", manyFirstNames},
    };
    for (const auto& [name, make] : list) {
        std::fflush(stdout);
        const pid_t pid = fork();
        if (pid == 0) {
            crowd(name, make);
            std::fflush(stdout);
            _exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
    }
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::size_t> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(static_cast<std::size_t>(std::strtoull(argv[i], nullptr, 10)));
    if (sizes.empty())
        sizes = {10'000, 100'000, 1'000'000};
    crowds();
    for (std::size_t people : sizes)
        run(people);
    return 0;
}
