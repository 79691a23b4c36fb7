// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"

#include <string>
#include <string_view>

// Place spellings: how they are grouped, how they are written tidily, and the fix that writes a
// whole group one way.
namespace kinloom::PlaceNames {

/// What every spelling of one place shares: the parts between commas folded in case, diacritics
/// and width, keeping only letters, digits and single blanks, without doubt markers, empty parts
/// at the end dropped, joined with "," ("Saint-Étienne ,  LOIRE" → "saintetienne,loire",
/// ",Otsego, prob. Michigan" → ",otsego,michigan"). Short words are read in full ("St", "Co.",
/// "Twp"), and so are lands after the first part ("MO", "Pol", "YKS"); a land after a part that
/// lies in it and a stray word before the place ("of", "near") are dropped: "of St. Louis, MO,
/// USA" → "saint louis,missouri".
[[nodiscard]] std::string groupKey(std::string_view spelling);

/// Whether the compiler marked the place as uncertain: a question mark ("Ireland (?)",
/// "Boston, MA?") or a word such as "prob.", "poss.", "probably" or "possibly".
[[nodiscard]] bool isDoubtful(std::string_view spelling);

/// The spelling with single blanks and ", " between its parts, empty parts at the end dropped;
/// empty parts before others keep their places.
[[nodiscard]] std::string tidied(std::string_view spelling);

/// Whether a spelling has blanks at its ends, doubled blanks, or a blank before a comma that
/// follows a word.
[[nodiscard]] bool hasExtraSpaces(std::string_view spelling);

/// Which of a group's spellings a fix rewrites.
enum class Spellings
{
    /// Those that differ from the target in case, accents, blanks and punctuation only, as the
    /// target; others written alike among themselves as the one of them written most.
    writtenAlike,
    /// The others, only read alike through abbreviations, a stray word or larger places filled in:
    /// the user checks that they are one place first.
    readAlike,
};

/// The fix that writes the group's lines as `target`: a group's findings carry it for the
/// suggested spelling, one for each kind of spelling, and the app rebuilds them for the spelling
/// the user chooses or types; a typed target written like none of the spellings rewrites them all,
/// to be checked first. Doubtful spellings keep their markers around the target's words, and a fix
/// that rewrites one, or writes a doubtful target, needs review.
[[nodiscard]] Fix fixFor(const PlaceGroup& group, std::string_view target,
                         Spellings which = Spellings::writtenAlike);

} // namespace kinloom::PlaceNames
