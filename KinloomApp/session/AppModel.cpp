#include "session/AppModel.h"

#include "session/BackgroundJob.h"
#include "session/QtText.h"

#include "KinloomPdf/PdfRenderer.h"
#include "checks/PlaceNames.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "document/Progress.h"
#include "document/SaveError.h"
#include "output/Report.h"
#include "sample/SampleTree.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <chrono>
#include <filesystem>
#include <utility>

namespace kinloom {
namespace {

const QString appName = QStringLiteral("Kinloom");
const QString optionsKey = QStringLiteral("scanOptions");
const QString changeLogFormatKey = QStringLiteral("changeLogFormat");

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

/// The engine's progress, on the worker thread, passed on as a fraction.
ProgressCallback engineProgress(const FractionSink& sink)
{
    return [&sink](const Progress& progress) { sink(progress.fraction); };
}

QSettings settingsStore()
{
    return QSettings(appName, appName);
}

} // namespace

struct AppModel::ReadOutcome
{
    std::optional<GedcomDocument> document; ///< none when the bytes could not be read
    std::string error;
};

AppModel::AppModel(PlatformServices& services, bool persist, QObject* parent)
    : QObject(parent), m_services(services), m_persist(persist)
{
    if (m_persist) {
        const QVariant stored = settingsStore().value(optionsKey);
        if (stored.isValid()) {
            if (const auto options = ScanOptions::fromJSON(stored.toString().toStdString()))
                m_options = *options;
        }
        if (settingsStore().value(changeLogFormatKey).toString() == QLatin1String("pdf"))
            m_changeLogFormat = TextFormat::pdf;
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

void AppModel::setLastApplied(QString text)
{
    m_lastApplied = std::move(text);
    Q_EMIT changed(Field::lastApplied);
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
        [file = QFile::encodeName(path).toStdString(), encoding](const FractionSink& sink) {
            ReadOutcome outcome;
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
    clearSelection();
    m_placeTargets.clear();
    Q_EMIT changed(Field::placeTargets);
    setChanges({});
    m_savedChanges.clear();
    Q_EMIT changed(Field::savedChanges);
    m_discardConfirmed = false;
    Q_EMIT changed(Field::discardConfirmed);
    setHistory({});
    m_lastApplied.reset();
    Q_EMIT changed(Field::lastApplied);
    setSidebar(std::nullopt);
    setShowApply(false);
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
        [document = *m_document, options = m_options](const FractionSink& sink) {
            return Scanner::scan(document, options, 0, engineProgress(sink));
        },
        [this](ScanResult result) {
            m_result = std::move(result);
            m_scanDate = std::chrono::system_clock::now();
            Q_EMIT changed(Field::result);
            setBusy(std::nullopt);
        });
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
    return PlaceNames::fixFor(*issue.places, target->second);
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
                 setDocument(std::move(applied.document));
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
                 setLastApplied(summary);
                 setBusy(QStringLiteral("Checking ") + m_fileName + QStringLiteral("…"));
                 scan();
             });
}

void AppModel::undoLast()
{
    if (m_jobRunning || m_history.empty())
        return;
    std::vector<HistoryStep> history = std::move(m_history);
    HistoryStep step = std::move(history.back());
    history.pop_back();
    setHistory(std::move(history));
    setDocument(std::move(step.document));
    std::vector<ChangeEntry> changes = std::move(m_changes);
    changes.resize(step.changeCount);
    setChanges(std::move(changes));
    setLastApplied(QStringLiteral("Undid the last batch of changes."));
    scan();
}

void AppModel::undoAll()
{
    if (m_jobRunning || !m_original)
        return;
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
    const std::string stem = Files::baseName(m_fileName.toStdString()) + " (tidied)";
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

bool AppModel::saveCleanedCopy()
{
    if (!m_document)
        return false;
    QString startFolder = m_fileURL ? QFileInfo(m_fileURL->toLocalFile()).absolutePath() : QString();
    // The sample's own folder goes when the app quits, so a copy saved there would be lost.
    if (m_sampleFolder && startFolder == QFileInfo(m_sampleFolder->path()).absoluteFilePath())
        startFolder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const std::optional<QString> folder = m_services.chooseFolder(
        QStringLiteral("Save Here"),
        appName +
            QStringLiteral(" writes a new, cleaned copy and its change log in this folder. Your original "
                           "and any existing files are never overwritten."),
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
    setLastApplied(QStringLiteral("Saved “") + copyName + QStringLiteral("” and its change log."));
    m_services.reveal(written);
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
    std::string report = Report::reportText(*m_result, m_fileName.toStdString(), m_scanDate);
    if (pdf)
        report = PdfRenderer::render(report, appName.toStdString() + " report: " + m_fileName.toStdString());
    if (const std::optional<std::string> failure =
            Files::writeNewFile(QFile::encodeName(*path).toStdString(), report))
        setError(QStringLiteral("Couldn’t save the report: ") + fromUtf8(*failure));
}

} // namespace kinloom
