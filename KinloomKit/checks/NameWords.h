// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Words written inside a NAME that are not the person's name: titles before it ("Mrs.", "Capt"),
// and the placeholders that programs and transcribers write for a name hidden or not known
// ("LIVING", "Private", "N.N.", "Son", "Dau.", "Stillborn", their German, French, Dutch, Spanish,
// Polish and Latin words). One table of each, shared by the checks.
namespace kinloom::NameWords {

/// The words of a name as compared: folded for case, diacritics and width; every character that is
/// neither letter nor digit separates words, and a run of digits is a word of its own, so that
/// "Twin-Boy_1" gives twin, boy, 1 and "5sons" gives 5, sons.
[[nodiscard]] std::vector<std::string> words(std::string_view text);

/// Whether a word of `words` is a title written before a name (mr, mrs, dr, rev, capt, …).
[[nodiscard]] bool isTitle(std::string_view word);

/// Whether a title of `isTitle` names a married woman (mrs, mme, frau, pani, …), so that the names
/// after it may be her husband's.
[[nodiscard]] bool isWifeTitle(std::string_view word);

/// Whether a title of `isTitle`, written out in full, was also given as a first name (colonel,
/// general, major, lady, …).
[[nodiscard]] bool isAlsoGivenName(std::string_view title);

/// Whether a word of `words` stands for a name hidden or not known (living, private, unknown, nn,
/// son, dau, child, infant, stillborn, unnamed, …).
[[nodiscard]] bool isPlaceholder(std::string_view word);

/// Whether a given name says nothing of who the person is: it has no letters, or every word is a
/// placeholder, a number or an ordinal's ending ("LIVING", "[Living]", "Son_2", "Dau.", "?",
/// "Twin-Boy_1", "Son (stillborn)", "5sons_1dau"). An empty given name is not a placeholder.
[[nodiscard]] bool isPlaceholderName(std::string_view given);

/// Whether a word of `words` joins a surname to what comes before it or is written before one: the
/// particles "of", "de", "von", "van", "la", "ibn" and the like.
[[nodiscard]] bool isParticle(std::string_view word);

/// Whether a word of `words`, written after the given names, begins a title or an epithet rather
/// than another given name: "the" (the Hardy), a rank or office (Earl of Lancaster, High Steward),
/// an ordinal written in figures ("4th").
[[nodiscard]] bool beginsEpithet(std::string_view word);

/// The number of a Roman ordinal written after a name ("viii" is 8); 0 when the word is none.
/// Single letters are read as numbers only where `letters` allows, as they are mostly initials.
[[nodiscard]] int romanOrdinal(std::string_view word, bool letters);

/// An ordinal from 1 to 59 in Roman numerals as `words` folds them: "viii".
[[nodiscard]] std::string romanNumeral(int number);

/// Which of a father and son, or elder and younger, a word of `words` marks: 1 for the younger
/// (jr, junior, younger), 2 for the elder (sr, senior, elder), 0 for neither.
[[nodiscard]] int generation(std::string_view word);

/// The name a given name's group is known by, for a word of `words`: "william" for bill, wm,
/// wilhelm, guillaume or gulielmus; the word itself when it is in no group.
[[nodiscard]] std::string_view givenNameGroup(std::string_view word);

/// Every group of given names that stand for one another, the name it is known by first, its
/// words separated by single blanks.
[[nodiscard]] std::span<const std::string_view> givenNameGroups();

/// The text in Latin letters when it holds letters of another script (Cyrillic, Greek, Hebrew,
/// Arabic, …): "Иван Петров" gives "Ivan Petrov". None when every letter is Latin already, which
/// is nearly every name, and is decided without the transliterator.
[[nodiscard]] std::optional<std::string> inLatinLetters(std::string_view text);

} // namespace kinloom::NameWords
