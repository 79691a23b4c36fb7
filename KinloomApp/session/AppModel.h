// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/PlatformServices.h"

#include "changes/FixApplier.h"
#include "checks/Scanner.h"
#include "decisions/Decisions.h"
#include "document/GedcomDocument.h"

#include <QHashFunctions>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

class QTemporaryDir;

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kinloom {

/// The selected entry of the sidebar: one category of findings, the overview, or the changes.
struct SidebarItem
{
    enum class Kind
    {
        category,
        overview,
        changes
    };

    Kind kind = Kind::overview;
    IssueCategory category = IssueCategory::duplicates; ///< read only when `kind` is `category`

    [[nodiscard]] static SidebarItem forCategory(IssueCategory category)
    {
        return {Kind::category, category};
    }
    [[nodiscard]] static SidebarItem overview() { return {Kind::overview}; }
    [[nodiscard]] static SidebarItem changes() { return {Kind::changes}; }

    bool operator==(const SidebarItem& other) const
    {
        return kind == other.kind && (kind != Kind::category || category == other.category);
    }
};

[[nodiscard]] inline size_t qHash(const SidebarItem& item, size_t seed = 0)
{
    const int category = item.kind == SidebarItem::Kind::category ? int(item.category) : -1;
    return qHashMulti(seed, int(item.kind), category);
}

/// The document and change list as they were just before one applied batch. Batches only ever add
/// to the end of the change list and undoing cuts it back, so the list then is always the start of
/// the list now: a step keeps its length rather than a copy.
struct HistoryStep
{
    GedcomDocument document;
    std::size_t changeCount = 0; ///< the change list was the first this many entries of `changes`
};

/// One undone batch, kept so that Redo can put it back: the document as the batch left it and the
/// batch's own entries of the change list.
struct UndoneStep
{
    GedcomDocument document;
    std::vector<ChangeEntry> entries;
};

/// The one session of the application: the opened file, the document as it now stands, the latest
/// findings, the user's choices, the undo history and the texts the views show. Views read it and
/// act only through it; reading, scanning and applying run off this object's thread on copies.
class AppModel : public QObject
{
    Q_OBJECT

public:
    /// The observable fields, in their order; `changed` names the one that changed.
    enum class Field
    {
        fileURL,
        fileName,
        original,
        document,
        result,
        busy,
        selection,
        placeTargets,
        changes,
        savedChanges,
        discardConfirmed,
        history,
        lastApplied,
        sidebar,
        showApply,
        error,
        options,
        progress,        ///< how far the background work is, for a progress bar
        changeLogFormat, ///< what the next save writes the change log as
        search,          ///< the text the findings are searched for
        shownSeverities, ///< which severities of finding the lists show
        dismissed,       ///< which findings earlier decisions hide
        showDismissed,   ///< whether the lists show the dismissed findings instead of the others
        currentFinding,  ///< the finding the lists have selected
        undone,          ///< the batches undone, for Redo
    };
    Q_ENUM(Field)

    /// `persist` false makes a session that never asks the discard question and neither reads nor
    /// writes the stored options. The services must outlive the model.
    explicit AppModel(PlatformServices& services, bool persist = true, QObject* parent = nullptr);
    ~AppModel() override;

    [[nodiscard]] const std::optional<QUrl>& fileURL() const { return m_fileURL; }
    [[nodiscard]] const QString& fileName() const { return m_fileName; }
    [[nodiscard]] const std::optional<GedcomDocument>& original() const { return m_original; }
    [[nodiscard]] const std::optional<GedcomDocument>& document() const { return m_document; }
    [[nodiscard]] const std::optional<ScanResult>& result() const { return m_result; }
    [[nodiscard]] const std::optional<QString>& busy() const { return m_busy; }
    [[nodiscard]] const std::set<std::string>& selection() const { return m_selection; }
    [[nodiscard]] const std::map<std::string, std::string>& placeTargets() const { return m_placeTargets; }
    [[nodiscard]] const std::vector<ChangeEntry>& changes() const { return m_changes; }
    [[nodiscard]] const std::vector<ChangeEntry>& savedChanges() const { return m_savedChanges; }
    [[nodiscard]] bool discardConfirmed() const { return m_discardConfirmed; }
    [[nodiscard]] const std::vector<HistoryStep>& history() const { return m_history; }
    [[nodiscard]] const std::optional<QString>& lastApplied() const { return m_lastApplied; }
    /// The fixes the last apply skipped, one line each naming the fix, its records and why.
    [[nodiscard]] const QStringList& skipped() const { return m_skipped; }
    [[nodiscard]] const std::vector<UndoneStep>& undone() const { return m_undone; }
    [[nodiscard]] const std::optional<SidebarItem>& sidebar() const { return m_sidebar; }
    [[nodiscard]] bool showApply() const { return m_showApply; }
    [[nodiscard]] const std::optional<QString>& error() const { return m_error; }
    [[nodiscard]] const ScanOptions& options() const { return m_options; }
    [[nodiscard]] bool persist() const { return m_persist; }
    [[nodiscard]] const std::optional<double>& progress() const { return m_progress; }
    [[nodiscard]] TextFormat changeLogFormat() const { return m_changeLogFormat; }
    [[nodiscard]] const QString& search() const { return m_search; }
    [[nodiscard]] bool isSeverityShown(Severity severity) const
    {
        return m_shownSeverities[std::size_t(severity)];
    }
    /// Whether the finding at this index of `result` contains the search text (any does without one).
    [[nodiscard]] bool matchesSearch(std::size_t issue) const
    {
        return m_matches.empty() || m_matches[issue];
    }
    /// Whether the finding at this index of `result` was marked "Not a Problem", now or earlier.
    [[nodiscard]] bool isDismissed(std::size_t issue) const { return m_dismissed[issue] != 0; }
    [[nodiscard]] std::size_t dismissedCount() const { return m_dismissedCount; }
    [[nodiscard]] bool showDismissed() const { return m_showDismissed; }
    /// The index in `result` of the finding the lists have selected.
    [[nodiscard]] const std::optional<std::size_t>& currentFinding() const { return m_currentFinding; }
    /// Whether the finding at this index of `result` passes the search and the severity filter, and
    /// is dismissed exactly when the dismissed findings are shown.
    [[nodiscard]] bool isShown(std::size_t issue) const
    {
        return m_shownSeverities[std::size_t(m_result->issues[issue].severity)] && matchesSearch(issue) &&
               isDismissed(issue) == m_showDismissed;
    }

    /// True when there are changes and they differ from those at the last save.
    [[nodiscard]] bool hasUnsavedChanges() const;
    /// The ticked fixes as the next apply would apply them, with the chosen place spellings.
    [[nodiscard]] std::vector<Fix> selectedFixes() const;
    /// A place finding's fix rebuilt for the spelling the user chose; none when no other spelling
    /// was chosen and the finding's own fix applies.
    [[nodiscard]] std::optional<Fix> chosenPlaceFix(const Issue& issue) const;
    /// Who and where each finding's fix is about, people and couples named: "Mary Smith (@I4@) · BIRT
    /// DATE", "John Smith & Mary Jones (@F2@) · MARR DATE". One pass over the document for them all.
    [[nodiscard]] QStringList recordsTexts(const std::vector<const Issue*>& issues) const;

    /// Keeps the other record of the likely duplicate at this index of `result` and merges the one it
    /// kept into it ("Keep This One"); the choice holds through later scans.
    void keepOther(std::size_t issue);
    /// Ticks or unticks a fix by its id.
    void setSelected(const std::string& fixID, bool selected);
    void setSelection(std::set<std::string> selection);
    /// The spelling to write for a place group ("Use this spelling"), by the group's key.
    void setPlaceTarget(const std::string& groupKey, const std::string& spelling);
    void setSidebar(std::optional<SidebarItem> item);
    void setShowApply(bool shown);
    /// The alert was dismissed; also used to show a message of the views' own.
    void setError(std::optional<QString> message);
    /// Stores the options (when the session persists) and scans again.
    void setOptions(const ScanOptions& options);
    void setChangeLogFormat(TextFormat format);
    /// Keeps only the findings whose texts, records' names and xrefs, places or dates contain this
    /// text, ignoring case and accents; an empty text keeps them all.
    void setSearch(const QString& text);
    /// Shows or hides the findings of one severity; remembered when the session persists.
    void setSeverityShown(Severity severity, bool shown);
    /// Lists the dismissed findings instead of the others.
    void setShowDismissed(bool shown);
    void setCurrentFinding(std::optional<std::size_t> issue);
    /// Marks the finding at this index of `result` "Not a Problem" in the user's store, where it holds
    /// until one of its records changes; it leaves the lists and its fix is unticked.
    void dismiss(std::size_t issue);
    /// Lifts the decision that hides the finding at this index of `result`; it returns to the lists.
    void bringBack(std::size_t issue);

    /// Asks the discard question, then shows the open panel and opens the chosen file.
    void openFromPanel();
    /// Asks the discard question, then opens this file (dropped, or named on the command line).
    void openFile(const QString& path);
    /// Asks the discard question, then reads the open file again in this encoding, with no guessing;
    /// a saved copy is written in it too.
    void readAs(TextEncoding encoding);
    /// Asks the discard question, then opens the small sample tree with a planted problem of every kind.
    void openSampleTree();
    /// Scans the document again in the background.
    void scan();
    /// Applies the ticked fixes as one batch, with the chosen place spellings, then scans.
    void applySelection();
    /// Restores the document and changes from before the last batch, then scans.
    void undoLast();
    /// Puts back the batch undone last, then scans.
    void redo();
    /// Returns to the document as opened, then scans.
    void undoAll();
    /// Asks for a folder and writes a cleaned copy and its change log there, then offers to show them;
    /// true when both were written. Does nothing while no change is applied.
    bool saveCleanedCopy();
    /// The discard question: true when the caller may replace or close the session.
    [[nodiscard]] bool mayDiscard();
    /// Asks for a file name and writes the findings report as text or PDF.
    void exportReport(TextFormat format);

Q_SIGNALS:
    void changed(kinloom::AppModel::Field field);

private:
    struct ReadOutcome;

    void read(const QString& path, std::optional<TextEncoding> encoding = std::nullopt);
    void load(const QString& path, GedcomDocument document);
    void setBusy(std::optional<QString> text);
    void setProgress(std::optional<double> fraction);
    /// The result of an action, which stays until the next one says its own.
    void setLastApplied(QString text, QStringList skipped = {});
    void setUndone(std::vector<UndoneStep> undone);
    /// The ticked fixes of `result` that made none of these entries, each with its records.
    [[nodiscard]] QStringList skippedLines(const std::vector<ChangeEntry>& entries) const;
    void setChanges(std::vector<ChangeEntry> changes);
    void setDocument(std::optional<GedcomDocument> document);
    void setHistory(std::vector<HistoryStep> history);
    void clearSelection();
    /// Turns round the pairs of a new `result` whose other record the user chose to keep.
    void keepChosenRecords();
    void findMatches();
    /// The decisions read when a file opens; a store that could not be used is said once.
    void useDecisions(Decisions::Loaded loaded);
    void decide(std::size_t issue, bool dismiss);
    /// Takes the split of `result` into listed and dismissed findings; true when it changed.
    bool setDismissed(const std::vector<bool>& dismissed);
    void untickDismissed();
    /// Runs one background job; callers make sure none is running.
    template <class Work, class Done>
    void startJob(Work work, Done done);
    void jobEnded();
    /// The name of the cleaned copy without its extension or number.
    [[nodiscard]] QString copyStem() const;
    [[nodiscard]] std::optional<QString> writeCleanedCopy(const QString& folder, QString& copyName,
                                                          QStringList& written) const;

    PlatformServices& m_services;
    std::optional<QUrl> m_fileURL;
    QString m_fileName;
    std::optional<GedcomDocument> m_original;
    std::optional<GedcomDocument> m_document;
    std::optional<ScanResult> m_result;
    std::optional<QString> m_busy;
    std::set<std::string> m_selection;
    std::map<std::string, std::string> m_placeTargets;
    std::map<std::string, std::string> m_keptRecords; ///< by duplicate finding, the record chosen to keep
    std::vector<ChangeEntry> m_changes;
    std::vector<ChangeEntry> m_savedChanges;
    bool m_discardConfirmed = false;
    std::vector<HistoryStep> m_history;
    std::optional<QString> m_lastApplied;
    QStringList m_skipped;
    std::vector<UndoneStep> m_undone;
    std::optional<SidebarItem> m_sidebar;
    bool m_showApply = false;
    std::optional<QString> m_error;
    ScanOptions m_options;
    const bool m_persist;
    std::optional<double> m_progress;
    TextFormat m_changeLogFormat = TextFormat::text;
    QString m_search;
    std::array<bool, allSeverities.size()> m_shownSeverities{true, true, true};

    /// Every finding's searchable texts folded for comparing, one line each, made once per scan.
    std::string m_searchText;
    std::vector<std::size_t> m_searchStarts; ///< where each finding's line starts, and the end
    std::vector<char> m_matches;             ///< per finding, whether it matches; empty with no search

    const std::filesystem::path m_decisionStore;
    std::vector<Decision> m_decisions; ///< as the store held them when last read or written
    std::vector<char> m_dismissed;     ///< per finding of `result`, whether a decision hides it
    std::size_t m_dismissedCount = 0;
    bool m_showDismissed = false;
    std::optional<std::size_t> m_currentFinding;

    std::unique_ptr<QTemporaryDir> m_sampleFolder;    ///< where the opened sample tree was written
    std::chrono::system_clock::time_point m_scanDate; ///< when `result` was made, for the report
    bool m_jobRunning = false;
    bool m_scanPending = false; ///< the options changed while a job ran
    /// The options and the number of findings listed before the settings changed, until the scan
    /// with the new ones says what changed.
    std::optional<std::pair<ScanOptions, std::size_t>> m_rescanFrom;
};

} // namespace kinloom

template <>
struct std::hash<kinloom::SidebarItem>
{
    size_t operator()(const kinloom::SidebarItem& item) const noexcept { return kinloom::qHash(item); }
};
