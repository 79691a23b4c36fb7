// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/AppModel.h"

#include "session/BackgroundJob.h"
#include "session/QtText.h"

#include "KinloomPdf/PdfRenderer.h"
#include "checks/Checks.h"
#include "checks/PlaceNames.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "document/Progress.h"
#include "document/SaveError.h"
#include "document/Text.h"
#include "family/TreeIndex.h"
#include "output/Report.h"
#include "sample/SampleTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <unordered_map>
#include <utility>

namespace kinloom {
namespace {

const QString appName = QStringLiteral("Kinloom");
const QString optionsKey = QStringLiteral("scanOptions");
const QString changeLogFormatKey = QStringLiteral("changeLogFormat");
const QString hiddenSeveritiesKey = QStringLiteral("hiddenSeverities");

std::filesystem::path toPath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

QString fromPath(const std::filesystem::path& path)
{
    return QFile::decodeName(QByteArray::fromStdString(path.string()));
}

/// "1 change", "3 changes".
QString changeCount(std::size_t count)
{
    return QString::number(count) + (count == 1 ? QStringLiteral(" change") : QStringLiteral(" changes"));
}

/// "81 more findings", "1 fewer finding", "the same number of findings".
QString findingsDifference(std::size_t before, std::size_t after)
{
    if (before == after)
        return QStringLiteral("the same number of findings");
    const std::size_t difference = after > before ? after - before : before - after;
    return QString::number(difference) +
           (after > before ? QStringLiteral(" more") : QStringLiteral(" fewer")) +
           (difference == 1 ? QStringLiteral(" finding") : QStringLiteral(" findings"));
}

/// What a change of settings was, in the settings window's words: "Longest life 100", "“Name
/// missing” switched off"; several changes at once are "the new settings".
QString settingsChange(const ScanOptions& before, const ScanOptions& after)
{
    QStringList parts;
    if (before.numericOrder != after.numericOrder)
        parts << (after.numericOrder == NumericDateOrder::dayFirst
                      ? QStringLiteral("dates like 03/04/1890 read day first")
                  : after.numericOrder == NumericDateOrder::monthFirst
                      ? QStringLiteral("dates like 03/04/1890 read month first")
                      : QStringLiteral("the date order decided from the file"));
    const std::array<std::pair<const char*, double ScanOptions::*>, 4> limits{{
        {"Youngest parent ", &ScanOptions::minParentAge},
        {"Oldest mother ", &ScanOptions::maxMotherAge},
        {"Oldest father ", &ScanOptions::maxFatherAge},
        {"Longest life ", &ScanOptions::maxLifespan},
    }};
    for (const auto& [label, field] : limits) {
        if (std::lround(before.*field) != std::lround(after.*field))
            parts << QString::fromUtf8(label) + QString::number(std::lround(after.*field));
    }
    if (std::abs(before.duplicateThreshold - after.duplicateThreshold) > 0.001)
        parts << (after.duplicateThreshold >= 0.9   ? QStringLiteral("only very likely duplicates shown")
                  : after.duplicateThreshold >= 0.8 ? QStringLiteral("only likely duplicates shown")
                                                    : QStringLiteral("possible and likely duplicates shown"));
    for (const FindingKind& kind : allFindingKinds()) {
        if (before.skips(kind.id) != after.skips(kind.id))
            parts << QStringLiteral("“") + fromUtf8(kind.title) +
                         (after.skips(kind.id) ? QStringLiteral("” switched off")
                                               : QStringLiteral("” switched on"));
    }
    if (parts.size() == 1)
        return parts.front();
    ScanOptions defaults;
    defaults.currentYear = after.currentYear;
    return after == defaults ? QStringLiteral("the default settings") : QStringLiteral("the new settings");
}

/// The engine's progress, on the worker thread, passed on as a fraction.
ProgressCallback engineProgress(const FractionSink& sink)
{
    return [&sink](const Progress& progress) { sink(progress.fraction); };
}

QSettings settingsStore()
{
    return QSettings(appName, appName);
}

/// Appends the text folded for searching: case, accents and width taken away, and each run of
/// blanks made one blank, so that "muller" finds "Müller".
void appendFolded(std::string& out, std::string_view text)
{
    // Most of a tree's text is ASCII, which folds to lower case without a table.
    if (Text::isAscii(text)) {
        for (const char c : text) {
            if (!Text::isBlank(c))
                out += c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
            else if (!out.empty() && out.back() != ' ' && out.back() != '\n')
                out += ' ';
        }
        return;
    }
    Text::forEachFolded(text, [&out](const Text::FoldedCharacter& character) {
        switch (character.kind) {
        case Text::FoldedCharacter::Kind::letter:
        case Text::FoldedCharacter::Kind::digit:
            out += character.utf8;
            break;
        case Text::FoldedCharacter::Kind::blank:
            if (!out.empty() && out.back() != ' ' && out.back() != '\n')
                out += ' ';
            break;
        case Text::FoldedCharacter::Kind::other: {
            const char32_t c = character.scalar;
            if (c < 0x80) {
                out += char(c);
            } else if (c < 0x800) {
                out += char(0xC0 | (c >> 6));
                out += char(0x80 | (c & 0x3F));
            } else if (c < 0x10000) {
                out += char(0xE0 | (c >> 12));
                out += char(0x80 | ((c >> 6) & 0x3F));
                out += char(0x80 | (c & 0x3F));
            } else {
                out += char(0xF0 | (c >> 18));
                out += char(0x80 | ((c >> 12) & 0x3F));
                out += char(0x80 | ((c >> 6) & 0x3F));
                out += char(0x80 | (c & 0x3F));
            }
            break;
        }
        }
    });
}

/// The names of the records the findings name: a person's names, a family's spouses' names.
std::unordered_map<std::string_view, std::string> recordNames(const GedcomDocument& document)
{
    std::unordered_map<std::string_view, std::string> names;
    std::vector<std::pair<std::string_view, std::vector<std::string_view>>> families;
    for (NodeView record : document.records()) {
        const std::optional<std::string_view> xref = record.xref();
        if (!xref)
            continue;
        if (record.tag() == "INDI") {
            std::string& name = names[*xref];
            for (NodeView line : record.children()) {
                if (line.tag() != "NAME" || !line.value())
                    continue;
                std::string value(*line.value());
                std::erase(value, '/');
                name += value + ' ';
            }
        } else if (record.tag() == "FAM") {
            std::vector<std::string_view> spouses;
            for (NodeView line : record.children()) {
                if ((line.tag() == "HUSB" || line.tag() == "WIFE") && line.value())
                    spouses.push_back(*line.value());
            }
            families.emplace_back(*xref, std::move(spouses));
        }
    }
    for (const auto& [family, spouses] : families) {
        std::string name;
        for (std::string_view spouse : spouses) {
            if (const auto found = names.find(spouse); found != names.end())
                name += found->second;
        }
        names[family] = std::move(name);
    }
    return names;
}

/// A scan's findings, with the text they are searched in.
struct ScanOutcome
{
    ScanResult result;
    std::string searchText;
    std::vector<std::size_t> searchStarts;
    std::vector<bool> dismissed;
};

/// One line per finding of what a search looks at: its title and detail, the xrefs and names of
/// its records, its place's spellings and the lines its fix would change (dates and places).
ScanOutcome withSearchText(ScanResult result, const GedcomDocument& document)
{
    ScanOutcome outcome{std::move(result), {}, {}, {}};
    const auto names = recordNames(document);
    outcome.searchStarts.reserve(outcome.result.issues.size() + 1);
    for (const Issue& issue : outcome.result.issues) {
        std::string& text = outcome.searchText;
        outcome.searchStarts.push_back(text.size());
        const auto add = [&text](std::string_view part) {
            appendFolded(text, part);
            if (!text.empty() && text.back() != ' ' && text.back() != '\n')
                text += ' ';
        };
        add(issue.title);
        add(issue.detail);
        for (const std::string& xref : issue.records) {
            add(xref);
            if (const auto found = names.find(xref); found != names.end())
                add(found->second);
        }
        if (issue.places) {
            for (const PlaceSpelling& spelling : issue.places->spellings)
                add(spelling.text);
        }
        if (issue.fix) {
            for (const PreviewLine& line : issue.fix->preview) {
                add(line.before.value_or(std::string()));
                add(line.after.value_or(std::string()));
            }
        }
        text += '\n';
    }
    outcome.searchStarts.push_back(outcome.searchText.size());
    return outcome;
}

} // namespace

struct AppModel::ReadOutcome
{
    std::optional<GedcomDocument> document; ///< none when the bytes could not be read
    std::string error;
    Decisions::Loaded decisions;
};

AppModel::AppModel(PlatformServices& services, bool persist, QObject* parent)
    : QObject(parent), m_services(services), m_persist(persist),
      m_decisionStore(toPath(services.decisionStore()))
{
    if (m_persist) {
        const QVariant stored = settingsStore().value(optionsKey);
        if (stored.isValid()) {
            if (const auto options = ScanOptions::fromJSON(stored.toString().toStdString()))
                m_options = *options;
        }
        if (settingsStore().value(changeLogFormatKey).toString() == QLatin1String("pdf"))
            m_changeLogFormat = TextFormat::pdf;
        const QStringList hidden = settingsStore().value(hiddenSeveritiesKey).toStringList();
        for (Severity severity : allSeverities)
            m_shownSeverities[std::size_t(severity)] = !hidden.contains(fromUtf8(title(severity)));
    }
}

AppModel::~AppModel() = default;

bool AppModel::hasUnsavedChanges() const
{
    return !m_changes.empty() && m_changes != m_savedChanges;
}

void AppModel::setSelected(const std::string& fixID, bool selected)
{
    const bool present = m_selection.contains(fixID);
    if (present == selected)
        return;
    if (selected)
        m_selection.insert(fixID);
    else
        m_selection.erase(fixID);
    Q_EMIT changed(Field::selection);
}

void AppModel::setSelection(std::set<std::string> selection)
{
    if (selection == m_selection)
        return;
    m_selection = std::move(selection);
    Q_EMIT changed(Field::selection);
}

void AppModel::setPlaceTarget(const std::string& groupKey, const std::string& spelling)
{
    auto [it, inserted] = m_placeTargets.try_emplace(groupKey, spelling);
    if (!inserted) {
        if (it->second == spelling)
            return;
        it->second = spelling;
    }
    Q_EMIT changed(Field::placeTargets);
}

void AppModel::setSidebar(std::optional<SidebarItem> item)
{
    if (item == m_sidebar)
        return;
    m_sidebar = item;
    Q_EMIT changed(Field::sidebar);
}

void AppModel::setShowApply(bool shown)
{
    if (shown == m_showApply)
        return;
    m_showApply = shown;
    Q_EMIT changed(Field::showApply);
}

void AppModel::setError(std::optional<QString> message)
{
    if (message == m_error)
        return;
    m_error = std::move(message);
    Q_EMIT changed(Field::error);
}

void AppModel::setOptions(const ScanOptions& options)
{
    if (options == m_options)
        return;
    // Quick changes in a row, such as a stepper held down, are said as one.
    if (m_result && !m_rescanFrom)
        m_rescanFrom.emplace(m_options, m_result->issues.size() - m_dismissedCount);
    m_options = options;
    Q_EMIT changed(Field::options);
    if (m_persist)
        settingsStore().setValue(optionsKey, fromUtf8(m_options.toJSON()));
    scan();
}

void AppModel::setChangeLogFormat(TextFormat format)
{
    if (format == m_changeLogFormat)
        return;
    m_changeLogFormat = format;
    Q_EMIT changed(Field::changeLogFormat);
    if (m_persist)
        settingsStore().setValue(changeLogFormatKey,
                                 format == TextFormat::pdf ? QStringLiteral("pdf") : QStringLiteral("text"));
}

void AppModel::setSearch(const QString& text)
{
    if (text == m_search)
        return;
    m_search = text;
    findMatches();
    Q_EMIT changed(Field::search);
}

void AppModel::setSeverityShown(Severity severity, bool shown)
{
    if (m_shownSeverities[std::size_t(severity)] == shown)
        return;
    m_shownSeverities[std::size_t(severity)] = shown;
    Q_EMIT changed(Field::shownSeverities);
    if (m_persist) {
        QStringList hidden;
        for (Severity each : allSeverities) {
            if (!m_shownSeverities[std::size_t(each)])
                hidden << fromUtf8(title(each));
        }
        settingsStore().setValue(hiddenSeveritiesKey, hidden);
    }
}

void AppModel::findMatches()
{
    m_matches.clear();
    std::string query;
    appendFolded(query, m_search.toStdString());
    while (!query.empty() && query.back() == ' ')
        query.pop_back();
    query.erase(0, query.find_first_not_of(' '));
    if (query.empty() || !m_result)
        return;
    // One pass over all the findings' text; after a hit the rest of that finding's line is skipped.
    m_matches.assign(m_result->issues.size(), 0);
    const char* const text = m_searchText.data();
    for (std::size_t from = 0; from < m_searchText.size();) {
        const void* hit = memmem(text + from, m_searchText.size() - from, query.data(), query.size());
        if (!hit)
            break;
        const auto next = std::upper_bound(m_searchStarts.begin(), m_searchStarts.end(),
                                           std::size_t(static_cast<const char*>(hit) - text));
        m_matches[std::size_t(next - m_searchStarts.begin()) - 1] = 1;
        from = *next;
    }
}

void AppModel::setBusy(std::optional<QString> text)
{
    if (text == m_busy)
        return;
    m_busy = std::move(text);
    Q_EMIT changed(Field::busy);
}

void AppModel::setProgress(std::optional<double> fraction)
{
    if (fraction == m_progress)
        return;
    m_progress = fraction;
    Q_EMIT changed(Field::progress);
}

void AppModel::setLastApplied(QString text, QStringList skipped)
{
    m_lastApplied = std::move(text);
    m_skipped = std::move(skipped);
    Q_EMIT changed(Field::lastApplied);
}

void AppModel::setUndone(std::vector<UndoneStep> undone)
{
    m_undone = std::move(undone);
    Q_EMIT changed(Field::undone);
}

void AppModel::setChanges(std::vector<ChangeEntry> changes)
{
    m_changes = std::move(changes);
    Q_EMIT changed(Field::changes);
}

void AppModel::setDocument(std::optional<GedcomDocument> document)
{
    m_document = std::move(document);
    Q_EMIT changed(Field::document);
}

void AppModel::setHistory(std::vector<HistoryStep> history)
{
    m_history = std::move(history);
    Q_EMIT changed(Field::history);
}

void AppModel::clearSelection()
{
    setSelection({});
}

template <class Work, class Done>
void AppModel::startJob(Work work, Done done)
{
    Q_ASSERT(!m_jobRunning);
    m_jobRunning = true;
    setProgress(std::nullopt);
    runInBackground(
        this, std::move(work),
        [this, done = std::move(done)](auto result) mutable {
            m_jobRunning = false;
            setProgress(std::nullopt);
            done(std::move(result));
            jobEnded();
        },
        [this](std::optional<double> fraction) { setProgress(fraction); });
}

void AppModel::jobEnded()
{
    // A job that started from the finished one already scans with the latest options.
    const bool pending = std::exchange(m_scanPending, false);
    if (pending && !m_jobRunning)
        scan();
}

void AppModel::openFromPanel()
{
    if (m_jobRunning || !mayDiscard())
        return;
    const std::optional<QString> path = m_services.chooseFamilyTreeFile(
        QStringLiteral("Open"), QStringLiteral("Choose a family-tree file (.ged). ") + appName +
                                    QStringLiteral(" only reads it; your file is never changed."));
    if (path)
        read(*path);
}

void AppModel::openFile(const QString& path)
{
    if (m_jobRunning || !mayDiscard())
        return;
    read(path);
}

void AppModel::openSampleTree()
{
    if (m_jobRunning || !mayDiscard())
        return;
    // A folder of its own each time, so the sample never takes the place of a file already there.
    auto folder = std::make_unique<QTemporaryDir>();
    const QString path = folder->filePath(QStringLiteral("Sample Tree.ged"));
    QFile file(path);
    const std::string text = SampleTree::sampleText();
    if (!folder->isValid() || !file.open(QIODevice::NewOnly) ||
        file.write(text.data(), qint64(text.size())) != qint64(text.size())) {
        setError(QStringLiteral("Couldn’t write the sample tree: ") + file.errorString());
        return;
    }
    file.close();
    m_sampleFolder = std::move(folder);
    read(path);
}

void AppModel::readAs(TextEncoding encoding)
{
    if (!m_fileURL || m_jobRunning || !mayDiscard())
        return;
    read(m_fileURL->toLocalFile(), encoding);
}

void AppModel::read(const QString& path, std::optional<TextEncoding> encoding)
{
    const QString name = QFileInfo(path).fileName();
    setBusy(QStringLiteral("Reading ") + name + QStringLiteral("…"));
    startJob(
        [file = QFile::encodeName(path).toStdString(), encoding,
         store = m_decisionStore](const FractionSink& sink) {
            ReadOutcome outcome;
            outcome.decisions = Decisions::load(store);
            if (std::optional<std::string> bytes = Files::readFile(file, outcome.error))
                outcome.document = GedcomReader::read(std::move(*bytes), GedcomReader::ReadOptions{encoding},
                                                      engineProgress(sink));
            return outcome;
        },
        [this, path, name](ReadOutcome outcome) {
            setBusy(std::nullopt);
            if (!outcome.document) {
                setError(QStringLiteral("Couldn’t read “") + name + QStringLiteral("”: ") +
                         fromUtf8(outcome.error));
                return;
            }
            if (!outcome.document->hasWellFormedRecord()) {
                setError(QStringLiteral("“") + name +
                         QStringLiteral("” doesn’t look like a family-tree (GEDCOM) file."));
                return;
            }
            load(path, std::move(*outcome.document));
            useDecisions(std::move(outcome.decisions));
            scan();
        });
}

void AppModel::load(const QString& path, GedcomDocument document)
{
    m_fileURL = QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath());
    Q_EMIT changed(Field::fileURL);
    m_fileName = QFileInfo(path).fileName();
    Q_EMIT changed(Field::fileName);
    m_original = document;
    Q_EMIT changed(Field::original);
    setDocument(std::move(document));
    m_result.reset();
    Q_EMIT changed(Field::result);
    // Another file starts with every finding shown; the severities hidden stay hidden.
    setSearch(QString());
    clearSelection();
    m_placeTargets.clear();
    Q_EMIT changed(Field::placeTargets);
    m_keptRecords.clear();
    setChanges({});
    m_savedChanges.clear();
    Q_EMIT changed(Field::savedChanges);
    m_discardConfirmed = false;
    Q_EMIT changed(Field::discardConfirmed);
    setHistory({});
    setUndone({});
    m_rescanFrom.reset();
    m_lastApplied.reset();
    m_skipped.clear();
    Q_EMIT changed(Field::lastApplied);
    setSidebar(std::nullopt);
    setShowApply(false);
    setShowDismissed(false);
}

void AppModel::scan()
{
    if (!m_document)
        return;
    if (m_jobRunning) {
        m_scanPending = true;
        return;
    }
    if (!m_busy)
        setBusy(QStringLiteral("Checking ") + m_fileName + QStringLiteral("…"));
    startJob(
        [document = *m_document, options = m_options, decisions = m_decisions](const FractionSink& sink) {
            std::vector<bool> dismissed;
            ScanOutcome outcome =
                withSearchText(Scanner::scan(document, options, 0, engineProgress(sink),
                                             [&](const TreeIndex& index, std::span<const Issue> issues) {
                                                 dismissed =
                                                     Decisions::decided(document, issues, decisions, &index);
                                             }),
                               document);
            outcome.dismissed = std::move(dismissed);
            return outcome;
        },
        [this](ScanOutcome outcome) {
            m_result = std::move(outcome.result);
            keepChosenRecords();
            m_searchText = std::move(outcome.searchText);
            m_searchStarts = std::move(outcome.searchStarts);
            findMatches();
            m_scanDate = std::chrono::system_clock::now();
            // The old indices name other findings now.
            m_currentFinding.reset();
            setDismissed(outcome.dismissed);
            Q_EMIT changed(Field::result);
            untickDismissed();
            Q_EMIT changed(Field::currentFinding);
            // A scan with options that changed again meanwhile is followed by one more.
            if (m_rescanFrom && !m_scanPending) {
                const auto [before, listed] = *std::exchange(m_rescanFrom, std::nullopt);
                setLastApplied(QStringLiteral("Rescanned with ") + settingsChange(before, m_options) +
                               QStringLiteral(": ") +
                               findingsDifference(listed, m_result->issues.size() - m_dismissedCount));
            }
            setBusy(std::nullopt);
        });
}

void AppModel::keepOther(std::size_t issue)
{
    if (m_jobRunning || !m_document || !m_result || issue >= m_result->issues.size())
        return;
    std::optional<Issue> swapped = Checks::keepingOther(m_result->issues[issue], *m_document);
    if (!swapped)
        return;
    m_keptRecords[swapped->id] = swapped->match->keep;
    m_result->issues[issue] = std::move(*swapped);
    Q_EMIT changed(Field::result);
}

void AppModel::keepChosenRecords()
{
    for (Issue& issue : m_result->issues) {
        const auto chosen = issue.match ? m_keptRecords.find(issue.id) : m_keptRecords.end();
        if (chosen == m_keptRecords.end() || issue.match->keep == chosen->second)
            continue;
        if (std::optional<Issue> swapped = Checks::keepingOther(issue, *m_document))
            issue = std::move(*swapped);
    }
}

std::vector<Fix> AppModel::selectedFixes() const
{
    std::vector<Fix> fixes;
    if (!m_result)
        return fixes;
    for (const Issue& issue : m_result->issues) {
        if (!issue.fix || !m_selection.contains(issue.fix->id))
            continue;
        std::optional<Fix> chosen = chosenPlaceFix(issue);
        fixes.push_back(chosen ? std::move(*chosen) : *issue.fix);
    }
    return fixes;
}

std::optional<Fix> AppModel::chosenPlaceFix(const Issue& issue) const
{
    if (!issue.places)
        return std::nullopt;
    const auto target = m_placeTargets.find(issue.places->key);
    if (target == m_placeTargets.end())
        return std::nullopt;
    return PlaceNames::fixFor(*issue.places, target->second,
                              kindOf(issue.id) == "place-alike" ? PlaceNames::Spellings::readAlike
                                                                : PlaceNames::Spellings::writtenAlike);
}

void AppModel::applySelection()
{
    if (m_jobRunning || !m_document || m_selection.empty())
        return;
    std::vector<Fix> fixes = selectedFixes();
    const std::int64_t firstID = m_changes.empty() ? 1 : m_changes.back().id + 1;
    setBusy(QStringLiteral("Applying ") + changeCount(m_selection.size()) + QStringLiteral("…"));
    startJob([fixes = std::move(fixes), document = *m_document,
              firstID](const FractionSink&) { return FixApplier::apply(fixes, document, firstID); },
             [this](ApplyResult applied) {
                 std::vector<HistoryStep> history = std::move(m_history);
                 history.push_back({*m_document, m_changes.size()});
                 setHistory(std::move(history));
                 // A new batch starts another line of changes: what was undone can no longer follow.
                 setUndone({});
                 setDocument(std::move(applied.document));
                 const QStringList skipped = skippedLines(applied.entries);
                 const std::size_t count = applied.entries.size();
                 std::vector<ChangeEntry> changes = std::move(m_changes);
                 changes.insert(changes.end(), std::make_move_iterator(applied.entries.begin()),
                                std::make_move_iterator(applied.entries.end()));
                 setChanges(std::move(changes));
                 clearSelection();
                 QString summary = QStringLiteral("Applied ") + changeCount(count);
                 if (applied.skipped.empty())
                     summary += u'.';
                 else
                     summary +=
                         QStringLiteral("; ") + QString::number(applied.skipped.size()) +
                         QStringLiteral(" skipped because another change had already altered those lines.");
                 setLastApplied(summary, skipped);
                 setBusy(QStringLiteral("Checking ") + m_fileName + QStringLiteral("…"));
                 scan();
             });
}

QStringList AppModel::skippedLines(const std::vector<ChangeEntry>& entries) const
{
    // Fixes that share an id share an entry, so a ticked fix whose id has none changed nothing.
    std::set<std::string_view> done;
    for (const ChangeEntry& entry : entries)
        done.insert(entry.fixID);
    std::vector<const Issue*> skipped;
    std::set<std::string_view> said;
    for (const Issue& issue : m_result->issues) {
        if (issue.fix && m_selection.contains(issue.fix->id) && !done.contains(issue.fix->id) &&
            said.insert(issue.fix->id).second)
            skipped.push_back(&issue);
    }
    QStringList lines = recordsTexts(skipped);
    for (std::size_t i = 0; i < skipped.size(); ++i) {
        const std::optional<Fix> chosen = chosenPlaceFix(*skipped[i]);
        lines[qsizetype(i)].prepend(fromUtf8(chosen ? chosen->title : skipped[i]->fix->title) +
                                    QStringLiteral(" · "));
    }
    return lines;
}

QStringList AppModel::recordsTexts(const std::vector<const Issue*>& issues) const
{
    // One or two records are named; a place group's many people are counted by its lines instead.
    std::unordered_map<std::string_view, std::string> labels;
    for (const Issue* issue : issues) {
        if (issue->records.size() <= 2) {
            for (const std::string& xref : issue->records)
                labels.emplace(xref, std::string());
        }
    }
    std::vector<std::pair<std::string_view, std::vector<std::string_view>>> couples;
    std::unordered_map<std::string_view, std::string> spouses;
    const auto forEachRecord = [this](const auto& wanted, const auto& take) {
        for (NodeView record : m_document->records()) {
            const std::optional<std::string_view> xref = record.xref();
            if (xref && wanted.contains(*xref))
                take(*xref, record);
        }
    };
    if (m_document && !labels.empty()) {
        forEachRecord(labels, [&](std::string_view xref, NodeView record) {
            labels[xref] = recordLabel(record);
            if (record.tag() != "FAM")
                return;
            std::vector<std::string_view> partners;
            for (NodeView line : record.children()) {
                if ((line.tag() == "HUSB" || line.tag() == "WIFE") && line.value()) {
                    partners.push_back(*line.value());
                    spouses.emplace(*line.value(), std::string());
                }
            }
            couples.emplace_back(xref, std::move(partners));
        });
    }
    if (!spouses.empty()) {
        forEachRecord(spouses, [&](std::string_view xref, NodeView record) {
            if (record.tag() != "INDI")
                return;
            // The person's name, without the xref that follows it.
            std::string label = recordLabel(record);
            const std::string suffix = " (" + std::string(xref) + ")";
            if (label.ends_with(suffix)) {
                label.resize(label.size() - suffix.size());
                spouses[xref] = std::move(label);
            }
        });
        for (const auto& [family, partners] : couples) {
            std::string names;
            for (std::string_view partner : partners) {
                if (const std::string& name = spouses[partner]; !name.empty())
                    names += (names.empty() ? "" : " & ") + name;
            }
            if (!names.empty())
                labels[family] = names + " (" + std::string(family) + ")";
        }
    }

    QStringList texts;
    for (const Issue* issue : issues) {
        const std::string_view context = issue->fix && !issue->fix->preview.empty()
                                             ? issue->fix->preview.front().context
                                             : std::string_view();
        if (issue->records.empty() || issue->records.size() > 2) {
            texts << fromUtf8(context);
            continue;
        }
        QStringList named;
        for (const std::string& xref : issue->records) {
            const std::string& label = labels[xref];
            named << fromUtf8(label.empty() ? xref : label);
        }
        QString text = named.join(QStringLiteral(" and "));
        // The line of a record the fix changes, as its preview names it: "BIRT DATE".
        const std::string_view separator = " \u00B7 ";
        if (const std::size_t at = context.find(separator);
            issue->records.size() == 1 && at != std::string_view::npos)
            text += QStringLiteral(" · ") + fromUtf8(context.substr(at + separator.size()));
        texts << text;
    }
    return texts;
}

void AppModel::undoLast()
{
    if (m_jobRunning || m_history.empty())
        return;
    std::vector<HistoryStep> history = std::move(m_history);
    HistoryStep step = std::move(history.back());
    history.pop_back();
    setHistory(std::move(history));
    std::vector<ChangeEntry> changes = std::move(m_changes);
    std::vector<UndoneStep> undone = std::move(m_undone);
    undone.push_back({std::move(*m_document),
                      {std::make_move_iterator(changes.begin() + std::ptrdiff_t(step.changeCount)),
                       std::make_move_iterator(changes.end())}});
    setUndone(std::move(undone));
    setDocument(std::move(step.document));
    changes.resize(step.changeCount);
    setChanges(std::move(changes));
    setLastApplied(QStringLiteral("Undid the last batch of changes."));
    scan();
}

void AppModel::redo()
{
    if (m_jobRunning || m_undone.empty())
        return;
    std::vector<UndoneStep> undone = std::move(m_undone);
    UndoneStep step = std::move(undone.back());
    undone.pop_back();
    setUndone(std::move(undone));
    std::vector<HistoryStep> history = std::move(m_history);
    history.push_back({std::move(*m_document), m_changes.size()});
    setHistory(std::move(history));
    setDocument(std::move(step.document));
    const std::size_t count = step.entries.size();
    std::vector<ChangeEntry> changes = std::move(m_changes);
    changes.insert(changes.end(), std::make_move_iterator(step.entries.begin()),
                   std::make_move_iterator(step.entries.end()));
    setChanges(std::move(changes));
    setLastApplied(QStringLiteral("Redid ") + changeCount(count) + u'.');
    scan();
}

void AppModel::undoAll()
{
    if (m_jobRunning || !m_original)
        return;
    // Each batch goes onto the undone ones, the first on top, so that Redo puts them back in order.
    std::vector<UndoneStep> undone = std::move(m_undone);
    std::vector<HistoryStep> history = std::move(m_history);
    std::vector<ChangeEntry> changes = std::move(m_changes);
    GedcomDocument after = std::move(*m_document);
    for (auto step = history.rbegin(); step != history.rend(); ++step) {
        undone.push_back({std::move(after),
                          {std::make_move_iterator(changes.begin() + std::ptrdiff_t(step->changeCount)),
                           std::make_move_iterator(changes.end())}});
        changes.resize(step->changeCount);
        after = std::move(step->document);
    }
    setUndone(std::move(undone));
    setDocument(m_original);
    setChanges({});
    setHistory({});
    setLastApplied(QStringLiteral("Back to the file as opened."));
    scan();
}

std::optional<QString> AppModel::writeCleanedCopy(const QString& folder, QString& copyName,
                                                  QStringList& written) const
{
    const std::filesystem::path folderPath = toPath(folder);
    const std::string stem = copyStem().toStdString();
    if (m_fileURL && Files::isSameFile(folderPath / (stem + ".ged"), toPath(m_fileURL->toLocalFile())))
        return fromUtf8(SaveError{SaveError::SameAsOriginal{}}.description());

    const GedcomWriter::Output output = GedcomWriter::write(*m_document);
    std::string error;
    const std::optional<std::filesystem::path> copyPath =
        Files::writeNewNumberedFile(folderPath, stem, "ged", output.data, error);
    if (!copyPath)
        return fromUtf8(error);
    copyName = fromPath(copyPath->filename());
    written.append(fromPath(*copyPath));

    const std::string copyFileName = copyPath->filename().string();
    std::string log = Report::changeLogText(m_changes, m_fileName.toStdString(), copyFileName,
                                            std::chrono::system_clock::now(), output.note);
    const bool pdf = m_changeLogFormat == TextFormat::pdf;
    if (pdf)
        log = PdfRenderer::render(log, appName.toStdString() + " change log: " + copyFileName);
    const std::optional<std::filesystem::path> logPath = Files::writeNewNumberedFile(
        folderPath, copyPath->stem().string() + " change log", pdf ? "pdf" : "txt", log, error);
    if (!logPath)
        return fromUtf8(error);
    written.append(fromPath(*logPath));
    return std::nullopt;
}

QString AppModel::copyStem() const
{
    return fromUtf8(Files::baseName(m_fileName.toStdString())) + QStringLiteral(" (tidied)");
}

bool AppModel::saveCleanedCopy()
{
    // A copy without changes would only repeat the original.
    if (!m_document || m_changes.empty())
        return false;
    QString startFolder = m_fileURL ? QFileInfo(m_fileURL->toLocalFile()).absolutePath() : QString();
    // The sample's own folder goes when the app quits, so a copy saved there would be lost.
    if (m_sampleFolder && startFolder == QFileInfo(m_sampleFolder->path()).absoluteFilePath())
        startFolder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString stem = copyStem();
    const QString logExtension =
        m_changeLogFormat == TextFormat::pdf ? QStringLiteral("pdf") : QStringLiteral("txt");
    const std::optional<QString> folder = m_services.chooseFolder(
        QStringLiteral("Save Here"),
        appName + QStringLiteral(" writes “") + stem + QStringLiteral(".ged” and its change log “") + stem +
            QStringLiteral(" change log.") + logExtension +
            QStringLiteral("” in the folder you choose. Your original and any existing files are never "
                           "overwritten: a name already taken gets a number."),
        startFolder);
    if (!folder)
        return false;
    QString copyName;
    QStringList written;
    if (const std::optional<QString> failure = writeCleanedCopy(*folder, copyName, written)) {
        setError(*failure);
        return false;
    }
    m_savedChanges = m_changes;
    Q_EMIT changed(Field::savedChanges);
    const QString saved = QStringLiteral("Saved “") + copyName + QStringLiteral("” and its change log.");
    setLastApplied(saved);
    const int next = m_services.inform(
        saved, QStringLiteral("Both are in ") + QDir::toNativeSeparators(*folder) + QStringLiteral("."),
        {QStringLiteral("Show in Folder"), QStringLiteral("Open Change Log"), QStringLiteral("OK")});
    if (next == 0)
        m_services.reveal(written);
    else if (next == 1)
        m_services.openFile(written.constLast());
    return true;
}

bool AppModel::mayDiscard()
{
    if (!m_persist || !hasUnsavedChanges() || m_discardConfirmed)
        return true;
    const std::size_t count = m_changes.size();
    const int answer = m_services.alert(
        QStringLiteral("Save a cleaned copy of “") + m_fileName + QStringLiteral("” first?"),
        QString::number(count) +
            (count == 1 ? QStringLiteral(" change isn’t") : QStringLiteral(" changes aren’t")) +
            QStringLiteral(" saved yet and will be lost. Your original file isn’t changed either way."),
        {QStringLiteral("Save Cleaned Copy…"), QStringLiteral("Don’t Save"), QStringLiteral("Cancel")});
    switch (answer) {
    case 0:
        saveCleanedCopy();
        return !hasUnsavedChanges();
    case 1:
        m_discardConfirmed = true;
        Q_EMIT changed(Field::discardConfirmed);
        return true;
    default:
        return false;
    }
}

void AppModel::exportReport(TextFormat format)
{
    if (!m_result)
        return;
    const bool pdf = format == TextFormat::pdf;
    const QString suggested = fromUtf8(Files::baseName(m_fileName.toStdString())) +
                              QStringLiteral(" report.") +
                              (pdf ? QStringLiteral("pdf") : QStringLiteral("txt"));
    const std::optional<QString> path = m_services.chooseSaveLocation(
        format, suggested,
        QStringLiteral("The report lists every finding and suggested fix. It stays on your ") +
            computerWord() + QStringLiteral(" unless you share it."));
    if (!path)
        return;
    // Dismissed findings are left out of the report, which says how many.
    ScanResult listed = *m_result;
    std::size_t i = 0;
    std::erase_if(listed.issues, [&](const Issue&) { return m_dismissed[i++] != 0; });
    std::string report = Report::reportText(listed, m_fileName.toStdString(), m_scanDate, m_dismissedCount);
    if (pdf)
        report = PdfRenderer::render(report, appName.toStdString() + " report: " + m_fileName.toStdString());
    if (const std::optional<std::string> failure =
            Files::writeNewFile(QFile::encodeName(*path).toStdString(), report))
        setError(QStringLiteral("Couldn’t save the report: ") + fromUtf8(*failure));
}

void AppModel::useDecisions(Decisions::Loaded loaded)
{
    m_decisions = std::move(loaded.decisions);
    if (loaded.problem)
        setLastApplied(fromUtf8(*loaded.problem));
}

bool AppModel::setDismissed(const std::vector<bool>& dismissed)
{
    const std::vector<char> split(dismissed.begin(), dismissed.end());
    if (split == m_dismissed)
        return false;
    m_dismissed = split;
    m_dismissedCount = std::size_t(std::count(m_dismissed.begin(), m_dismissed.end(), 1));
    return true;
}

void AppModel::untickDismissed()
{
    // A dismissed finding's fix is never applied, so it is never left ticked.
    std::set<std::string> selection = m_selection;
    for (std::size_t i = 0; i < m_dismissed.size(); ++i) {
        if (const Issue& issue = m_result->issues[i]; m_dismissed[i] && issue.fix)
            selection.erase(issue.fix->id);
    }
    setSelection(std::move(selection));
}

void AppModel::setShowDismissed(bool shown)
{
    if (shown == m_showDismissed)
        return;
    m_showDismissed = shown;
    Q_EMIT changed(Field::showDismissed);
}

void AppModel::setCurrentFinding(std::optional<std::size_t> issue)
{
    if (issue == m_currentFinding)
        return;
    m_currentFinding = issue;
    Q_EMIT changed(Field::currentFinding);
}

void AppModel::dismiss(std::size_t issue)
{
    decide(issue, true);
}

void AppModel::bringBack(std::size_t issue)
{
    decide(issue, false);
}

void AppModel::decide(std::size_t issue, bool dismiss)
{
    if (m_jobRunning || !m_result || issue >= m_result->issues.size() || isDismissed(issue) == dismiss)
        return;
    const Issue& finding = m_result->issues[issue];
    const std::vector<DecisionKey> keys = Decisions::keys(*m_document, std::span(&finding, 1));
    // The store is read again just before it is written, so that decisions another window or the
    // command-line tool made meanwhile are kept.
    Decisions::Loaded stored = Decisions::load(m_decisionStore);
    const std::vector<Decision> added{{keys.front(), finding.title}};
    std::vector<Decision> decisions = dismiss ? Decisions::changed(std::move(stored.decisions), added, {})
                                              : Decisions::changed(std::move(stored.decisions), {}, keys);
    if (const std::optional<std::string> failure = Decisions::save(m_decisionStore, decisions)) {
        setError(fromUtf8(*failure));
        return;
    }
    m_decisions = std::move(decisions);
    const QString title = QStringLiteral("“") + fromUtf8(finding.title) + QStringLiteral("”");
    if (stored.problem)
        setLastApplied(fromUtf8(*stored.problem));
    else
        setLastApplied(dismiss ? QStringLiteral("Dismissed ") + title +
                                     QStringLiteral("; Show Dismissed lists it.")
                               : QStringLiteral("Brought back ") + title + u'.');
    if (setDismissed(Decisions::decided(*m_document, m_result->issues, m_decisions))) {
        untickDismissed();
        Q_EMIT changed(Field::dismissed);
    }
}

} // namespace kinloom
