// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Scanner.h"

#include "changes/FixApplier.h"
#include "checks/Checks.h"
#include "document/Text.h"
#include "family/TreeIndex.h"
#include "structure/StructureChecks.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cmath>
#include <ctime>
#include <functional>
#include <future>
#include <limits>
#include <span>

namespace kinloom {
using Text::isBlank;
using Text::quoted;
using Text::trimmed;

namespace {

std::vector<std::string> recordsOf(NodeView record)
{
    if (const auto xref = record.xref())
        return {std::string(*xref)};
    return {};
}

/// The first `count` characters of UTF-8 text.
std::string_view firstCharacters(std::string_view text, std::size_t count)
{
    std::size_t i = 0;
    for (std::size_t seen = 0; i < text.size() && seen < count; ++seen) {
        ++i;
        while (i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80)
            ++i;
    }
    return text.substr(0, i);
}

/// A DATE value that is not written the standard way, kept until the numeric order is known.
struct OddDate
{
    NodeView node;
    NodeView record;
    std::string value; ///< the full value, trimmed
};

/// What one walk over the document gathers for the file and date-format checks.
struct Walked
{
    std::vector<Issue> fileIssues;
    std::vector<OddDate> oddDates;
    std::vector<OddDate> reversedRanges; ///< standard ranges that end before they start
    std::size_t dates = 0;
    std::array<std::size_t, GedcomDates::allStyles.size()> styleCounts{};
};

// File checks (reading notes, unreadable lines kept as they are, a missing header, and unless
// `structure` is false the file's structure) and the first half of the date-format checks: every
// DATE value outside the header is counted and styled.
Walked walkDocument(const GedcomDocument& document, bool v7, bool structure)
{
    Walked walked;
    std::vector<Issue>& issues = walked.fileIssues;
    for (std::size_t i = 0; i < document.readNotes.size(); ++i)
        issues.push_back({"file-read-" + std::to_string(i), IssueCategory::file, Severity::info,
                          "How the file was read", document.readNotes[i]});
    bool hasHeader = false;
    StructureChecks::Walk structureWalk =
        structure ? StructureChecks::start(document.version()) : StructureChecks::Walk{};
    for (NodeView record : document.records()) {
        // While the record's lines are at hand.
        StructureChecks::checkRecord(structureWalk, record);
        const bool header = record.tag() == "HEAD";
        hasHeader = hasHeader || header;
        record.walk([&](NodeView node) {
            if (node.isMalformed()) {
                // A record that is itself an unreadable line has no label of its own.
                const std::string label = record.isMalformed() ? "the file" : recordLabel(record);
                issues.push_back({"file-line-" + std::to_string(node.id()), IssueCategory::file,
                                  Severity::info, "Unreadable line kept as is",
                                  "In " + label + ": " +
                                      quoted(firstCharacters(node.raw().value_or(""), 120)) +
                                      ". It is saved unchanged.",
                                  recordsOf(record)});
                return;
            }
            if (header || node.tag() != "DATE")
                return;
            std::string joined;
            const std::string_view value =
                node.hasChildren() ? trimmed(joined = node.fullValue()) : trimmed(node.value().value_or(""));
            if (value.empty())
                return;
            ++walked.dates;
            const std::string_view style = GedcomDates::style(value, v7);
            const auto styleIndex = static_cast<std::size_t>(
                std::find(GedcomDates::allStyles.begin(), GedcomDates::allStyles.end(), style) -
                GedcomDates::allStyles.begin());
            ++walked.styleCounts[std::min(styleIndex, walked.styleCounts.size() - 1)];
            if (styleIndex != 0)
                walked.oddDates.push_back({node, record, std::string(value)});
            else if (GedcomDates::isReversedRange(value, v7))
                walked.reversedRanges.push_back({node, record, std::string(value)});
        });
    }
    if (!hasHeader)
        issues.push_back(
            {"file-nohead", IssueCategory::file, Severity::warning, "No header",
             "The file has no HEAD record. Most programs still read it, but it may not be a GEDCOM file."});
    std::vector<Issue> structureIssues = StructureChecks::finish(std::move(structureWalk), document);
    std::move(structureIssues.begin(), structureIssues.end(), std::back_inserter(issues));
    return walked;
}

/// The text split at white space and joined with single blanks.
std::string collapsedWords(std::string_view text)
{
    std::string words;
    for (const std::string_view word : Text::words(text))
        words += (words.empty() ? "" : " ") + std::string(word);
    return words;
}

/// A value whose words hold one date ("1908 ?"): the date is kept with the words as written, as an
/// interpreted date in 5.5.1 ("INT 1908 (1908 ?)") and as the date with its phrase in GEDCOM 7. The
/// date is read from the words, so the fix needs review.
Issue interpretedDateFinding(NodeView node, std::string_view value, const std::string& words,
                             const std::string& date, const std::string& context, NodeView record, bool v7)
{
    const std::string id = "date-" + std::to_string(node.id());
    Issue issue{id,
                IssueCategory::dateFormats,
                Severity::warning,
                "Date not in the standard form",
                context + ": " + quoted(value) + ", read as " + date + (date.ends_with('.') ? "" : "."),
                recordsOf(record)};
    const std::string from = node.fullValue();
    if (!v7) {
        // The phrase ends at its closing bracket: words holding brackets would not read back.
        if (words.find_first_of("()") != std::string::npos)
            return issue;
        const std::string interpreted = "INT " + date + " (" + words + ")";
        issue.fix = Fix{id,
                        "Write as " + quoted(interpreted),
                        {Edit{Edit::SetValue{node.id(), from, interpreted}}},
                        {PreviewLine{context, std::string(value), interpreted}},
                        true};
        return issue;
    }
    // The phrase is a line of its own under the date; one already there is the user's to keep.
    const auto xref = record.xref();
    if (!xref || node.firstChild("PHRASE"))
        return issue;
    issue.fix = Fix{id,
                    "Write as " + quoted(date) + " with the phrase " + quoted(words),
                    {Edit{Edit::SetValue{node.id(), from, date}},
                     Edit{Edit::Add{std::string(*xref), node.id(), "PHRASE", words, std::nullopt}}},
                    {PreviewLine{context, std::string(value), date},
                     PreviewLine{context + " PHRASE", std::nullopt, words}},
                    true};
    return issue;
}

/// Whether two values differ only in letter case and in the blanks between their words.
bool onlyCaseOrBlanks(std::string_view value, std::string_view standard)
{
    const std::vector<std::string_view> a = Text::words(value), b = Text::words(standard);
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](std::string_view x, std::string_view y) {
        return std::equal(x.begin(), x.end(), y.begin(), y.end(), [](char p, char q) {
            return std::tolower(static_cast<unsigned char>(p)) == std::tolower(static_cast<unsigned char>(q));
        });
    });
}

/// The finding for one DATE value that is not written the standard way, if any.
std::optional<Issue> dateFinding(NodeView node, std::string_view value, const std::string& context,
                                 NodeView record, bool v7, NumericDateOrder order)
{
    const std::string id = "date-" + std::to_string(node.id());
    // The applier compares the whole value, continuation lines and blanks included, and replaces it.
    const std::string from = node.fullValue();
    const DateNormalization normalization = GedcomDates::normalize(value, v7, order);
    if (const auto* fix = std::get_if<DateNormalization::Fix>(&normalization.value)) {
        // "24 Mar 1800" or "ABT  1850" says the standard date already: only its writing differs.
        Issue issue{id,
                    IssueCategory::dateFormats,
                    onlyCaseOrBlanks(value, fix->value) ? Severity::info : Severity::warning,
                    "Date not in the standard form",
                    context + ": " + quoted(value),
                    recordsOf(record)};
        issue.fix = Fix{id,
                        "Write as " + quoted(fix->value),
                        {Edit{Edit::SetValue{node.id(), from, fix->value}}},
                        {PreviewLine{context, std::string(value), fix->value}},
                        false};
        return issue;
    }
    if (const auto* ambiguous = std::get_if<DateNormalization::Ambiguous>(&normalization.value)) {
        std::string readings;
        for (const std::string& reading : ambiguous->readings)
            readings += (readings.empty() ? "" : " or ") + reading;
        return Issue{id,
                     IssueCategory::dateFormats,
                     Severity::warning,
                     "Date reads two ways",
                     context + ": " + quoted(value) + " could be " + readings +
                         ". Choose Day first or Month first in Settings \u203A Checks to fix these.",
                     recordsOf(record)};
    }
    if (!std::holds_alternative<DateNormalization::Unrecognized>(normalization.value))
        return std::nullopt;

    if (const std::optional<std::string> range = GedcomDates::eitherYear(value)) {
        Issue issue{id,
                    IssueCategory::dateFormats,
                    Severity::warning,
                    "Date not in the standard form",
                    context + ": " + quoted(value) + ". Dual years ended in " +
                        std::to_string(GedcomDates::lastDualYear) +
                        ", so two years written like this mean one or the other.",
                    recordsOf(record)};
        issue.fix = Fix{id,
                        "Write as " + quoted(*range),
                        {Edit{Edit::SetValue{node.id(), from, *range}}},
                        {PreviewLine{context, std::string(value), *range}},
                        true};
        return issue;
    }
    const std::string words = collapsedWords(value);
    // Swapped fields ("Machine operator, Ford Motor Co.") or a word for a fact ("STILLBORN"):
    // wrapped as a phrase, the text would pass for a date and its real place be lost.
    if (!GedcomDates::hasDateElement(value))
        return Issue{id,
                     IssueCategory::dateFormats,
                     Severity::warning,
                     "Text where a date belongs",
                     context + ": " + quoted(value) +
                         " has no year, month or day. It may belong in another field of the event, or in a "
                         "note.",
                     recordsOf(record)};

    const std::optional<WordsDate> read = GedcomDates::dateInWords(value, v7, order);
    if (read && read->plain)
        return interpretedDateFinding(node, value, words, read->date, context, record, v7);

    Issue issue{id,
                IssueCategory::dateFormats,
                Severity::info,
                "Not a date Kinloom can read",
                context + ": " + quoted(value) +
                    ". GEDCOM keeps words like this in brackets as a date phrase.",
                recordsOf(record)};
    // A date read among the words (approximate, or a range) would be lost in a phrase, and GEDCOM 7
    // writes its phrases differently.
    if (!read && !v7 && !words.empty() && words.find_first_of("()") == std::string::npos) {
        const std::string phrase = "(" + words + ")";
        issue.fix = Fix{id,
                        "Keep as a date phrase " + quoted(phrase),
                        {Edit{Edit::SetValue{node.id(), from, phrase}}},
                        {PreviewLine{context, std::string(value), phrase}},
                        true};
    }
    return issue;
}

// The second half of the date-format checks, once the numeric order is known: the styles counted
// and, unless they are skipped, a finding for each value not written the standard way.
std::vector<Issue> dateFormatChecks(const Walked& walked, bool v7, NumericDateOrder order,
                                    std::vector<DateStyleCount>& styles, bool skipped)
{
    std::vector<Issue> issues;
    // The dates programs write for themselves when a record changes are one finding, with one fix.
    std::size_t changeDates = 0;
    Fix changeFix{"date-chan", "Write every change date the standard way", {}, {}, false};
    for (const OddDate& odd : skipped ? std::span<const OddDate>() : std::span(walked.oddDates)) {
        // The path names the lines below the record, as the change log does ("BIRT DATE").
        const std::string path = tagPath(odd.record, odd.node.id());
        const std::string context = recordLabel(odd.record) + " \u00B7 " + path;
        auto issue = dateFinding(odd.node, odd.value, context, odd.record, v7, order);
        if (!issue)
            continue;
        if (path == "CHAN DATE" && issue->fix && !issue->fix->needsReview) {
            ++changeDates;
            for (Edit& edit : issue->fix->edits)
                changeFix.edits.push_back(std::move(edit));
            for (PreviewLine& line : issue->fix->preview)
                changeFix.preview.push_back(std::move(line));
            continue;
        }
        issues.push_back(std::move(*issue));
    }
    // A range backwards is a date all the same, but one of its ends is likely mistyped; which one,
    // only the genealogist can tell.
    for (const OddDate& odd : walked.reversedRanges) {
        issues.push_back({"date-reversed-" + std::to_string(odd.node.id()), IssueCategory::dateFormats,
                          Severity::warning, "Date range that ends before it starts",
                          recordLabel(odd.record) + " \u00B7 " + tagPath(odd.record, odd.node.id()) + ": " +
                              quoted(odd.value) +
                              ". Its second date is earlier than its first: one of them may be mistyped.",
                          recordsOf(odd.record)});
    }
    if (changeDates > 0) {
        const std::string count = std::to_string(changeDates);
        Issue changes{"date-chan", IssueCategory::dateFormats, Severity::info,
                      count + (changeDates == 1 ? " change date written" : " change dates written") +
                          " in another form",
                      "Family-tree programs write the date a record was last changed (CHAN) for "
                      "themselves; " +
                          count + (changeDates == 1 ? " is" : " are") + " not written the standard way."};
        changes.fix = std::move(changeFix);
        issues.push_back(std::move(changes));
    }

    // Most frequent style first; equal counts keep the order of the styles.
    for (std::size_t i = 0; i < walked.styleCounts.size(); ++i) {
        if (walked.styleCounts[i] > 0)
            styles.push_back({std::string(GedcomDates::allStyles[i]), walked.styleCounts[i]});
    }
    std::stable_sort(styles.begin(), styles.end(),
                     [](const DateStyleCount& a, const DateStyleCount& b) { return a.count > b.count; });
    return issues;
}

/// The finding that says the file writes dates several ways, after the others of its category.
std::optional<Issue> styleSummary(const std::vector<DateStyleCount>& styles)
{
    if (styles.size() < 2)
        return std::nullopt;
    std::string detail;
    for (const DateStyleCount& count : styles)
        detail += (detail.empty() ? "" : "; ") + count.style + ": " + std::to_string(count.count);
    return Issue{"date-styles", IssueCategory::dateFormats, Severity::info,
                 "Dates are written " + std::to_string(styles.size()) + " ways",
                 detail + ". The fixes below write every date the standard way."};
}

// Two-digit years. The dates beside one decide its century, when they all lie in the years a
// family tree usually covers: in a tree of ancient dates a short year may be meant as written.
constexpr double earliestUsualYear = 1000;
constexpr double latestUsualYear = 2100;

/// Where the years written with one or two digits stand among a standard value's pieces: the last
/// piece of a date with no era after it.
std::vector<std::size_t> shortYearPieces(const std::vector<std::string_view>& pieces)
{
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::string_view piece = pieces[i];
        if (piece.empty() || piece.size() > 2 ||
            !std::all_of(piece.begin(), piece.end(), [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        const std::string_view next = i + 1 < pieces.size() ? pieces[i + 1] : std::string_view();
        if (next.empty() || next == "AND" || next == "TO" || next.front() == '(')
            found.push_back(i);
    }
    return found;
}

std::vector<std::string_view> blankPieces(std::string_view value)
{
    std::vector<std::string_view> pieces;
    for (std::size_t start = 0; start <= value.size();) {
        const std::size_t end = std::min(value.find(' ', start), value.size());
        pieces.push_back(value.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

/// Where a fact stands in a life: births and christenings first, deaths and what follows them
/// last, everything else between.
enum class LifeStage : std::uint8_t
{
    start,
    during,
    end
};

LifeStage stageOf(std::string_view tag)
{
    if (tag == "BIRT" || tag == "CHR" || tag == "BAPM")
        return LifeStage::start;
    if (tag == "DEAT" || tag == "BURI" || tag == "CREM" || tag == "PROB")
        return LifeStage::end;
    return LifeStage::during;
}

struct OtherDate
{
    DateRange range;
    LifeStage stage = LifeStage::during;
};

/// How far apart two spans lie, in years; 0 when they meet. Open ends are left out.
double distance(const DateRange& a, const DateRange& b)
{
    double apart = 0;
    if (a.low && b.high)
        apart = std::max(apart, *a.low - *b.high);
    if (b.low && a.high)
        apart = std::max(apart, *b.low - *a.high);
    return apart;
}

/// A finding for a DATE of one record whose year has one or two digits, when the record's other
/// dates (`others`) all lie in the usual years.
void shortYear(const EventFact& fact, const std::vector<OtherDate>& others, NodeView record, bool v7,
               double maxLifespan, std::vector<Issue>& issues)
{
    const std::string_view value = fact.date().value_or("");
    if (!GedcomDates::readStandard(value, v7))
        return;
    std::vector<std::string_view> pieces = blankPieces(value);
    const std::vector<std::size_t> years = shortYearPieces(pieces);
    if (years.empty() || others.empty())
        return;
    for (const OtherDate& other : others) {
        const DateRange& range = other.range;
        if ((range.low && (*range.low < earliestUsualYear || *range.low > latestUsualYear)) ||
            (range.high && (*range.high < earliestUsualYear || *range.high > latestUsualYear)))
            return;
    }

    // The century that puts the date nearest the others, all of them within a lifespan of it and
    // none out of the order of a life (a death before the birth).
    const LifeStage stage = stageOf(fact.tag());
    std::optional<std::string> best;
    double bestDistance = maxLifespan;
    for (int century = static_cast<int>(earliestUsualYear) / 100; century < latestUsualYear / 100;
         ++century) {
        std::string candidate;
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            if (i > 0)
                candidate += ' ';
            if (std::find(years.begin(), years.end(), i) != years.end())
                candidate += std::to_string(century * 100 + std::stoi(std::string(pieces[i])));
            else
                candidate += pieces[i];
        }
        const std::optional<DateRange> range = GedcomDates::readStandard(candidate, v7);
        if (!range)
            continue;
        double farthest = 0;
        for (const OtherDate& other : others) {
            const DateRange& at = other.range;
            if ((stage < other.stage && at.high && range->low && *at.high <= *range->low) ||
                (stage > other.stage && range->high && at.low && *range->high <= *at.low))
                farthest = std::numeric_limits<double>::infinity();
            farthest = std::max(farthest, distance(*range, at));
        }
        if (farthest <= bestDistance && (!best || farthest < bestDistance)) {
            best = std::move(candidate);
            bestDistance = farthest;
        }
    }

    const std::int64_t node = *fact.dateNodeID();
    const std::string id = "date-century-" + std::to_string(node);
    const std::string context = recordLabel(record) + " \u00B7 " + tagPath(record, node);
    Issue issue{id,
                IssueCategory::dateFormats,
                Severity::warning,
                "Year written with two digits",
                context + ": " + quoted(value) +
                    (best ? " leaves the century out; the other dates put it at " + quoted(*best) + "."
                          : " leaves the century out, and the other dates do not tell which."),
                recordsOf(record)};
    if (best) {
        const std::vector<std::string_view> written = blankPieces(*best);
        issue.fix = Fix{id,
                        "Write the year as " + std::string(written[years.front()]),
                        {Edit{Edit::SetValue{node, fact.dateLine()->fullValue(), *best}}},
                        {PreviewLine{context, std::string(value), *best}},
                        true};
    }
    issues.push_back(std::move(issue));
}

/// A fact whose date may hold a short year: one of its bounds lies before the usual years.
bool mayHoldShortYear(const EventFact& fact)
{
    return fact.dateOffset && (fact.low < earliestUsualYear || fact.high < earliestUsualYear);
}

void addRange(const EventFact* fact, const EventFact* except, LifeStage stage, std::vector<OtherDate>& others)
{
    if (!fact || fact == except || !fact->dateOffset)
        return;
    if (auto range = fact->range(); range && (range->low || range->high))
        others.push_back({*range, stage});
}

/// Years written with one or two digits in the dates of people, then of families.
std::vector<Issue> shortYearChecks(const TreeIndex& index, double maxLifespan)
{
    std::vector<Issue> issues;
    std::vector<OtherDate> others;
    for (const Person& person : index.people) {
        for (const EventFact& fact : person.events) {
            if (!mayHoldShortYear(fact))
                continue;
            others.clear();
            for (const EventFact& other : person.events)
                addRange(&other, &fact, stageOf(other.tag()), others);
            shortYear(fact, others, person.record, index.v7, maxLifespan, issues);
        }
    }
    for (const Family& family : index.families) {
        for (const EventFact& fact : family.events) {
            if (!mayHoldShortYear(fact))
                continue;
            // A family's own dates are few: the spouses' births and deaths count too.
            others.clear();
            for (const EventFact& other : family.events)
                addRange(&other, &fact, LifeStage::during, others);
            for (const auto& spouse : {family.husband, family.wife}) {
                if (const Person* person = spouse ? index.person(*spouse) : nullptr) {
                    const LifeFacts facts(*person);
                    addRange(facts.birth, nullptr, LifeStage::start, others);
                    addRange(facts.death, nullptr, LifeStage::end, others);
                }
            }
            shortYear(fact, others, family.record, index.v7, maxLifespan, issues);
        }
    }
    return issues;
}

/// A stage of a scan that progress names, with the share of a scan's time it takes on a large
/// tree with two cores, so that the fraction moves evenly.
struct Stage
{
    const char* text;
    double share;
};

namespace Stages {
constexpr Stage file{"Checking the file\u2026", 0.20};
constexpr Stage dateFormats{"Checking how dates are written\u2026", 0.05};
constexpr Stage places{"Checking place names\u2026", 0.08};
constexpr Stage indexing{"Indexing people and families\u2026", 0.15};
constexpr Stage impossibleDates{"Looking for impossible dates\u2026", 0.06};
constexpr Stage missing{"Looking for missing details\u2026", 0.03};
constexpr Stage links{"Checking links between records\u2026", 0.15};
constexpr Stage duplicates{"Looking for duplicates\u2026", 0.28};
} // namespace Stages

/// Tells the callback each stage as it is reached, with the share of the work done before it.
class StageProgress
{
public:
    explicit StageProgress(const ProgressCallback& callback) : m_callback(callback) {}

    void reach(const Stage& stage)
    {
        if (!m_callback)
            return;
        m_callback({stage.text, std::min(m_done, 1.0)});
        m_done += stage.share;
        m_last = stage.text;
    }

    void finish()
    {
        if (m_callback)
            m_callback({m_last, 1.0});
    }

private:
    const ProgressCallback& m_callback;
    double m_done = 0;
    const char* m_last = "";
};

/// Whether every kind of the category is skipped, so that its check need not run.
bool isSkipped(const ScanOptions& options, IssueCategory category)
{
    return std::ranges::all_of(allFindingKinds(), [&](const FindingKind& kind) {
        return kind.category != category || options.skips(kind.id);
    });
}

} // namespace

namespace Scanner {

int currentYear()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local.tm_year + 1900;
}

ScanResult scan(const GedcomDocument& document, const ScanOptions& options, unsigned threads,
                const ProgressCallback& progress,
                const std::function<void(const TreeIndex&, std::span<const Issue>)>& withIndex)
{
    ScanResult result;
    TreeStats& stats = result.stats;
    stats.version = document.version().displayName();
    stats.encoding = std::string(displayName(document.encoding));
    const bool v7 = std::holds_alternative<GedcomVersion::V7>(document.version().value);

    // Two lanes of work side by side. One decides the numeric order, builds the index and looks
    // for duplicates (the longest check); the other walks the document for the file and date
    // checks and checks the places. The checks that read the index are then taken by whichever
    // lane is free: the second from the first of them on, the first from the last of them back.
    // The findings are joined in the fixed order, so the result does not depend on timing.
    // Progress is told on the calling thread only: the first lane says nothing on a thread of its
    // own, and the calling thread names every stage in order, where it runs or waits for it.
    StageProgress stages(progress);
    const bool oneThread = threads == 1;
    const auto unlessSkipped = [&](IssueCategory category, auto check) {
        return isSkipped(options, category) ? std::vector<Issue>() : check();
    };
    std::optional<TreeIndex> index;
    struct IndexCheck
    {
        const Stage& stage;
        std::function<std::vector<Issue>()> run;
        std::atomic<bool> taken = false;
        std::vector<Issue> found;
    };
    std::array<IndexCheck, 3> indexChecks{
        IndexCheck{Stages::impossibleDates,
                   [&] {
                       return unlessSkipped(IssueCategory::impossibleDates,
                                            [&] { return Checks::impossibleDates(*index, options); });
                   }},
        IndexCheck{Stages::missing,
                   [&] {
                       return unlessSkipped(IssueCategory::missing,
                                            [&] { return Checks::missing(*index, document); });
                   }},
        IndexCheck{Stages::links, [&] {
                       return unlessSkipped(IssueCategory::links,
                                            [&] { return Checks::links(*index, document); });
                   }}};
    const auto take = [](IndexCheck& check) {
        if (!check.taken.exchange(true))
            check.found = check.run();
    };
    std::promise<NumericDateOrder> decided;
    std::shared_future<NumericDateOrder> orderKnown = decided.get_future().share();
    std::promise<void> indexed;
    std::shared_future<void> indexReady = indexed.get_future().share();
    auto duplicates = std::async(oneThread ? std::launch::deferred : std::launch::async, [&] {
        if (oneThread)
            stages.reach(Stages::indexing);
        NumericDateOrder order = options.numericOrder;
        if (order == NumericDateOrder::automatic)
            order = GedcomDates::decideNumericOrder(document);
        decided.set_value(order);
        index.emplace(TreeIndex::build(document, order, threads));
        indexed.set_value();
        if (oneThread)
            stages.reach(Stages::duplicates);
        std::vector<Issue> found;
        if (!isSkipped(options, IssueCategory::duplicates))
            found = Checks::duplicates(*index, document, options, threads);
        if (!oneThread) {
            for (auto check = indexChecks.rbegin(); check != indexChecks.rend(); ++check)
                take(*check);
        }
        return found;
    });
    if (oneThread)
        duplicates.wait();
    stages.reach(Stages::file);
    const bool structure = !std::ranges::all_of(allFindingKinds(), [&](const FindingKind& kind) {
        return !kind.id.starts_with("struct-") || options.skips(kind.id);
    });
    const Walked walked = walkDocument(document, v7, structure);
    const NumericDateOrder order = orderKnown.get();
    if (options.numericOrder == NumericDateOrder::automatic && order != NumericDateOrder::automatic)
        stats.numericOrder = order;
    stages.reach(Stages::dateFormats);
    std::vector<Issue> dateIssues =
        dateFormatChecks(walked, v7, order, stats.dateStyles, options.skips("date"));
    stages.reach(Stages::places);
    std::vector<Issue> placeIssues;
    if (!isSkipped(options, IssueCategory::places)) {
        Checks::PlaceCount count;
        placeIssues = Checks::places(document, &count);
        stats.placeSpellings = count.spellings;
        stats.distinctPlaces = count.places;
    }
    if (!oneThread)
        stages.reach(Stages::indexing);
    indexReady.wait();

    stats.people = index->people.size();
    stats.families = index->families.size();
    stats.sources = index->sourceRecords;
    stats.otherRecords = index->otherRecords;
    stats.places = index->placeValues;
    stats.lines = index->lines;
    stats.dates = walked.dates;

    // The checks in their fixed order.
    std::vector<std::vector<Issue>> checks;
    checks.push_back(walked.fileIssues);
    if (!options.skips("date-century")) {
        std::vector<Issue> shortYears = shortYearChecks(*index, options.maxLifespan);
        std::move(shortYears.begin(), shortYears.end(), std::back_inserter(dateIssues));
    }
    // The summary is a kind of its own: it stays when the values' findings are skipped.
    if (auto summary = styleSummary(stats.dateStyles); summary && !options.skips("date-styles"))
        dateIssues.push_back(std::move(*summary));
    checks.push_back(std::move(dateIssues));
    for (IndexCheck& check : indexChecks) {
        stages.reach(check.stage);
        take(check);
    }
    if (!oneThread)
        stages.reach(Stages::duplicates);
    std::vector<Issue> duplicateIssues = duplicates.get();
    checks.push_back(std::move(indexChecks[0].found));
    checks.push_back(std::move(placeIssues));
    checks.push_back(std::move(indexChecks[1].found));
    checks.push_back(std::move(indexChecks[2].found));
    checks.push_back(std::move(duplicateIssues));
    // The kinds skipped within a check that ran.
    for (auto& found : checks) {
        if (!options.skippedKinds.empty())
            std::erase_if(found, [&](const Issue& issue) { return options.skips(kindOf(issue.id)); });
        std::move(found.begin(), found.end(), std::back_inserter(result.issues));
    }
    if (withIndex)
        withIndex(*index, result.issues);
    stages.finish();
    return result;
}

} // namespace Scanner
} // namespace kinloom
