// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/PlaceNames.h"

#include "changes/FixApplier.h"
#include "checks/Checks.h"
#include "document/Text.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <span>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utf8proc.h>

namespace kinloom {
namespace {

using Text::isBlank;
using Text::quoted;

std::string lines(std::size_t count)
{
    return std::to_string(count) + (count == 1 ? " line" : " lines");
}

/// Looks strings up by their views, so that a look-up builds no string.
struct TextHash
{
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

// Words by which a compiler says a place is uncertain, folded, without the full stop of "prob." or
// "poss.".
constexpr std::array<std::string_view, 22> doubtWords{
    "maybe",          "perhaps",      "poss",           "possibly",      "prob",           "probably",
    "vermutl",        "vermutlich",   "vielleicht",     "wahrsch",       "wahrscheinlich", "probablement",
    "probablemente",  "posiblemente", "probabilmente",  "possibilmente", "misschien",      "vermoedelijk",
    "waarschijnlijk", "prawdop",      "prawdopodobnie", "troligen",
};

bool isDoubtWord(std::string_view folded)
{
    return std::find(doubtWords.begin(), doubtWords.end(), folded) != doubtWords.end();
}

/// What folding a spelling gives: its group key and whether it carries a doubt marker.
struct Folded
{
    std::string key;
    bool doubtful = false;
};

/// Builds a key from folded characters: letters and digits kept, blanks collapsed, doubt words and
/// the rest dropped, commas ending parts.
class KeyBuilder
{
public:
    void letter(const char* bytes, std::size_t length)
    {
        if (!m_inWord) {
            m_wordStart = m_part.size();
            if (m_blank && !m_part.empty())
                m_part += ' ';
            m_letters = m_part.size();
            m_inWord = true;
        }
        m_blank = false;
        m_part.append(bytes, length);
    }
    void blank()
    {
        endWord();
        m_blank = true;
    }
    void other(bool questionMark)
    {
        endWord();
        m_doubtful = m_doubtful || questionMark;
    }
    void comma()
    {
        endWord();
        m_parts.push_back(std::move(m_part));
        m_part.clear();
        m_blank = false;
    }
    Folded finish()
    {
        comma();
        // Empty parts before others say which level a name is at (",Otsego, Michigan" is a
        // county); after the last name they say nothing.
        std::size_t last = m_parts.size();
        while (last > 0 && m_parts[last - 1].empty())
            --last;
        Folded folded{{}, m_doubtful};
        for (std::size_t i = 0; i < last; ++i) {
            if (i > 0)
                folded.key += ',';
            folded.key += m_parts[i];
        }
        return folded;
    }

private:
    void endWord()
    {
        if (m_inWord && isDoubtWord(std::string_view(m_part).substr(m_letters))) {
            m_part.resize(m_wordStart);
            m_doubtful = true;
        }
        m_inWord = false;
    }

    std::vector<std::string> m_parts;
    std::string m_part;
    bool m_blank = false;
    bool m_inWord = false;
    std::size_t m_wordStart = 0; ///< where the word being read begins, with the blank before it
    std::size_t m_letters = 0;   ///< where its letters begin
    bool m_doubtful = false;
};

Folded folded(std::string_view spelling)
{
    KeyBuilder key;
    if (Text::isAscii(spelling)) {
        // Folding changes nothing in ASCII beyond the case.
        for (char c : spelling) {
            if (c >= 'A' && c <= 'Z') {
                const char lower = static_cast<char>(c - 'A' + 'a');
                key.letter(&lower, 1);
            } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
                key.letter(&c, 1);
            } else if (c == ',') {
                key.comma();
            } else if (isBlank(c)) {
                key.blank();
            } else {
                key.other(c == '?');
            }
        }
        return key.finish();
    }
    // Folding first, so that a full-width comma also ends a part and a full-width question mark
    // marks a doubt.
    Text::forEachFolded(spelling, [&](const Text::FoldedCharacter& character) {
        using Kind = Text::FoldedCharacter::Kind;
        if (character.kind == Kind::letter || character.kind == Kind::digit)
            key.letter(character.utf8.data(), character.utf8.size());
        else if (character.scalar == U',')
            key.comma();
        else if (character.kind == Kind::blank)
            key.blank();
        else
            key.other(character.scalar == U'?');
    });
    return key.finish();
}

constexpr std::string_view regionRows[] = {
#include "checks/PlaceRegions.inc"
};

constexpr std::string_view wordRows[] = {
#include "checks/PlaceWords.inc"
};

/// The text split at every `separator`, empty pieces kept: a table row's fields at "|", a
/// place's parts at commas.
std::vector<std::string_view> splitAt(std::string_view text, char separator)
{
    std::vector<std::string_view> pieces;
    for (std::size_t at = 0;;) {
        const std::size_t end = text.find(separator, at);
        pieces.push_back(text.substr(at, end - at));
        if (end == std::string_view::npos)
            return pieces;
        at = end + 1;
    }
}

/// The tables by the forms that stand for their rows.
struct PlaceTables
{
    struct Region
    {
        std::string_view name, within;
    };
    std::vector<Region> regions;
    std::unordered_map<std::string_view, std::uint16_t> regionByForm;
    std::unordered_map<std::string_view, std::string_view> wordByForm; ///< to the full form
};

const PlaceTables& tables()
{
    static const PlaceTables made = [] {
        PlaceTables tables;
        for (const std::string_view row : regionRows) {
            const std::vector<std::string_view> fields = splitAt(row, '|');
            const auto index = static_cast<std::uint16_t>(tables.regions.size());
            tables.regions.push_back({fields[1], fields[0]});
            for (std::size_t i = 1; i < fields.size(); ++i)
                tables.regionByForm.emplace(fields[i], index);
        }
        for (const std::string_view row : wordRows) {
            const std::vector<std::string_view> fields = splitAt(row, '|');
            for (std::size_t i = 1; i < fields.size(); ++i)
                tables.wordByForm.emplace(fields[i], fields[0]);
        }
        return tables;
    }();
    return made;
}

/// Whether the land of the tables' row `region` lies in `land`, named in full.
bool liesIn(std::uint16_t region, std::string_view land)
{
    const PlaceTables& table = tables();
    for (std::string_view within = table.regions[region].within; !within.empty();) {
        if (within == land)
            return true;
        within = table.regions[table.regionByForm.at(within)].within;
    }
    return false;
}

/// Words before a place that say how the event stood to it, not where it was.
constexpr std::array<std::string_view, 4> strayWords{"of", "in", "at", "near"};

/// What a key reads as: its words and the lands at its end written in full, a stray word before
/// it dropped, and a land dropped after a part that lies in it ("St Louis, MO, USA" reads
/// "saint louis,missouri").
struct Reading
{
    std::string key;
    bool stray = false;              ///< whether a stray word was dropped
    bool expanded = false;           ///< whether a word or land was read in full, or a land dropped
    std::uint16_t abbreviations = 0; ///< words and lands written short
};

Reading read(std::string_view key)
{
    const PlaceTables& table = tables();
    Reading reading;
    std::vector<std::string_view> written = splitAt(key, ',');
    for (const std::string_view word : strayWords) {
        const std::string_view first = written.front();
        if (first.size() > word.size() + 1 && first.starts_with(word) && first[word.size()] == ' ') {
            written.front().remove_prefix(word.size() + 1);
            reading.stray = true;
        }
    }
    std::vector<std::string> parts(written.size());
    for (std::size_t i = 0; i < written.size(); ++i) {
        for (std::size_t at = 0; at < written[i].size();) {
            std::size_t end = written[i].find(' ', at);
            end = end == std::string_view::npos ? written[i].size() : end;
            const std::string_view word = written[i].substr(at, end - at);
            const auto full = table.wordByForm.find(word);
            parts[i] += (at > 0 ? " " : "");
            parts[i] += full != table.wordByForm.end() ? full->second : word;
            reading.abbreviations += full != table.wordByForm.end() && full->second != word;
            at = end + 1;
        }
    }
    // Lands are read at the end of a place only, and never in its first part: there "IN" or "Pol"
    // may be anything.
    std::vector<std::int32_t> regions(parts.size(), -1);
    for (std::size_t i = parts.size(); i-- > 1;) {
        auto found = table.regionByForm.find(written[i]);
        if (found == table.regionByForm.end())
            found = table.regionByForm.find(parts[i]);
        const std::string_view name =
            found != table.regionByForm.end() ? table.regions[found->second].name : std::string_view();
        reading.abbreviations += !name.empty() && name != parts[i];
        // "Co. Cork" is the county of Cork.
        constexpr std::string_view county = "county ";
        if (found == table.regionByForm.end() && parts[i].starts_with(county))
            found = table.regionByForm.find(std::string_view(parts[i]).substr(county.size()));
        if (found == table.regionByForm.end())
            break;
        regions[i] = found->second;
        parts[i] = table.regions[found->second].name;
    }
    while (parts.size() >= 3 && regions[parts.size() - 2] >= 0 && regions.back() >= 0 &&
           liesIn(static_cast<std::uint16_t>(regions[parts.size() - 2]), parts.back())) {
        parts.pop_back();
        regions.pop_back();
    }
    for (std::size_t i = 0; i < parts.size(); ++i)
        reading.key += (i > 0 ? "," : "") + parts[i];
    reading.expanded = reading.stray ? key.substr(key.find(' ') + 1) != reading.key : key != reading.key;
    return reading;
}

/// A letter of a word as doubt words and abbreviations are read: ASCII, or any byte of a longer
/// character.
bool isWordByte(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}

bool isDoubtWordAt(std::string_view text, std::size_t begin, std::size_t end)
{
    std::string word(text.substr(begin, end - begin));
    std::transform(word.begin(), word.end(), word.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return isDoubtWord(word);
}

/// The length of the doubt marker that `text` begins with ("?", "prob.", "(?)"), or 0.
std::size_t markerAtStart(std::string_view text);

/// Whether the whole text is one doubt marker, as the inside of "(?)" or "[prob.]" is.
bool isMarker(std::string_view text)
{
    text = Text::trimmed(text);
    return !text.empty() && markerAtStart(text) == text.size();
}

std::size_t markerAtStart(std::string_view text)
{
    if (text.empty())
        return 0;
    if (text.front() == '?')
        return std::min(text.find_first_not_of('?'), text.size());
    if (text.front() == '(' || text.front() == '[') {
        const std::size_t close = text.find(text.front() == '(' ? ')' : ']');
        return close != std::string_view::npos && isMarker(text.substr(1, close - 1)) ? close + 1 : 0;
    }
    std::size_t end = 0;
    while (end < text.size() && isWordByte(text[end]))
        ++end;
    if (end == 0 || !isDoubtWordAt(text, 0, end))
        return 0;
    return end < text.size() && text[end] == '.' ? end + 1 : end;
}

/// The length of the doubt marker that `text` ends with ("?", "(?)", "prob."), or 0.
std::size_t markerAtEnd(std::string_view text)
{
    if (text.empty())
        return 0;
    if (text.back() == '?')
        return text.size() - std::min(text.find_last_not_of('?') + 1, text.size());
    if (text.back() == ')' || text.back() == ']') {
        const std::size_t open = text.rfind(text.back() == ')' ? '(' : '[');
        return open != std::string_view::npos && isMarker(text.substr(open + 1, text.size() - open - 2))
                   ? text.size() - open
                   : 0;
    }
    std::size_t end = text.size() - (text.back() == '.' ? 1 : 0);
    std::size_t begin = end;
    while (begin > 0 && isWordByte(text[begin - 1]))
        --begin;
    return begin < end && isDoubtWordAt(text, begin, end) ? text.size() - begin : 0;
}

/// One part of a spelling around the doubt markers at its ends: "prob. Lynn" is "prob. ",
/// "Lynn" and "".
struct MarkedPart
{
    std::string_view before, core, after;
};

MarkedPart marked(std::string_view part)
{
    part = Text::trimmed(part);
    std::size_t begin = 0, end = part.size();
    while (const std::size_t length = markerAtStart(part.substr(begin, end - begin))) {
        begin += length;
        while (begin < end && isBlank(part[begin]))
            ++begin;
    }
    while (const std::size_t length = markerAtEnd(part.substr(begin, end - begin))) {
        end -= length;
        while (end > begin && isBlank(part[end - 1]))
            --end;
    }
    return {part.substr(0, begin), part.substr(begin, end - begin), part.substr(end)};
}

/// The parts between commas, without the empty parts at the end.
std::vector<std::string_view> partsOf(std::string_view spelling)
{
    std::vector<std::string_view> parts = splitAt(spelling, ',');
    while (!parts.empty() && Text::trimmed(parts.back()).empty())
        parts.pop_back();
    return parts;
}

std::string singleBlanks(std::string_view text)
{
    std::string out;
    for (char c : text) {
        if (!isBlank(c))
            out += c;
        else if (out.empty() || out.back() != ' ')
            out += ' ';
    }
    return out;
}

/// A spelling written as the target. A doubtful one keeps its markers around the target's words
/// ("prob. lynn, ma" → "prob. Lynn, MA"), and stays as it is when a marker sits inside a part.
std::string rewritten(std::string_view spelling, std::string_view target)
{
    if (!folded(spelling).doubtful)
        return std::string(target);
    const std::vector<std::string_view> ours = partsOf(spelling), theirs = partsOf(target);
    if (ours.size() != theirs.size())
        return std::string(spelling);
    std::string text, cores;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        const MarkedPart part = marked(ours[i]);
        if (folded(part.core).doubtful)
            return std::string(spelling);
        if (i > 0) {
            text += ", ";
            cores += ',';
        }
        text += singleBlanks(part.before) + std::string(marked(theirs[i]).core) + singleBlanks(part.after);
        cores += part.core;
    }
    return read(folded(cores).key).key == read(folded(target).key).key ? text : std::string(spelling);
}

/// The text without the punctuation left at its end by mistake: a comma, semicolon, colon, dash
/// or slash, or a full stop that closes neither an initial ("D.C.") nor a short abbreviation
/// ("Co.", "Mass."; "USA." has no full stop of its own).
std::string withoutStrayEnd(std::string text)
{
    while (!text.empty()) {
        const char last = text.back();
        if (last == '.') {
            std::size_t word = text.size() - 1;
            while (word > 0 && isWordByte(text[word - 1]))
                --word;
            const std::string_view letters = std::string_view(text).substr(word, text.size() - 1 - word);
            const bool abbreviation =
                letters.size() == 1 ||
                (!letters.empty() && letters.size() <= 4 &&
                 std::any_of(letters.begin(), letters.end(), [](char c) { return c >= 'a' && c <= 'z'; }));
            if (abbreviation)
                break;
        } else if (!isBlank(last) && last != ',' && last != ';' && last != ':' && last != '-' &&
                   last != '/') {
            break;
        }
        text.pop_back();
    }
    return text;
}

/// Capital letters and diacritics: on a tie the spelling with more of them is the one written
/// with more care.
std::size_t carefulness(std::string_view text)
{
    utf8proc_uint8_t* decomposed = nullptr;
    const utf8proc_ssize_t length = utf8proc_map(
        reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
        &decomposed, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_DECOMPOSE));
    std::size_t count = 0;
    for (utf8proc_ssize_t at = 0; at < length;) {
        utf8proc_int32_t c = 0;
        const utf8proc_ssize_t step = utf8proc_iterate(decomposed + at, length - at, &c);
        if (step <= 0)
            break;
        at += step;
        const utf8proc_category_t category = utf8proc_category(c);
        count += category == UTF8PROC_CATEGORY_LU || category == UTF8PROC_CATEGORY_LT ||
                 category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC ||
                 category == UTF8PROC_CATEGORY_ME;
    }
    std::free(decomposed);
    return count;
}

// Words that name a building or ground within a place. A part with one is no larger place:
// "Berlin, Germany" is not "Berlin, Cathedral, Germany", nor "Tower of London, London" "Tower of
// London, Tower Green, London".
constexpr std::array<std::string_view, 36> siteWords{
    "abbey",  "burial",   "castle",   "cathedral", "cem",      "cemetary",  "cemetery", "chap",   "chapel",
    "church", "college",  "cmentarz", "farm",      "friedhof", "graveyard", "green",    "ground", "hall",
    "hosp",   "hospital", "house",    "kerk",      "kirche",   "kirk",      "kosciol",  "manor",  "minster",
    "palace", "park",     "priory",   "schloss",   "school",   "synagogue", "temple",   "tomb",   "yard",
};

bool namesASite(std::string_view part)
{
    for (std::size_t at = 0; at <= part.size();) {
        std::size_t end = part.find(' ', at);
        end = end == std::string_view::npos ? part.size() : end;
        if (std::find(siteWords.begin(), siteWords.end(), part.substr(at, end - at)) != siteWords.end())
            return true;
        at = end + 1;
    }
    return false;
}

/// The parts of a key as they name places: the empty parts between and after names say nothing;
/// those before the first name say which level it is at. With `lands`, the lands the last part lies
/// in follow it, as a read key leaves them out ("westminster,london" names "westminster,london,
/// england,united kingdom").
std::vector<std::string_view> namedParts(std::string_view key, bool lands = false)
{
    std::vector<std::string_view> parts = partsOf(key);
    const auto named =
        std::find_if(parts.begin(), parts.end(), [](std::string_view part) { return !part.empty(); });
    parts.erase(std::remove_if(named, parts.end(), [](std::string_view part) { return part.empty(); }),
                parts.end());
    if (!lands || parts.size() < 2)
        return parts;
    const PlaceTables& table = tables();
    for (auto region = table.regionByForm.find(parts.back()); region != table.regionByForm.end();) {
        const std::string_view within = table.regions[region->second].within;
        if (within.empty())
            break;
        parts.push_back(within);
        region = table.regionByForm.find(within);
    }
    return parts;
}

/// Whether `fuller` is `shorter` with larger or middle places filled in: the same first part, and
/// every other part of `shorter` in it in order, with no building or ground between. A land the
/// tables know at the end of `shorter` is followed there only by lands it lies in: "Ipswich,
/// Suffolk" is not "Ipswich, Suffolk, Massachusetts". When the tree writes the first two parts of
/// `shorter` as larger places of another ("Jefferson, Jackson, Ohio"), `shorter` may name that
/// larger place, and no level is filled in between them ("Jackson, Ohio" is not "Jackson, Darke,
/// Ohio").
bool fillsIn(std::span<const std::string_view> shorter, std::span<const std::string_view> fuller,
             bool namesALargerPlace)
{
    if (shorter.size() < 2 || fuller.size() <= shorter.size() || shorter[0].empty() ||
        shorter[0] != fuller[0])
        return false;
    std::size_t at = 1;
    for (std::size_t i = 1; i < shorter.size(); ++i, ++at) {
        for (; at < fuller.size() && fuller[at] != shorter[i]; ++at) {
            if (namesASite(fuller[at]) || (i == 1 && namesALargerPlace))
                return false;
        }
        if (at == fuller.size())
            return false;
    }
    const auto land = tables().regionByForm.find(shorter.back());
    return std::all_of(fuller.begin() + static_cast<std::ptrdiff_t>(at), fuller.end(),
                       [&](std::string_view larger) {
                           return !namesASite(larger) &&
                                  (land == tables().regionByForm.end() || liesIn(land->second, larger));
                       });
}

/// The spelling a spelling written alike with others is written as when none of them is the target:
/// the one written most, on a tie with most care, tidily. None when every one is doubtful.
std::optional<std::string> mostWritten(const PlaceGroup& group, std::span<const std::string> keys,
                                       std::string_view key)
{
    std::optional<std::size_t> best;
    for (std::size_t i = 0; i < group.spellings.size(); ++i) {
        const PlaceSpelling& spelling = group.spellings[i];
        if (keys[i] != key || folded(spelling.text).doubtful)
            continue;
        const PlaceSpelling* other = best ? &group.spellings[*best] : nullptr;
        if (!other || spelling.count > other->count ||
            (spelling.count == other->count && carefulness(spelling.text) > carefulness(other->text)))
            best = i;
    }
    if (!best)
        return std::nullopt;
    return withoutStrayEnd(PlaceNames::tidied(group.spellings[*best].text));
}

/// The fix of one of a group's two findings; `rewrites` is told which spellings it rewrites.
Fix fixOf(const PlaceGroup& group, std::string_view target, PlaceNames::Spellings which,
          std::vector<bool>* rewrites)
{
    const bool readAlike = which == PlaceNames::Spellings::readAlike;
    std::vector<std::string> keys;
    for (const PlaceSpelling& spelling : group.spellings)
        keys.push_back(folded(spelling.text).key);
    const std::string targetKey = folded(target).key;
    // Writing a doubtful spelling everywhere would cast its doubt on lines that had none. Beyond
    // case, blanks and punctuation the spellings are read alike through abbreviations, a stray word
    // or larger places filled in: the user checks that they are one place.
    Fix fix{(readAlike ? "place-alike-" : "place-") + group.key,
            {},
            {},
            {},
            readAlike || folded(target).doubtful};
    // A spelling the user typed, written like none of the group's, is theirs to check: every
    // spelling is written as it.
    const bool typed = std::find(keys.begin(), keys.end(), targetKey) == keys.end();
    fix.needsReview = fix.needsReview || typed;
    std::vector<std::string> targets;
    std::unordered_map<std::string_view, std::optional<std::string>> written;
    if (rewrites)
        rewrites->assign(group.spellings.size(), false);
    for (std::size_t i = 0; i < group.spellings.size(); ++i) {
        const PlaceSpelling& spelling = group.spellings[i];
        std::optional<std::string> as;
        // A target written like no other spelling is written tidily with the spellings read alike.
        const bool alone = keys[i] == targetKey && std::count(keys.begin(), keys.end(), targetKey) == 1;
        if (typed || (readAlike ? keys[i] != targetKey || alone : keys[i] == targetKey && !alone)) {
            as = std::string(target);
        } else if (!readAlike && std::count(keys.begin(), keys.end(), keys[i]) >= 2) {
            auto [at, added] = written.try_emplace(keys[i]);
            if (added)
                at->second = mostWritten(group, keys, keys[i]);
            as = at->second;
        }
        if (!as)
            continue;
        std::string text = rewritten(spelling.text, *as);
        if (text == spelling.text)
            continue;
        fix.needsReview = fix.needsReview || folded(spelling.text).doubtful;
        if (std::find(targets.begin(), targets.end(), *as) == targets.end())
            targets.push_back(*as);
        if (rewrites)
            (*rewrites)[i] = true;
        for (const std::int64_t node : spelling.nodeIDs)
            fix.edits.push_back(Edit{Edit::SetValue{node, spelling.text, text}});
        fix.preview.push_back({"Place \u00B7 " + lines(spelling.count), spelling.text, std::move(text)});
    }
    if (std::all_of(targets.begin(), targets.end(), [&](const std::string& as) { return as == target; })) {
        fix.title = "Write every spelling as " + quoted(target);
    } else {
        fix.title = "Write the spellings as ";
        for (std::size_t i = 0; i < targets.size(); ++i)
            fix.title += (i == 0 ? "" : i + 1 == targets.size() ? " and " : ", ") + quoted(targets[i]);
    }
    return fix;
}

/// One way a place is written, with the lines written that way. `owners` are the records
/// holding the lines: people first, then families, by their place in the index.
struct Spelling
{
    std::string_view text;
    std::uint32_t reading = UINT32_MAX; ///< its read key; none when it folds to nothing
    bool doubtful = false;
    bool stray = false;
    bool expanded = false;
    std::uint16_t parts = 0;
    std::uint16_t abbreviations = 0;
    std::uint16_t emptyParts = 0;
    std::vector<std::int64_t> nodeIDs;
    std::vector<std::uint32_t> owners;
};

/// A read key, and the place it is: its own, or that of the fuller spelling it is filled in as.
struct ReadKey
{
    std::string key;
    std::uint32_t place = 0;         ///< the read key that names the place
    std::uint16_t named = 0;         ///< its parts with names, and the lands the last lies in
    std::vector<std::uint32_t> fits; ///< the places of the fuller spellings that fit, when more than one does
};

} // namespace

namespace PlaceNames {

std::string groupKey(std::string_view spelling)
{
    return read(folded(spelling).key).key;
}

bool isDoubtful(std::string_view spelling)
{
    return folded(spelling).doubtful;
}

std::string tidied(std::string_view spelling)
{
    std::vector<std::string> parts(1);
    bool blank = false;
    for (char c : spelling) {
        if (c == ',') {
            parts.emplace_back();
            blank = false;
        } else if (isBlank(c)) {
            blank = true;
        } else {
            if (blank && !parts.back().empty())
                parts.back() += ' ';
            blank = false;
            parts.back() += c;
        }
    }
    std::size_t last = parts.size();
    while (last > 0 && parts[last - 1].empty())
        --last;
    std::string text;
    for (std::size_t i = 0; i < last; ++i) {
        if (i > 0)
            text += ", ";
        text += parts[i];
    }
    return text;
}

bool hasExtraSpaces(std::string_view spelling)
{
    if (spelling.empty())
        return false;
    if (isBlank(spelling.front()) || isBlank(spelling.back()))
        return true;
    for (std::size_t i = 1; i + 1 < spelling.size(); ++i) {
        if (!isBlank(spelling[i]))
            continue;
        // "Leeds, , England" leaves a part empty on purpose; its blank is not extra.
        if (isBlank(spelling[i + 1]) || (spelling[i + 1] == ',' && spelling[i - 1] != ','))
            return true;
    }
    return false;
}

Fix fixFor(const PlaceGroup& group, std::string_view target, Spellings which)
{
    return fixOf(group, target, which, nullptr);
}

} // namespace PlaceNames

namespace Checks {
namespace {

class PlaceCheck
{
public:
    explicit PlaceCheck(const GedcomDocument& document) : m_document(document) {}

    std::vector<Issue> run(PlaceCount* count)
    {
        collect();
        readSpellings();
        fillIn();
        groupSpellings();
        if (count)
            *count = {spelled(), m_groups.size()};

        // The spelling each group is written as comes first: a place that fits several fuller
        // ones names theirs.
        m_targets.resize(m_groups.size());
        for (std::size_t g = 0; g < m_groups.size(); ++g) {
            std::vector<std::uint32_t>& members = m_groups[g];
            // Most frequent first; spellings came in file order, which a stable sort keeps for ties.
            std::stable_sort(members.begin(), members.end(), [&](std::uint32_t a, std::uint32_t b) {
                return m_spellings[a].nodeIDs.size() > m_spellings[b].nodeIDs.size();
            });
            m_targets[g] = target(members);
        }
        std::vector<Issue> issues;
        for (std::size_t g = 0; g < m_groups.size(); ++g)
            groupFindings(g, issues);
        datesAsPlaces(issues);
        return issues;
    }

private:
    NodeView owner(std::uint32_t position) const { return m_document.record(position); }

    // Every PLAC line outside the header, in file order.
    void collect()
    {
        for (std::size_t index = 0; index < m_document.recordCount(); ++index) {
            const NodeView record = m_document.record(index);
            if (record.tag() == "HEAD")
                continue;
            const auto position = static_cast<std::uint32_t>(index);
            record.walk([&](NodeView node) {
                if (node.tag() == "PLAC")
                    place(node, position);
            });
        }
    }

    void place(NodeView node, std::uint32_t position)
    {
        std::string full;
        std::string_view text = node.value().value_or(std::string_view());
        if (node.hasChildren())
            text = full = node.fullValue();
        if (std::all_of(text.begin(), text.end(), isBlank))
            return;
        // A person's events are often all in one place.
        if (m_last == UINT32_MAX || m_spellings[m_last].text != text) {
            auto at = m_known.find(text);
            if (at == m_known.end()) {
                at = m_known.emplace(std::string(text), static_cast<std::uint32_t>(m_spellings.size())).first;
                m_spellings.push_back({at->first});
            }
            m_last = at->second;
        }
        Spelling& spelling = m_spellings[m_last];
        spelling.nodeIDs.push_back(node.id());
        spelling.owners.push_back(position);
    }

    /// How each distinct spelling reads; spellings that fold to nothing are left alone.
    void readSpellings()
    {
        for (Spelling& spelling : m_spellings) {
            const Folded place = folded(spelling.text);
            if (place.key.empty())
                continue;
            Reading reading = read(place.key);
            spelling.doubtful = place.doubtful;
            spelling.stray = reading.stray;
            spelling.expanded = reading.expanded;
            spelling.abbreviations = reading.abbreviations;
            spelling.parts = static_cast<std::uint16_t>(namedParts(place.key).size());
            spelling.emptyParts = static_cast<std::uint16_t>(partsOf(place.key).size() - spelling.parts);
            auto [at, added] = m_readingOf.try_emplace(std::move(reading.key),
                                                       static_cast<std::uint32_t>(m_readings.size()));
            if (added)
                m_readings.push_back({at->first, at->second, {}});
            spelling.reading = at->second;
        }
    }

    std::size_t spelled() const
    {
        return static_cast<std::size_t>(
            std::count_if(m_spellings.begin(), m_spellings.end(),
                          [](const Spelling& s) { return s.reading != UINT32_MAX; }));
    }

    // Larger places filled in from fuller spellings of the tree. Only keys that begin alike can
    // fill each other in, and there are few distinct keys: each is compared with the others of its
    // first part, the fullest first, so that a key is filled in as the place its fuller one is.
    void fillIn()
    {
        // Keys that name the same places, with empty parts between or after them or without, are
        // one place: the first of them stands for the others.
        std::vector<std::vector<std::string_view>> parts(m_readings.size());
        std::unordered_map<std::string, std::uint32_t> byNames;
        std::unordered_map<std::string_view, std::vector<std::uint32_t>> byFirst;
        std::unordered_set<std::string> larger; // two parts that follow each other after a first
        for (std::uint32_t r = 0; r < m_readings.size(); ++r) {
            parts[r] = namedParts(m_readings[r].key, true);
            m_readings[r].named = static_cast<std::uint16_t>(parts[r].size());
            for (std::size_t i = 1; i + 1 < parts[r].size(); ++i)
                larger.insert(pair(parts[r][i], parts[r][i + 1]));
            std::string names;
            for (const std::string_view part : parts[r])
                (names += part) += ',';
            const auto [first, added] = byNames.try_emplace(std::move(names), r);
            if (added)
                byFirst[parts[r].front()].push_back(r);
            else
                m_readings[r].place = first->second;
        }
        for (auto& [first, keys] : byFirst) {
            if (keys.size() < 2)
                continue;
            std::stable_sort(keys.begin(), keys.end(), [&](std::uint32_t a, std::uint32_t b) {
                return parts[a].size() > parts[b].size();
            });
            for (std::size_t i = 0; i < keys.size(); ++i) {
                ReadKey& shorter = m_readings[keys[i]];
                const std::vector<std::string_view>& named = parts[keys[i]];
                const bool namesALargerPlace = named.size() >= 2 && larger.contains(pair(named[0], named[1]));
                std::vector<std::uint32_t> places;
                for (std::size_t j = 0; j < i; ++j) {
                    const std::uint32_t place = m_readings[keys[j]].place;
                    if (fillsIn(named, parts[keys[j]], namesALargerPlace) &&
                        std::find(places.begin(), places.end(), place) == places.end())
                        places.push_back(place);
                }
                if (places.size() == 1)
                    shorter.place = places.front();
                else if (places.size() > 1)
                    shorter.fits = std::move(places);
            }
        }
        for (ReadKey& reading : m_readings)
            reading.place = m_readings[reading.place].place;
    }

    static std::string pair(std::string_view first, std::string_view second)
    {
        return std::string(first) + ',' + std::string(second);
    }

    // Groups in the order their first spelling appears.
    void groupSpellings()
    {
        for (std::uint32_t s = 0; s < m_spellings.size(); ++s) {
            if (m_spellings[s].reading == UINT32_MAX)
                continue;
            const std::uint32_t place = m_readings[m_spellings[s].reading].place;
            auto [at, added] = m_groupOf.try_emplace(place, static_cast<std::uint32_t>(m_groups.size()));
            if (added) {
                m_groups.emplace_back();
                m_places.push_back(place);
            }
            m_groups[at->second].push_back(s);
        }
    }

    /// The spelling a group is written as. A doubtful spelling never is, and one with a stray word
    /// only when every other has one too. Then the fullest: the most parts with names, the most
    /// lands they name, the fewest words and lands written short, the fewest empty parts, the most
    /// lines, the most capitals and diacritics.
    std::optional<std::uint32_t> target(const std::vector<std::uint32_t>& members) const
    {
        const auto rank = [&](std::uint32_t s) {
            const Spelling& spelling = m_spellings[s];
            return std::tuple(!spelling.stray, spelling.parts, m_readings[spelling.reading].named,
                              -static_cast<int>(spelling.abbreviations),
                              -static_cast<int>(spelling.emptyParts), spelling.nodeIDs.size());
        };
        const auto sure = std::find_if(members.begin(), members.end(),
                                       [&](std::uint32_t s) { return !m_spellings[s].doubtful; });
        if (sure == members.end())
            return std::nullopt;
        std::uint32_t chosen = *sure;
        constexpr std::size_t unknown = SIZE_MAX; // counted only on a tie
        std::size_t chosenCare = unknown;
        for (auto at = sure + 1; at != members.end(); ++at) {
            if (m_spellings[*at].doubtful || rank(*at) < rank(chosen))
                continue;
            if (rank(*at) > rank(chosen)) {
                chosen = *at;
                chosenCare = unknown;
                continue;
            }
            if (chosenCare == unknown)
                chosenCare = carefulness(m_spellings[chosen].text);
            if (const std::size_t care = carefulness(m_spellings[*at].text); care > chosenCare) {
                chosen = *at;
                chosenCare = care;
            }
        }
        return chosen;
    }

    std::string targetText(std::size_t group) const
    {
        const auto chosen = m_targets[group];
        return withoutStrayEnd(
            PlaceNames::tidied(m_spellings[chosen ? *chosen : m_groups[group].front()].text));
    }

    std::size_t lineCount(std::size_t group) const
    {
        std::size_t count = 0;
        for (const std::uint32_t s : m_groups[group])
            count += m_spellings[s].nodeIDs.size();
        return count;
    }

    /// The records holding the spellings that a fix rewrites.
    std::vector<std::string> ownersOf(const std::vector<std::uint32_t>& members,
                                      const std::vector<bool>& rewrites) const
    {
        std::vector<std::uint32_t> owners;
        for (std::size_t i = 0; i < members.size(); ++i) {
            if (rewrites[i])
                owners.insert(owners.end(), m_spellings[members[i]].owners.begin(),
                              m_spellings[members[i]].owners.end());
        }
        std::sort(owners.begin(), owners.end());
        owners.erase(std::unique(owners.begin(), owners.end()), owners.end());
        std::vector<std::string> records;
        for (const std::uint32_t position : owners) {
            if (const auto xref = owner(position).xref())
                records.emplace_back(*xref);
        }
        return records;
    }

    /// The findings of a group: those of its spellings only read alike with the one it is written as
    /// (to be checked first), then those written alike, then blanks in spellings neither rewrites;
    /// and the fuller places it may be, when several fit.
    void groupFindings(std::size_t g, std::vector<Issue>& issues)
    {
        const std::vector<std::uint32_t>& members = m_groups[g];
        const std::size_t first = issues.size();
        std::vector<bool> rewrittenAlike(members.size(), false);
        if (members.size() >= 2 && m_targets[g]) {
            PlaceGroup group;
            group.key = m_readings[m_places[g]].key;
            group.suggested = targetText(g);
            std::string listed;
            bool stray = false, expanded = false, filledIn = false;
            for (const std::uint32_t s : members) {
                const Spelling& spelling = m_spellings[s];
                listed += (listed.empty() ? "" : "; ") + quoted(spelling.text) + ": " +
                          lines(spelling.nodeIDs.size());
                group.spellings.push_back(
                    {std::string(spelling.text), spelling.nodeIDs.size(), spelling.nodeIDs});
                stray = stray || spelling.stray;
                expanded = expanded || spelling.expanded;
                filledIn = filledIn || spelling.reading != m_places[g];
            }
            std::vector<bool> rewrites;
            Fix alike = fixOf(group, group.suggested, PlaceNames::Spellings::readAlike, &rewrites);
            if (!alike.edits.empty()) {
                std::vector<std::string> reasons;
                if (expanded)
                    reasons.emplace_back("abbreviations are read in full");
                if (stray)
                    reasons.emplace_back("the word before the place is left out");
                if (filledIn)
                    reasons.emplace_back("the larger places are filled in from a fuller spelling");
                std::string why = " Likely one place once ";
                for (std::size_t i = 0; i < reasons.size(); ++i)
                    why += (i == 0 ? "" : i + 1 == reasons.size() ? " and " : ", ") + reasons[i];
                Issue issue{alike.id,
                            IssueCategory::places,
                            Severity::warning,
                            "Place likely spelled " + std::to_string(members.size()) + " ways",
                            listed + "." + (reasons.empty() ? "" : why + "."),
                            ownersOf(members, rewrites)};
                issue.fix = std::move(alike);
                issue.places = group;
                issues.push_back(std::move(issue));
            }
            Fix written = fixOf(group, group.suggested, PlaceNames::Spellings::writtenAlike, &rewrittenAlike);
            if (!written.edits.empty()) {
                // It names only the spellings written alike with another: those read alike are the
                // other finding's.
                std::vector<std::string> keys;
                for (const PlaceSpelling& spelling : group.spellings)
                    keys.push_back(folded(spelling.text).key);
                std::string listedAlike;
                std::size_t ways = 0;
                for (std::size_t i = 0; i < keys.size(); ++i) {
                    if (std::count(keys.begin(), keys.end(), keys[i]) < 2)
                        continue;
                    ++ways;
                    listedAlike += (listedAlike.empty() ? "" : "; ") + quoted(group.spellings[i].text) +
                                   ": " + lines(group.spellings[i].count);
                }
                Issue issue{written.id,        IssueCategory::places,
                            Severity::warning, "Place spelled " + std::to_string(ways) + " ways",
                            listedAlike + ".", ownersOf(members, rewrittenAlike)};
                issue.fix = std::move(written);
                issue.places = std::move(group);
                issues.push_back(std::move(issue));
            }
        }
        for (std::size_t i = 0; i < members.size(); ++i) {
            if (!rewrittenAlike[i])
                extraSpaces(m_spellings[members[i]], issues);
        }
        const std::vector<std::uint32_t>& fits = m_readings[m_places[g]].fits;
        if (fits.empty())
            return;
        std::string which = " It may be ";
        for (std::size_t i = 0; i < fits.size(); ++i) {
            const std::size_t other = m_groupOf.at(fits[i]);
            which += (i == 0                 ? ""
                      : i + 1 == fits.size() ? " or "
                                             : ", ") +
                     quoted(targetText(other)) + " (" + lines(lineCount(other)) + ")";
        }
        which += "; write it as the one it is.";
        if (issues.size() > first && !issues[first].id.starts_with("place-space-")) {
            issues[first].detail += which;
            return;
        }
        const std::string text = targetText(g);
        Issue issue{"place-which-" + m_readings[m_places[g]].key,
                    IssueCategory::places,
                    Severity::info,
                    "Place that fits " + std::to_string(fits.size()) + " fuller places",
                    quoted(text) + ": " + lines(lineCount(g)) + "." + which,
                    ownersOf(members, std::vector<bool>(members.size(), true))};
        issues.insert(issues.begin() + static_cast<std::ptrdiff_t>(first), std::move(issue));
    }

    void extraSpaces(const Spelling& spelling, std::vector<Issue>& issues) const
    {
        if (!PlaceNames::hasExtraSpaces(spelling.text))
            return;
        const std::string target = PlaceNames::tidied(spelling.text);
        if (target == spelling.text)
            return;
        for (std::size_t i = 0; i < spelling.nodeIDs.size(); ++i) {
            const std::string id = "place-space-" + std::to_string(spelling.nodeIDs[i]);
            const NodeView record = owner(spelling.owners[i]);
            const std::string context =
                recordLabel(record) + " \u00B7 " + tagPath(record, spelling.nodeIDs[i]);
            Issue issue{id,
                        IssueCategory::places,
                        Severity::info,
                        "Extra spaces in a place name",
                        context + ": " + quoted(spelling.text),
                        {std::string(record.xref().value_or(std::string_view()))}};
            issue.fix = Fix{id,
                            "Write as " + quoted(target),
                            {Edit{Edit::SetValue{spelling.nodeIDs[i], std::string(spelling.text), target}}},
                            {PreviewLine{context, std::string(spelling.text), target}},
                            spelling.doubtful};
            issues.push_back(std::move(issue));
        }
    }

    /// Places that are dates ("12 MAR 1890", "1890"), in file order. When the event has no date
    /// the place moves to it.
    void datesAsPlaces(std::vector<Issue>& issues) const
    {
        const bool v7 = std::holds_alternative<GedcomVersion::V7>(m_document.version().value);
        std::vector<std::pair<std::int64_t, std::uint32_t>> found; // node, owner
        for (const Spelling& spelling : m_spellings) {
            // Every date has a year; nearly every place has no digit and is not read at all.
            if (std::none_of(spelling.text.begin(), spelling.text.end(),
                             [](char c) { return c >= '0' && c <= '9'; }))
                continue;
            if (!GedcomDates::range(spelling.text, NumericDateOrder::automatic, v7))
                continue;
            for (std::size_t i = 0; i < spelling.nodeIDs.size(); ++i)
                found.emplace_back(spelling.nodeIDs[i], spelling.owners[i]);
        }
        std::sort(found.begin(), found.end());
        for (const auto& [node, position] : found) {
            const NodeView record = owner(position);
            const std::vector<NodeView> path = pathTo(record, node);
            const NodeView line = path.back();
            const std::string value = line.fullValue();
            const std::string written(Text::trimmed(value));
            const std::string id = "place-date-" + std::to_string(node);
            const std::string context = recordLabel(record) + " \u00B7 " + tagPath(record, node);
            Issue issue{id,
                        IssueCategory::places,
                        Severity::warning,
                        "Place that looks like a date",
                        context + ": " + quoted(written) + " is a date, not a place.",
                        {std::string(record.xref().value_or(std::string_view()))}};
            // The event is the line above the place, when that is not the record itself.
            const std::optional<NodeView> event =
                path.size() > 2 ? std::optional(path[path.size() - 2]) : std::nullopt;
            bool dated = false;
            if (event) {
                for (NodeView child : event->children())
                    dated = dated || child.tag() == "DATE";
            }
            if (event && !dated && record.xref()) {
                const std::string eventContext =
                    recordLabel(record) + " \u00B7 " + tagPath(record, event->id());
                issue.fix = Fix{id,
                                "Move it to the date",
                                {Edit{Edit::Remove{node}},
                                 Edit{Edit::Add{std::string(record.xref().value_or(std::string_view())),
                                                event->id(), "DATE", written, std::nullopt}}},
                                {PreviewLine{context, value, std::nullopt},
                                 PreviewLine{eventContext + " DATE", std::nullopt, written}},
                                true};
            }
            issues.push_back(std::move(issue));
        }
    }

    const GedcomDocument& m_document;
    // Spellings keep their own text: comparing with the first line written that way would read
    // the document all over again.
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> m_known;
    std::vector<Spelling> m_spellings; ///< in the order they first appear, their text in m_known
    std::uint32_t m_last = UINT32_MAX; ///< the spelling of the PLAC line before
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> m_readingOf;
    std::vector<ReadKey> m_readings;                            ///< their keys in m_readingOf
    std::vector<std::vector<std::uint32_t>> m_groups;           ///< spellings of each group
    std::vector<std::uint32_t> m_places;                        ///< the read key naming each group's place
    std::unordered_map<std::uint32_t, std::uint32_t> m_groupOf; ///< by the read key naming the place
    std::vector<std::optional<std::uint32_t>> m_targets;        ///< the spelling each group is written as
};

} // namespace

std::vector<Issue> places(const GedcomDocument& document, PlaceCount* count)
{
    return PlaceCheck(document).run(count);
}

} // namespace Checks
} // namespace kinloom
