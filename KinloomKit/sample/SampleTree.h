// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kinloom::SampleTree {

/// One planted duplicate person: the record it copies and the copy, as xrefs ("@I12@").
struct DuplicatePair
{
    std::string original;
    std::string copy;
    std::string variation = {}; ///< how the copy's name differs, for the synthetic tree ("initials")

    bool operator==(const DuplicatePair&) const = default;
};

/// A synthetic tree with what was planted in it, so that benchmarks can measure what the checks find.
struct SyntheticTree
{
    std::string text;
    std::vector<DuplicatePair> duplicates; ///< in file order of the copies
    std::size_t oddDates = 0;              ///< DATE values not written the standard way
    std::size_t placeVariants = 0;         ///< PLAC values spelled unlike the rest of their place
    std::size_t missingSex = 0;            ///< people without a SEX line
    std::size_t oneWayLinks = 0;           ///< family links with no link back
};

/// The small sample tree (about 40 people in four generations, GEDCOM 5.5.1, UTF-8) in which
/// every check finds at least one planted problem.
[[nodiscard]] std::string sampleText();

/// The duplicate people planted in the sample tree.
[[nodiscard]] std::vector<DuplicatePair> sampleDuplicates();

/// A synthetic tree of `people` people, deterministic for a seed: realistic names, dates, places,
/// sources and notes, about 30 lines per person, a few percent planted problems.
[[nodiscard]] std::string syntheticText(std::size_t people, std::uint64_t seed = 1);

/// The same tree as `syntheticText`, with what was planted in it. With `otherScripts` some planted
/// copies are written in Cyrillic letters, and the text is no longer all Latin-1.
[[nodiscard]] SyntheticTree syntheticTree(std::size_t people, std::uint64_t seed = 1,
                                          bool otherScripts = false);

} // namespace kinloom::SampleTree
