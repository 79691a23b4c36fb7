// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/NameWords.h"

#include "document/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <unicode/translit.h>
#include <unicode/unistr.h>
#include <unordered_map>
#include <unordered_set>
#include <utf8proc.h>

namespace kinloom::NameWords {
namespace {

/// A set of words that answers most words that are not in it without hashing them: nearly every
/// name asked about is not, and the lengths of the words beginning with each letter tell most.
class Table
{
public:
    Table(std::initializer_list<std::string_view> words) : m_words(words)
    {
        for (const std::string_view word : words) {
            if (word.size() < 32 && word.front() >= 'a' && word.front() <= 'z')
                m_lengths[static_cast<std::size_t>(word.front() - 'a')] |= 1u << word.size();
        }
    }

    [[nodiscard]] bool contains(std::string_view word) const
    {
        if (word.empty())
            return false;
        if (word.size() < 32 && word.front() >= 'a' && word.front() <= 'z' &&
            !(m_lengths[static_cast<std::size_t>(word.front() - 'a')] & (1u << word.size())))
            return false;
        return m_words.contains(word);
    }

private:
    std::unordered_set<std::string_view> m_words;
    std::array<std::uint32_t, 26> m_lengths{};
};

// Folded as `words` folds them: "Mme" is mme, "Fräulein" fraulein.
const Table& titles()
{
    static const Table table{
        "mr",    "mrs",     "mister",   "miss",   "ms",      "mx",      "master", "dr",      "doctor",
        "rev",   "revd",    "reverend", "sir",    "dame",    "lady",    "lord",   "capt",    "captain",
        "col",   "colonel", "lt",       "lieut",  "maj",     "major",   "gen",    "general", "sgt",
        "cpl",   "pvt",     "prof",     "hon",    "rt",      "herr",    "frau",   "frl",     "fraulein",
        "mme",   "mlle",    "monsieur", "madame", "dhr",     "mevr",    "mej",    "sra",     "srta",
        "senor", "senora",  "senorita", "pani",   "mevrouw", "signora",
    };
    return table;
}

// Titles of a married woman, which registers and trees also write before her husband's names ("Mrs.
// John Smith", "Mme Jean Dupont").
const Table& wifeTitles()
{
    static const Table table{
        "mrs", "mme", "madame", "frau", "pani", "mevr", "mevrouw", "sra", "senora", "signora",
    };
    return table;
}

// Titles that were also given as first names, mostly in nineteenth-century America ("Colonel
// Gallington Willis", "Lady Bird"); written out in full, as a name is.
const Table& titlesGivenAsNames()
{
    static const Table table{"colonel", "general", "major", "captain", "doctor", "lady"};
    return table;
}

const Table& particles()
{
    static const Table table{
        "of", "de",  "du",  "des", "del", "della", "delle", "dei", "di", "da",  "dos", "das",
        "do", "van", "von", "vom", "der", "den",   "ter",   "ten", "zu", "zum", "zur", "la",
        "le", "les", "af",  "av",  "ibn", "bin",   "bint",  "al",  "el", "ap",  "ua",  "ui",
    };
    return table;
}

// Ranks and offices that a name goes on with after the given names ("Edmund Earl of Lancaster").
// Words that are given names too (Lady, Prince as a name is rare) are left to the titles table.
const Table& epithets()
{
    static const Table table{
        "the",         "king",       "queen",       "prince",     "princess",    "duke",     "duchess",
        "earl",        "count",      "countess",    "baron",      "baroness",    "marquis",  "marquess",
        "marchioness", "viscount",   "viscountess", "emperor",    "empress",     "tsar",     "czar",
        "tsarina",     "czarina",    "tsarevich",   "archduke",   "archduchess", "grand",    "elector",
        "electress",   "margrave",   "landgrave",   "burgrave",   "palatine",    "regent",   "dauphin",
        "infanta",     "pope",       "bishop",      "archbishop", "abbot",       "abbess",   "steward",
        "knight",      "baronet",    "sultan",      "caliph",     "khan",        "shah",     "emir",
        "pharaoh",     "lord",       "lady",        "sir",        "dame",        "called",   "dit",
        "genannt",     "alias",      "aka",         "voivode",    "jarl",        "thane",    "graf",
        "grafin",      "furst",      "furstin",     "herzog",     "herzogin",    "konig",    "konigin",
        "prinz",       "prinzessin", "freiherr",    "ritter",     "comte",       "comtesse", "duc",
        "duchesse",    "roi",        "reine",       "seigneur",   "sieur",       "conde",    "condesa",
        "rey",         "reina",      "principe",    "duque",      "duquesa",     "ksiaze",   "hrabia",
        "knyaz",       "kniaz",      "tsaritsa",
    };
    return table;
}

const Table& placeholders()
{
    static const Table table{
        // Hidden or not known.
        "living", "private", "unknown", "unk", "unnamed", "noname", "nn", "anonymous", "deceased", "lebend",
        "privat", "unbekannt", "unbenannt", "namenlos",          // German
        "vivant", "prive", "inconnu", "inconnue", "anonyme",     // French
        "levend", "onbekend", "naamloos",                        // Dutch
        "vivo", "viva", "privado", "desconocido", "desconocida", // Spanish
        "zyjacy", "zyjaca", "nieznany", "nieznana", "nieznane",  // Polish
        "ignotus", "ignota", "incognitus", "incognita", "nomen", // Latin: N(omen)
        "nescio", "innominatus", "innominata",
        // A child not named yet.
        "son", "sons", "dau", "daus", "daughter", "daughters", "child", "children", "infant", "baby",
        "stillborn", "stillbirth", "boy", "girl", "twin", "twins", "male", "female", "issue", "sohn",
        "tochter", "kind", "kinder", "knabe", "madchen", "saugling", "totgeburt", "totgeboren", "tot",
        "zwilling",                                                                           // German
        "fils", "fille", "enfant", "bebe", "mort", "morte", "ne", "nee", "jumeau", "jumelle", // French
        "zoon", "dochter", "zuigeling", "levenloos", "tweeling",                              // Dutch
        "hijo", "hija", "infante", "nene", "nena", "mortinato", "gemelo", "gemela",           // Spanish
        "syn", "corka", "dziecko", "niemowle", "bliznie", "martwe", "martwo", "urodzone",     // Polish
        "filius", "filia", "infans", "proles", "puer", "puella", "gemellus", "gemella",       // Latin
    };
    return table;
}

constexpr std::string_view givenNameForms[] = {
#include "checks/GivenNameForms.inc"
};

bool isDigits(std::string_view word)
{
    return !word.empty() &&
           std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isOrdinalEnding(std::string_view word)
{
    return word == "st" || word == "nd" || word == "rd" || word == "th";
}

/// Latin letters are the first blocks up to the IPA extensions, Latin Extended Additional and the
/// later Latin blocks, and the full-width forms.
bool isLatinLetter(utf8proc_int32_t c)
{
    return c < 0x0250 || (c >= 0x1E00 && c <= 0x1EFF) || (c >= 0x2C60 && c <= 0x2C7F) ||
           (c >= 0xA720 && c <= 0xA7FF) || (c >= 0xAB30 && c <= 0xAB6F) || (c >= 0xFF00 && c <= 0xFFEF);
}

bool hasOtherLetters(std::string_view text)
{
    for (const char32_t c : Text::characters(text)) {
        const utf8proc_category_t category = utf8proc_category(static_cast<utf8proc_int32_t>(c));
        const bool letter = category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO;
        if (letter && !isLatinLetter(static_cast<utf8proc_int32_t>(c)))
            return true;
    }
    return false;
}

} // namespace

std::optional<std::string> inLatinLetters(std::string_view text)
{
    if (Text::isAscii(text) || !hasOtherLetters(text))
        return std::nullopt;
    // A transliterator is costly to make and not to be shared between threads: one for each thread
    // that meets such a name.
    thread_local std::unique_ptr<icu::Transliterator> transliterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::Transliterator> made(
            icu::Transliterator::createInstance("Any-Latin; Latin-ASCII", UTRANS_FORWARD, status));
        return U_SUCCESS(status) ? std::move(made) : nullptr;
    }();
    if (!transliterator)
        return std::nullopt;
    icu::UnicodeString unicode =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    transliterator->transliterate(unicode);
    std::string latin;
    unicode.toUTF8String(latin);
    return latin;
}

std::vector<std::string> words(std::string_view text)
{
    std::vector<std::string> list;
    bool digits = false; // whether the word being read is a run of digits
    bool open = false;   // whether a word is being read
    auto add = [&](std::string_view character, bool digit) {
        if (!open || digits != digit)
            list.emplace_back();
        open = true;
        digits = digit;
        list.back() += character;
    };
    if (Text::isAscii(text)) {
        for (char c : text) {
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
            if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
                add(std::string_view(&c, 1), c <= '9');
            else
                open = false;
        }
        return list;
    }
    Text::forEachFolded(text, [&](const Text::FoldedCharacter& character) {
        using Kind = Text::FoldedCharacter::Kind;
        if (character.kind == Kind::letter || character.kind == Kind::digit)
            add(character.utf8, character.kind == Kind::digit);
        else
            open = false;
    });
    return list;
}

bool isTitle(std::string_view word)
{
    return titles().contains(word);
}

bool isWifeTitle(std::string_view word)
{
    return wifeTitles().contains(word);
}

bool isAlsoGivenName(std::string_view title)
{
    return titlesGivenAsNames().contains(title);
}

bool isPlaceholder(std::string_view word)
{
    return placeholders().contains(word);
}

bool isPlaceholderName(std::string_view given)
{
    if (Text::trimmed(given).empty())
        return false;
    // Most given names are plain ASCII and fail on their first word: read those words in place.
    // A single letter may be part of a placeholder spelt with full stops ("N.N."), so the words
    // are also read as one.
    std::string word, previous, joined;
    bool letters = false; // whether single letters were found, which only the joined words can explain
    auto placeholderOrNumber = [&] {
        bool ok = isPlaceholder(word) || isDigits(word) || (isDigits(previous) && isOrdinalEnding(word));
        if (!ok && word.size() == 1)
            ok = letters = true;
        joined += word;
        previous.swap(word);
        word.clear();
        return ok;
    };
    if (Text::isAscii(given)) {
        for (char c : given) {
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
            const bool digit = c >= '0' && c <= '9';
            const bool letter = c >= 'a' && c <= 'z';
            if (!word.empty() && (!(digit || letter) || digit != isDigits(word)) && !placeholderOrNumber())
                return false;
            if (digit || letter)
                word += c;
        }
        if (!word.empty() && !placeholderOrNumber())
            return false;
    } else {
        for (std::string& each : words(given)) {
            word = std::move(each);
            if (!placeholderOrNumber())
                return false;
        }
    }
    return !letters || isPlaceholder(joined);
}

bool isParticle(std::string_view word)
{
    return particles().contains(word);
}

bool beginsEpithet(std::string_view word)
{
    if (epithets().contains(word))
        return true;
    // "4th", "1st": figures and an ordinal's ending, as `normalizeName` keeps them together.
    std::size_t digits = 0;
    while (digits < word.size() && word[digits] >= '0' && word[digits] <= '9')
        ++digits;
    return digits > 0 && isOrdinalEnding(word.substr(digits));
}

int romanOrdinal(std::string_view word, bool letters)
{
    if (word.empty() || word.size() > 7 || (word.size() == 1 && (!letters || word == "l")))
        return 0;
    auto value = [](char c) {
        switch (c) {
        case 'i':
            return 1;
        case 'v':
            return 5;
        case 'x':
            return 10;
        case 'l':
            return 50;
        default:
            return 0;
        }
    };
    int total = 0;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const int here = value(word[i]);
        if (here == 0)
            return 0;
        const int next = i + 1 < word.size() ? value(word[i + 1]) : 0;
        total += here < next ? -here : here;
    }
    // Only numbers written the usual way: "iiii", "vx" or "il" are no ordinals ("lil" is a name).
    if (total <= 0 || total >= 60)
        return 0;
    return romanNumeral(total) == word ? total : 0;
}

std::string romanNumeral(int number)
{
    static constexpr std::string_view ones[] = {"", "i", "ii", "iii", "iv", "v", "vi", "vii", "viii", "ix"};
    static constexpr std::string_view tens[] = {"", "x", "xx", "xxx", "xl", "l"};
    return std::string(tens[number / 10 % 6]) + std::string(ones[number % 10]);
}

int generation(std::string_view word)
{
    if (word == "jr" || word == "jnr" || word == "junior" || word == "younger" || word == "jun")
        return 1;
    if (word == "sr" || word == "snr" || word == "senior" || word == "elder" || word == "sen")
        return 2;
    return 0;
}

std::string_view givenNameGroup(std::string_view word)
{
    static const auto groups = [] {
        std::unordered_map<std::string_view, std::string_view> map;
        for (const std::string_view group : givenNameForms) {
            const std::string_view head = group.substr(0, group.find(' '));
            for (std::size_t from = 0; from < group.size();) {
                const std::size_t blank = std::min(group.find(' ', from), group.size());
                map.emplace(group.substr(from, blank - from), head);
                from = blank + 1;
            }
        }
        return map;
    }();
    const auto at = groups.find(word);
    return at == groups.end() ? word : at->second;
}

std::span<const std::string_view> givenNameGroups()
{
    return givenNameForms;
}

} // namespace kinloom::NameWords
