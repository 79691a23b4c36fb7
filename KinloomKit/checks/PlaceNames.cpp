// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/PlaceNames.h"

#include "changes/FixApplier.h"
#include "checks/Checks.h"
#include "document/Text.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <tuple>
#include <unordered_map>
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

/// The fields of a row of the tables, split at "|".
std::vector<std::string_view> fieldsOf(std::string_view row)
{
    std::vector<std::string_view> fields;
    for (std::size_t at = 0;;) {
        const std::size_t bar = row.find('|', at);
        fields.push_back(row.substr(at, bar - at));
        if (bar == std::string_view::npos)
            return fields;
        at = bar + 1;
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
            const std::vector<std::string_view> fields = fieldsOf(row);
            const auto index = static_cast<std::uint16_t>(tables.regions.size());
            tables.regions.push_back({fields[1], fields[0]});
            for (std::size_t i = 1; i < fields.size(); ++i)
                tables.regionByForm.emplace(fields[i], index);
        }
        for (const std::string_view row : wordRows) {
            const std::vector<std::string_view> fields = fieldsOf(row);
            for (std::size_t i = 1; i < fields.size(); ++i)
                tables.wordByForm.emplace(fields[i], fields[0]);
        }
        return tables;
    }();
    return made;
}

/// Words before a place that say how the event stood to it, not where it was.
constexpr std::array<std::string_view, 4> strayWords{"of", "in", "at", "near"};

/// What a key reads as: its words and the lands at its end written in full, a stray word before
/// it dropped, and a land dropped after a part that lies in it ("St Louis, MO, USA" reads
/// "saint louis,missouri").
struct Reading
{
    std::string key;
    bool stray = false; ///< whether a stray word was dropped
};

Reading read(std::string_view key)
{
    const PlaceTables& table = tables();
    Reading reading;
    std::vector<std::string_view> written;
    for (std::size_t at = 0;;) {
        const std::size_t comma = key.find(',', at);
        written.push_back(key.substr(at, comma - at));
        if (comma == std::string_view::npos)
            break;
        at = comma + 1;
    }
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
        // "Co. Cork" is the county of Cork.
        constexpr std::string_view county = "county ";
        if (found == table.regionByForm.end() && parts[i].starts_with(county))
            found = table.regionByForm.find(std::string_view(parts[i]).substr(county.size()));
        if (found == table.regionByForm.end())
            break;
        regions[i] = found->second;
        parts[i] = table.regions[found->second].name;
    }
    const auto liesIn = [&](std::int32_t region, std::string_view land) {
        for (std::string_view within = table.regions[region].within; !within.empty();) {
            if (within == land)
                return true;
            within = table.regions[table.regionByForm.at(within)].within;
        }
        return false;
    };
    while (parts.size() >= 3 && regions[parts.size() - 2] >= 0 && regions.back() >= 0 &&
           liesIn(regions[parts.size() - 2], parts.back())) {
        parts.pop_back();
        regions.pop_back();
    }
    for (std::size_t i = 0; i < parts.size(); ++i)
        reading.key += (i > 0 ? "," : "") + parts[i];
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
    std::vector<std::string_view> parts;
    for (std::size_t at = 0;;) {
        const std::size_t comma = spelling.find(',', at);
        parts.push_back(spelling.substr(at, comma - at));
        if (comma == std::string_view::npos)
            break;
        at = comma + 1;
    }
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

/// One way a place is written, with the lines written that way. `owners` are the records
/// holding the lines: people first, then families, by their place in the index.
struct Spelling
{
    std::string_view text;
    std::uint32_t group = 0;
    bool doubtful = false;
    bool stray = false;
    std::uint16_t parts = 0;
    std::vector<std::int64_t> nodeIDs;
    std::vector<std::uint32_t> owners;
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

Fix fixFor(const PlaceGroup& group, std::string_view target)
{
    // Writing a doubtful spelling everywhere would cast its doubt on lines that had none.
    Fix fix{"place-" + group.key, "Write every spelling as " + quoted(target), {}, {}, isDoubtful(target)};
    for (const PlaceSpelling& spelling : group.spellings) {
        std::string text = rewritten(spelling.text, target);
        if (text == spelling.text)
            continue;
        // Beyond case, blanks and punctuation the spellings are read alike through abbreviations
        // or a stray word: the user checks that they are one place.
        fix.needsReview =
            fix.needsReview || isDoubtful(spelling.text) || folded(spelling.text).key != folded(target).key;
        for (const std::int64_t node : spelling.nodeIDs)
            fix.edits.push_back(Edit{Edit::SetValue{node, spelling.text, text}});
        fix.preview.push_back({"Place \u00B7 " + lines(spelling.count), spelling.text, std::move(text)});
    }
    return fix;
}

} // namespace PlaceNames

namespace Checks {
namespace {

class PlaceCheck
{
public:
    explicit PlaceCheck(const GedcomDocument& document) : m_document(document) {}

    std::vector<Issue> run()
    {
        collect();
        groupSpellings();

        std::vector<Issue> issues;
        for (const std::vector<std::uint32_t>& members : m_groups) {
            if (members.size() >= 2) {
                if (std::optional<Issue> issue = groupFinding(members)) {
                    issues.push_back(std::move(*issue));
                    continue;
                }
            }
            for (const std::uint32_t s : members)
                extraSpaces(m_spellings[s], issues);
        }
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

    // Groups in the order their first spelling appears; spellings that fold to nothing are left
    // alone.
    void groupSpellings()
    {
        std::unordered_map<std::string, std::uint32_t> groups;
        for (std::uint32_t s = 0; s < m_spellings.size(); ++s) {
            const Folded place = folded(m_spellings[s].text);
            if (place.key.empty())
                continue;
            Reading reading = read(place.key);
            Spelling& spelling = m_spellings[s];
            spelling.doubtful = place.doubtful;
            spelling.stray = reading.stray;
            spelling.parts =
                static_cast<std::uint16_t>(std::count(place.key.begin(), place.key.end(), ',') + 1);
            auto [at, added] =
                groups.try_emplace(std::move(reading.key), static_cast<std::uint32_t>(m_groups.size()));
            if (added) {
                m_groups.emplace_back();
                m_keys.push_back(at->first);
            }
            m_spellings[s].group = at->second;
            m_groups[at->second].push_back(s);
        }
    }

    /// The finding of a group of spellings, when there is something to rewrite.
    std::optional<Issue> groupFinding(std::vector<std::uint32_t> members)
    {
        // Most frequent first; spellings came in file order, which a stable sort keeps for ties.
        std::stable_sort(members.begin(), members.end(), [&](std::uint32_t a, std::uint32_t b) {
            return m_spellings[a].nodeIDs.size() > m_spellings[b].nodeIDs.size();
        });
        // A doubtful spelling is never the one the others are written as, and one with a stray
        // word only when every other has one too. Then the fullest: the most parts, the most lines,
        // the most capitals and diacritics.
        const auto rank = [&](std::uint32_t s) {
            const Spelling& spelling = m_spellings[s];
            return std::tuple(!spelling.stray, spelling.parts, spelling.nodeIDs.size());
        };
        const auto sure = std::find_if(members.begin(), members.end(),
                                       [&](std::uint32_t s) { return !m_spellings[s].doubtful; });
        if (sure == members.end())
            return std::nullopt;
        std::uint32_t chosen = *sure;
        std::optional<std::size_t> chosenCare;
        for (auto at = sure + 1; at != members.end(); ++at) {
            if (m_spellings[*at].doubtful || rank(*at) < rank(chosen))
                continue;
            if (rank(*at) > rank(chosen)) {
                chosen = *at;
                chosenCare.reset();
                continue;
            }
            if (!chosenCare)
                chosenCare = carefulness(m_spellings[chosen].text);
            if (const std::size_t care = carefulness(m_spellings[*at].text); care > *chosenCare) {
                chosen = *at;
                chosenCare = care;
            }
        }

        PlaceGroup group;
        group.key = m_keys[m_spellings[members.front()].group];
        group.suggested = withoutStrayEnd(PlaceNames::tidied(m_spellings[chosen].text));
        std::vector<std::uint32_t> owners;
        for (std::uint32_t s : members) {
            const Spelling& spelling = m_spellings[s];
            if (rewritten(spelling.text, group.suggested) != spelling.text)
                owners.insert(owners.end(), spelling.owners.begin(), spelling.owners.end());
        }
        if (owners.empty())
            return std::nullopt;
        std::sort(owners.begin(), owners.end());
        owners.erase(std::unique(owners.begin(), owners.end()), owners.end());

        std::string detail;
        for (std::uint32_t s : members) {
            Spelling& spelling = m_spellings[s];
            detail +=
                (detail.empty() ? "" : "; ") + quoted(spelling.text) + ": " + lines(spelling.nodeIDs.size());
            group.spellings.push_back(
                {std::string(spelling.text), spelling.nodeIDs.size(), std::move(spelling.nodeIDs)});
        }

        Issue issue{"place-" + group.key, IssueCategory::places, Severity::warning,
                    "Place spelled " + std::to_string(members.size()) + " ways", detail + "."};
        for (std::uint32_t position : owners) {
            if (const auto xref = owner(position).xref())
                issue.records.emplace_back(*xref);
        }
        issue.fix = PlaceNames::fixFor(group, group.suggested);
        issue.places = std::move(group);
        return issue;
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
    std::vector<std::vector<std::uint32_t>> m_groups; ///< spellings of each group
    std::vector<std::string> m_keys;                  ///< of each group
};

} // namespace

std::vector<Issue> places(const GedcomDocument& document)
{
    return PlaceCheck(document).run();
}

} // namespace Checks
} // namespace kinloom
