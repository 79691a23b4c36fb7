// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/AppModel.h"
#include "session/ScriptedServices.h"

#include "document/GedcomWriter.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace kinloom;

namespace {

// A small family with one sex written the long way and one place spelled two ways.
constexpr const char* smithFamily =
    "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
    "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX male\n1 BIRT\n2 DATE 1 JAN 1900\n"
    "2 PLAC Boston, Massachusetts\n1 FAMS @F1@\n"
    "0 @I2@ INDI\n1 NAME Mary /Smith/\n1 SEX F\n1 BIRT\n2 DATE 2 FEB 1902\n"
    "2 PLAC Boston, Massachusetts\n1 FAMS @F1@\n"
    "0 @I3@ INDI\n1 NAME Ann /Smith/\n1 SEX F\n1 BIRT\n2 DATE 3 MAR 1930\n"
    "2 PLAC boston,  massachusetts\n1 FAMC @F1@\n"
    "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n1 CHIL @I3@\n0 TRLR\n";

// Two people with findings of their own: John's sex and each birth date written the long way.
constexpr const char* doeFamily =
    "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
    "0 @I1@ INDI\n1 NAME John /Doe/\n1 SEX male\n1 BIRT\n2 DATE 12 jan 1900\n1 FAMS @F1@\n"
    "0 @I2@ INDI\n1 NAME Mary /Doe/\n1 SEX F\n1 BIRT\n2 DATE 2 feb 1902\n1 FAMS @F1@\n"
    "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n0 TRLR\n";

QString text(const std::optional<QString>& value)
{
    return value.value_or(QStringLiteral("(none)"));
}

} // namespace

Q_DECLARE_METATYPE(kinloom::ScanOptions)

// Background work ends when the busy text is cleared; every operation sets it before it starts.
#define WAIT_IDLE(model) QTRY_VERIFY_WITH_TIMEOUT(!(model).busy(), 30000)

class AppModelTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settingsDir;
    std::unique_ptr<QTemporaryDir> m_dir;

    QString writeFile(const QString& name, const std::string& bytes)
    {
        const QString path = m_dir->filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(bytes.data(), qint64(bytes.size())) != qint64(bytes.size()))
            qFatal("cannot write the test file");
        return path;
    }

    /// The id of the first fix whose finding's id starts with `prefix`.
    static std::string fixID(const AppModel& model, const std::string& prefix)
    {
        for (const Issue& issue : model.result()->issues) {
            if (issue.fix && issue.id.starts_with(prefix))
                return issue.fix->id;
        }
        return {};
    }

    /// The index of the first finding whose id starts with `prefix` and names this record.
    static std::size_t findingAt(const AppModel& model, const std::string& prefix, const std::string& record)
    {
        const std::vector<Issue>& issues = model.result()->issues;
        for (std::size_t i = 0; i < issues.size(); ++i) {
            if (issues[i].id.starts_with(prefix) && issues[i].records == std::vector{record})
                return i;
        }
        qFatal("no such finding");
    }

    /// Opens the file and says whether John's sex finding is dismissed, and how many are.
    static std::pair<bool, std::size_t> sexDismissed(AppModel& model, const QString& path)
    {
        model.openFile(path);
        if (!QTest::qWaitFor([&model] { return !model.busy(); }, 30000) || !model.result())
            qFatal("the file did not open");
        const std::size_t sex = findingAt(model, "miss-sexform-", "@I1@");
        return {model.isDismissed(sex) && !model.isShown(sex), model.dismissedCount()};
    }

    static QStringList filesIn(const QString& folder)
    {
        return QDir(folder).entryList(QDir::Files, QDir::Name);
    }

    /// Opens the Smith family and applies the sex fix, so the session has one unsaved change.
    void openWithOneChange(AppModel& model, const QString& path)
    {
        model.openFile(path);
        WAIT_IDLE(model);
        model.setSelected(fixID(model, "miss-sexform-"), true);
        model.applySelection();
        WAIT_IDLE(model);
        QCOMPARE(model.changes().size(), 1u);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        // Decisions go to the services' own store; should any reach for the user's, it is this one.
        qputenv("XDG_DATA_HOME", m_settingsDir.path().toLocal8Bit());
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settingsDir.path());
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
    }

    void init()
    {
        QSettings(QStringLiteral("Kinloom"), QStringLiteral("Kinloom")).clear();
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }

    void opensAndScans()
    {
        ScriptedServices services;
        AppModel model(services, false);
        QSignalSpy spy(&model, &AppModel::changed);
        const QString path = writeFile(QStringLiteral("Smith.ged"), smithFamily);
        model.openFile(path);
        QCOMPARE(text(model.busy()), QStringLiteral("Reading Smith.ged…"));
        WAIT_IDLE(model);
        QCOMPARE(model.fileName(), QStringLiteral("Smith.ged"));
        QCOMPARE(model.fileURL(), QUrl::fromLocalFile(path));
        QVERIFY(model.result());
        QCOMPARE(model.result()->stats.people, 3u);
        QVERIFY(model.original() && model.document() && *model.original() == *model.document());
        QVERIFY(!model.hasUnsavedChanges());
        QVERIFY(!model.error());
        QVERIFY(spy.contains(QVariantList{QVariant::fromValue(AppModel::Field::result)}));
    }

    void openPanelTextsAndCancel()
    {
        ScriptedServices services;
        AppModel model(services, false);
        services.setNextFileName(std::nullopt);
        model.openFromPanel();
        QCOMPARE(services.fileRequests().size(), 1);
        QCOMPARE(services.fileRequests()[0].prompt, QStringLiteral("Open"));
        QCOMPARE(services.fileRequests()[0].message,
                 QStringLiteral(
                     "Choose a family-tree file (.ged). Kinloom only reads it; your file is never changed."));
        QVERIFY(!model.busy());
        QVERIFY(!model.document());

        services.setNextFileName(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        model.openFromPanel();
        WAIT_IDLE(model);
        QCOMPARE(model.fileName(), QStringLiteral("Smith.ged"));
    }

    void failedOpensKeepTheSession_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("exists");
        QTest::addColumn<QString>("message");
        QTest::newRow("no GEDCOM records")
            << QStringLiteral("notes.txt") << true
            << QStringLiteral("“notes.txt” doesn’t look like a family-tree (GEDCOM) file.");
        QTest::newRow("empty") << QStringLiteral("empty.ged") << true
                               << QStringLiteral(
                                      "“empty.ged” doesn’t look like a family-tree (GEDCOM) file.");
        QTest::newRow("unreadable") << QStringLiteral("missing.ged") << false
                                    << QStringLiteral("Couldn’t read “missing.ged”: ");
    }

    void failedOpensKeepTheSession()
    {
        QFETCH(QString, name);
        QFETCH(bool, exists);
        QFETCH(QString, message);
        ScriptedServices services;
        AppModel model(services, false);
        const QString smith = writeFile(QStringLiteral("Smith.ged"), smithFamily);
        model.openFile(smith);
        WAIT_IDLE(model);
        const std::optional<ScanResult> result = model.result();

        const QString path = exists ? writeFile(name, name.endsWith(u".txt") ? "Shopping list\nmilk\n" : "")
                                    : m_dir->filePath(name);
        model.openFile(path);
        WAIT_IDLE(model);
        QVERIFY2(text(model.error()).startsWith(message), qPrintable(text(model.error())));
        if (!exists)
            QVERIFY(text(model.error()).size() > message.size());
        QCOMPARE(model.fileName(), QStringLiteral("Smith.ged"));
        QCOMPARE(model.fileURL(), QUrl::fromLocalFile(smith));
        QVERIFY(model.result() == result);
    }

    void applyWithNothingTickedDoesNothing()
    {
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        WAIT_IDLE(model);
        QSignalSpy spy(&model, &AppModel::changed);
        model.applySelection();
        QVERIFY(!model.busy());
        QVERIFY(model.history().empty());
        QVERIFY(!model.lastApplied());
        QCOMPARE(spy.count(), 0);
    }

    void applyingOneChange()
    {
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        WAIT_IDLE(model);
        const GedcomDocument before = *model.document();
        model.setSelected(fixID(model, "miss-sexform-"), true);
        QStringList busyTexts;
        connect(&model, &AppModel::changed, &model, [&](AppModel::Field field) {
            if (field == AppModel::Field::busy)
                busyTexts.append(text(model.busy()));
        });
        model.applySelection();
        WAIT_IDLE(model);
        QCOMPARE(busyTexts, (QStringList{QStringLiteral("Applying 1 change…"),
                                         QStringLiteral("Checking Smith.ged…"), QStringLiteral("(none)")}));
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Applied 1 change."));
        QCOMPARE(model.changes().size(), 1u);
        QCOMPARE(model.changes()[0].id, 1);
        QVERIFY(model.selection().empty());
        QCOMPARE(model.history().size(), 1u);
        QVERIFY(model.history()[0].document == before);
        QCOMPARE(model.history()[0].changeCount, 0u);
        QVERIFY(model.hasUnsavedChanges());
        QVERIFY(fixID(model, "miss-sexform-").empty());

        // The next batch numbers its entries on from the last.
        model.setSelected(fixID(model, "place-"), true);
        model.applySelection();
        WAIT_IDLE(model);
        QCOMPARE(model.changes().size(), 2u);
        QCOMPARE(model.changes()[1].id, 2);
    }

    void skippedFixesAreCounted()
    {
        // A broken link written twice: removing the repeat and removing the broken link are one removal.
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(
            writeFile(QStringLiteral("Twice.ged"),
                      "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n0 @I1@ INDI\n1 NAME John /Smith/\n"
                      "1 SEX M\n1 FAMS @F9@\n1 FAMS @F9@\n0 TRLR\n"));
        WAIT_IDLE(model);
        model.setSelection({"link-repeat-8", "link-missing-9"});
        model.applySelection();
        QCOMPARE(text(model.busy()), QStringLiteral("Applying 2 changes…"));
        WAIT_IDLE(model);
        QCOMPARE(text(model.lastApplied()),
                 QStringLiteral(
                     "Applied 1 change; 1 skipped because another change had already altered those lines."));
        QCOMPARE(model.changes().size(), 1u);
        // Either fix may be the one that went first; the other is listed with its person and why.
        QCOMPARE(model.skipped().size(), 1);
        QVERIFY2(model.skipped()[0].endsWith(QStringLiteral(" · John Smith (@I1@) · FAMS")),
                 qPrintable(model.skipped()[0]));
    }

    void chosenPlaceSpellingIsWritten()
    {
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        WAIT_IDLE(model);
        const auto group = std::find_if(model.result()->issues.begin(), model.result()->issues.end(),
                                        [](const Issue& issue) { return issue.places.has_value(); });
        QVERIFY(group != model.result()->issues.end());
        model.setPlaceTarget(group->places->key, "boston,  massachusetts");
        model.setSelected(group->fix->id, true);
        model.applySelection();
        WAIT_IDLE(model);
        const QString written = QString::fromStdString(GedcomWriter::render(*model.document()));
        QCOMPARE(written.count(QStringLiteral("2 PLAC boston,  massachusetts\n")), 3);
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Applied 1 change."));
    }

    void keepingTheOtherRecord()
    {
        // One man written twice; the larger record is kept unless the user keeps the other.
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Twice.ged"),
                                 "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
                                 "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1 JAN 1900\n"
                                 "2 PLAC Boston\n1 DEAT\n2 DATE 5 MAY 1970\n"
                                 "0 @I2@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1 JAN 1900\n"
                                 "1 DEAT\n2 DATE 5 MAY 1970\n0 TRLR\n"));
        WAIT_IDLE(model);
        const std::string id = fixID(model, "dup-");
        QCOMPARE(id, std::string("dup-@I1@-@I2@"));
        const auto pair = [&model]() -> const Issue& {
            return *std::find_if(model.result()->issues.begin(), model.result()->issues.end(),
                                 [](const Issue& issue) { return issue.match.has_value(); });
        };
        QCOMPARE(pair().match->keep, std::string("@I1@"));
        model.setSelected(id, true);
        model.keepOther(std::size_t(&pair() - model.result()->issues.data()));
        QCOMPARE(pair().match->keep, std::string("@I2@"));
        QCOMPARE(model.selectedFixes().at(0).title, std::string("Merge @I1@ into @I2@"));
        // The choice holds when the file is checked again, and the merge and its log follow it.
        model.scan();
        WAIT_IDLE(model);
        QCOMPARE(pair().match->keep, std::string("@I2@"));
        model.applySelection();
        WAIT_IDLE(model);
        QCOMPARE(model.changes().at(0).title, std::string("Merge @I1@ into @I2@"));
        QCOMPARE(model.changes().at(0).lines.at(0), std::string("Merged @I1@ into @I2@."));
        const QString written = QString::fromStdString(GedcomWriter::render(*model.document()));
        QVERIFY(written.contains(QStringLiteral("0 @I2@ INDI")) &&
                !written.contains(QStringLiteral("0 @I1@ INDI")));
        QVERIFY(written.contains(QStringLiteral("2 PLAC Boston")));
    }

    void undoing()
    {
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        WAIT_IDLE(model);

        // Nothing to undo: nothing happens, not even a scan.
        QSignalSpy spy(&model, &AppModel::changed);
        model.undoLast();
        QCOMPARE(spy.count(), 0);

        // Right after opening, undo all keeps the document and says so.
        model.undoAll();
        WAIT_IDLE(model);
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Back to the file as opened."));
        QVERIFY(*model.document() == *model.original());

        const ScanResult opened = *model.result();
        model.setSelected(fixID(model, "miss-sexform-"), true);
        model.applySelection();
        WAIT_IDLE(model);
        model.setSelected(fixID(model, "place-"), true);
        model.applySelection();
        WAIT_IDLE(model);
        const std::vector<ChangeEntry> first(model.changes().begin(), model.changes().begin() + 1);

        const GedcomDocument both = *model.document();
        const std::vector<ChangeEntry> all = model.changes();

        model.undoLast();
        WAIT_IDLE(model);
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Undid the last batch of changes."));
        QCOMPARE(model.history().size(), 1u);
        QVERIFY(model.changes() == first);

        model.redo();
        WAIT_IDLE(model);
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Redid 1 change."));
        QVERIFY(*model.document() == both && model.changes() == all);
        QCOMPARE(model.history().size(), 2u);
        QVERIFY(model.undone().empty());

        model.undoAll();
        WAIT_IDLE(model);
        QVERIFY(*model.document() == *model.original());
        QVERIFY(model.history().empty() && model.changes().empty());
        QVERIFY(!model.hasUnsavedChanges());
        QVERIFY(*model.result() == opened);

        // Undo All undid two batches; Redo puts back the first, then the second.
        model.redo();
        WAIT_IDLE(model);
        QVERIFY(model.changes() == first);
        model.redo();
        WAIT_IDLE(model);
        QVERIFY(*model.document() == both && model.changes() == all);

        // A new batch after an undo leaves nothing to redo.
        model.undoLast();
        WAIT_IDLE(model);
        model.setSelected(fixID(model, "place-"), true);
        model.applySelection();
        WAIT_IDLE(model);
        QVERIFY(model.undone().empty());
        QSignalSpy redone(&model, &AppModel::changed);
        model.redo();
        QCOMPARE(redone.count(), 0);
    }

    void savingTwiceNumbersTheCopies()
    {
        ScriptedServices services;
        AppModel model(services, false);
        const QString path = writeFile(QStringLiteral("Smith.ged"), smithFamily);
        openWithOneChange(model, path);
        QTemporaryDir out;

        services.setNextFolder(out.path());
        services.setNextAnswer(0);
        QVERIFY(model.saveCleanedCopy());
        QCOMPARE(services.folderRequests()[0].prompt, QStringLiteral("Save Here"));
        QCOMPARE(
            services.folderRequests()[0].message,
            QStringLiteral("Kinloom writes “Smith (tidied).ged” and its change log “Smith (tidied) change "
                           "log.txt” in the folder you choose. Your original and any existing files "
                           "are never overwritten: a name already taken gets a number."));
        QCOMPARE(services.folderRequests()[0].detail, m_dir->path());
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Saved “Smith (tidied).ged” and its change log."));
        QVERIFY(!model.hasUnsavedChanges());
        QCOMPARE(services.messages()[0].prompt,
                 QStringLiteral("Saved “Smith (tidied).ged” and its change log."));
        QCOMPARE(services.messages()[0].detail, QStringLiteral("Show in Folder|Open Change Log|OK"));
        QCOMPARE(services.revealed(),
                 (QList<QStringList>{{out.filePath(QStringLiteral("Smith (tidied).ged")),
                                      out.filePath(QStringLiteral("Smith (tidied) change log.txt"))}}));
        QVERIFY(services.opened().isEmpty());

        model.setChangeLogFormat(TextFormat::pdf);
        services.setNextFolder(out.path());
        services.setNextAnswer(1);
        QVERIFY(model.saveCleanedCopy());
        QVERIFY(services.folderRequests()[1].message.contains(u"“Smith (tidied) change log.pdf”"));
        QCOMPARE(text(model.lastApplied()),
                 QStringLiteral("Saved “Smith (tidied) 2.ged” and its change log."));
        QCOMPARE(services.opened(),
                 QStringList{out.filePath(QStringLiteral("Smith (tidied) 2 change log.pdf"))});
        QCOMPARE(services.revealed().size(), 1);
        QCOMPARE(filesIn(out.path()), (QStringList{QStringLiteral("Smith (tidied) 2 change log.pdf"),
                                                   QStringLiteral("Smith (tidied) 2.ged"),
                                                   QStringLiteral("Smith (tidied) change log.txt"),
                                                   QStringLiteral("Smith (tidied).ged")}));

        QFile copy(out.filePath(QStringLiteral("Smith (tidied).ged")));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        const QByteArray cleaned = copy.readAll();
        QVERIFY(cleaned.contains("1 SEX M\n") && !cleaned.contains("male"));
        QFile log(out.filePath(QStringLiteral("Smith (tidied) change log.txt")));
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("Smith (tidied).ged"));
        QFile pdf(out.filePath(QStringLiteral("Smith (tidied) 2 change log.pdf")));
        QVERIFY(pdf.open(QIODevice::ReadOnly));
        QVERIFY(pdf.readAll().startsWith("%PDF"));
        // The opened file is never touched.
        QFile original(path);
        QVERIFY(original.open(QIODevice::ReadOnly));
        QCOMPARE(original.readAll(), QByteArray(smithFamily));
    }

    void failedSaveKeepsTheChangesUnsaved()
    {
        ScriptedServices services;
        AppModel model(services, false);
        openWithOneChange(model, writeFile(QStringLiteral("Smith.ged"), smithFamily));
        services.setNextFolder(m_dir->filePath(QStringLiteral("no such folder")));
        QVERIFY(!model.saveCleanedCopy());
        QVERIFY(model.error());
        QVERIFY(model.hasUnsavedChanges());
        QVERIFY(model.savedChanges().empty());
        QVERIFY(services.messages().isEmpty());

        // With nothing applied there is nothing to save: no folder is asked for.
        model.undoAll();
        WAIT_IDLE(model);
        QVERIFY(!model.saveCleanedCopy());
        QCOMPARE(services.folderRequests().size(), 1);
    }

    void discardQuestion_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<std::optional<QString>>("folder");
        QTest::addColumn<bool>("opensOther");
        QTest::newRow("save, then cancel the folder") << 0 << std::optional<QString>() << false;
        QTest::newRow("save into a folder") << 0 << std::optional<QString>(QStringLiteral("out")) << true;
        QTest::newRow("don’t save") << 1 << std::optional<QString>() << true;
        QTest::newRow("cancel") << 2 << std::optional<QString>() << false;
    }

    void discardQuestion()
    {
        QFETCH(int, answer);
        QFETCH(std::optional<QString>, folder);
        QFETCH(bool, opensOther);
        ScriptedServices services;
        AppModel model(services, true);
        openWithOneChange(model, writeFile(QStringLiteral("Smith.ged"), smithFamily));
        const QString other = writeFile(QStringLiteral("Other.ged"), smithFamily);

        services.setNextAnswer(answer);
        if (folder) {
            QVERIFY(QDir(m_dir->path()).mkdir(*folder));
            services.setNextFolder(m_dir->filePath(*folder));
        } else {
            services.setNextFolder(std::nullopt);
        }
        model.openFile(other);
        WAIT_IDLE(model);
        QCOMPARE(services.alerts().size(), 1);
        QCOMPARE(services.alerts()[0].prompt, QStringLiteral("Save a cleaned copy of “Smith.ged” first?"));
        QCOMPARE(
            services.alerts()[0].message,
            QStringLiteral(
                "1 change isn’t saved yet and will be lost. Your original file isn’t changed either way."));
        QCOMPARE(services.alerts()[0].detail, QStringLiteral("Save Cleaned Copy…|Don’t Save|Cancel"));
        QCOMPARE(model.fileName(), opensOther ? QStringLiteral("Other.ged") : QStringLiteral("Smith.ged"));
        QCOMPARE(model.changes().empty(), opensOther);
        if (folder)
            QCOMPARE(filesIn(m_dir->filePath(*folder)).size(), 2);
    }

    void discardQuestionCountsChanges()
    {
        ScriptedServices services;
        AppModel model(services, true);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        WAIT_IDLE(model);
        model.setSelection({fixID(model, "miss-sexform-"), fixID(model, "place-")});
        model.applySelection();
        WAIT_IDLE(model);
        QCOMPARE(text(model.lastApplied()), QStringLiteral("Applied 2 changes."));
        QVERIFY(!model.mayDiscard());
        QCOMPARE(services.alerts()[0].message,
                 QStringLiteral("2 changes aren’t saved yet and will be lost. Your "
                                "original file isn’t changed either way."));
        // Once the user chose not to save, the session never asks again.
        services.setNextAnswer(1);
        QVERIFY(model.mayDiscard());
        QVERIFY(model.discardConfirmed());
        QVERIFY(model.mayDiscard());
        QCOMPARE(services.alerts().size(), 2);
    }

    void noQuestionWithoutUnsavedChanges()
    {
        ScriptedServices services;
        AppModel model(services, true);
        openWithOneChange(model, writeFile(QStringLiteral("Smith.ged"), smithFamily));
        model.undoAll();
        WAIT_IDLE(model);
        QVERIFY(model.mayDiscard());

        AppModel preview(services, false);
        openWithOneChange(preview, writeFile(QStringLiteral("Other.ged"), smithFamily));
        QVERIFY(preview.mayDiscard());
        QVERIFY(services.alerts().isEmpty());
    }

    void exportingTheReport_data()
    {
        QTest::addColumn<TextFormat>("format");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("start");
        QTest::newRow("text") << TextFormat::text << QStringLiteral("Smith report.txt") << QByteArray("# ");
        QTest::newRow("PDF") << TextFormat::pdf << QStringLiteral("Smith report.pdf") << QByteArray("%PDF");
    }

    void exportingTheReport()
    {
        QFETCH(TextFormat, format);
        QFETCH(QString, name);
        QFETCH(QByteArray, start);
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        WAIT_IDLE(model);

        const QString path = m_dir->filePath(name);
        services.setNextSaveLocation(path);
        model.exportReport(format);
        QCOMPARE(services.saveRequests()[0].detail, name);
        QCOMPARE(
            services.saveRequests()[0].message,
            QStringLiteral("The report lists every finding and suggested fix. It stays on your %1 unless you "
                           "share it.")
                .arg(computerWord()));
        QCOMPARE(services.saveFormats()[0], format);
        QVERIFY(!model.error());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll().startsWith(start));

        // An existing file is never written over.
        services.setNextSaveLocation(path);
        model.exportReport(format);
        QVERIFY2(text(model.error()).startsWith(QStringLiteral("Couldn’t save the report: “") + name + u'”'),
                 qPrintable(text(model.error())));
    }

    void optionsPersistAcrossSessions()
    {
        ScriptedServices services;
        ScanOptions chosen;
        chosen.maxLifespan = 100;
        chosen.numericOrder = NumericDateOrder::dayFirst;
        {
            AppModel model(services, true);
            QCOMPARE(model.options(), ScanOptions());
            model.setOptions(chosen);
        }
        AppModel next(services, true);
        QCOMPARE(next.options(), chosen);

        // A session that does not persist neither reads nor writes the store.
        AppModel preview(services, false);
        QCOMPARE(preview.options(), ScanOptions());
        ScanOptions other;
        other.minParentAge = 15;
        preview.setOptions(other);
        QCOMPARE(AppModel(services, true).options(), chosen);
    }

    void undecodableStoredOptionsGiveDefaults()
    {
        QSettings(QStringLiteral("Kinloom"), QStringLiteral("Kinloom"))
            .setValue(QStringLiteral("scanOptions"), QStringLiteral("{\"maxLifespan\": \"old\"}"));
        ScriptedServices services;
        QCOMPARE(AppModel(services, true).options(), ScanOptions());
    }

    /// The options the rescan test starts from: two limits changed.
    static ScanOptions strictOptions()
    {
        ScanOptions strict;
        strict.minParentAge = 40;
        strict.maxLifespan = 110;
        return strict;
    }

    void changingOptionsRescans_data()
    {
        QTest::addColumn<ScanOptions>("next");
        QTest::addColumn<QString>("message");
        ScanOptions older = strictOptions();
        older.maxLifespan = 100;
        QTest::newRow("a limit") << older
                                 << QStringLiteral(
                                        "Rescanned with Longest life 100: the same number of findings");
        ScanOptions off = strictOptions();
        off.skippedKinds = {"miss-sexform"};
        QTest::newRow("a kind off")
            << off
            << QStringLiteral("Rescanned with “Sex not in the standard form” switched off: 1 fewer finding");
        QTest::newRow("back to the defaults")
            << ScanOptions() << QStringLiteral("Rescanned with the default settings: 2 fewer findings");
    }

    void changingOptionsRescans()
    {
        QFETCH(ScanOptions, next);
        QFETCH(QString, message);
        ScriptedServices services;
        AppModel model(services, false);
        model.openFile(writeFile(QStringLiteral("Smith.ged"), smithFamily));
        // Changed while the first scan runs: one more scan follows with the new options, unsaid.
        model.setOptions(strictOptions());
        QTRY_VERIFY_WITH_TIMEOUT(
            !model.busy() && model.result() &&
                std::any_of(model.result()->issues.begin(), model.result()->issues.end(),
                            [](const Issue& issue) { return issue.id.starts_with("imp-"); }),
            30000);
        QVERIFY(!model.lastApplied());
        model.setOptions(next);
        WAIT_IDLE(model);
        QCOMPARE(text(model.lastApplied()), message);
    }

    void decisionsHoldUntilARecordChanges()
    {
        ScriptedServices services;
        const QString path = writeFile(QStringLiteral("Doe.ged"), doeFamily);
        {
            AppModel model(services, false);
            QCOMPARE(sexDismissed(model, path), std::pair(false, std::size_t(0)));
            const std::size_t sex = findingAt(model, "miss-sexform-", "@I1@");
            model.setSelected(model.result()->issues[sex].fix->id, true);
            model.dismiss(sex);
            QVERIFY(model.isDismissed(sex) && !model.isShown(sex));
            QCOMPARE(model.dismissedCount(), 1u);
            QVERIFY2(model.selection().empty(), "a dismissed finding's fix is unticked");
            model.setShowDismissed(true);
            QVERIFY(model.isShown(sex));
            QVERIFY(!model.isShown(findingAt(model, "date-", "@I1@")));
            const QString report = m_dir->filePath(QStringLiteral("report.txt"));
            services.setNextSaveLocation(report);
            model.exportReport(TextFormat::text);
            QFile reportFile(report);
            QVERIFY(reportFile.open(QIODevice::ReadOnly));
            const QByteArray reportText = reportFile.readAll();
            QVERIFY(!reportText.contains("“male”"));
            QVERIFY(reportText.contains("1 finding hidden by earlier decisions"));

            // Mary's date fixed and saved: John is as he was, in the copy too.
            model.setSelected(model.result()->issues[findingAt(model, "date-", "@I2@")].fix->id, true);
            model.applySelection();
            WAIT_IDLE(model);
            QVERIFY(model.isDismissed(findingAt(model, "miss-sexform-", "@I1@")));
            QCOMPARE(model.dismissedCount(), 1u);
            services.setNextFolder(m_dir->path());
            QVERIFY(model.saveCleanedCopy());
        }
        // Another session on the same store: the original and the copy keep it hidden.
        AppModel model(services, false);
        QCOMPARE(sexDismissed(model, path), std::pair(true, std::size_t(1)));
        QCOMPARE(sexDismissed(model, m_dir->filePath(QStringLiteral("Doe (tidied).ged"))),
                 std::pair(true, std::size_t(1)));

        // A change to John's record, applied or in the file, brings it back.
        model.openFile(path);
        WAIT_IDLE(model);
        model.setSelected(model.result()->issues[findingAt(model, "date-", "@I1@")].fix->id, true);
        model.applySelection();
        WAIT_IDLE(model);
        QCOMPARE(model.dismissedCount(), 0u);
        std::string redated = doeFamily;
        redated.replace(redated.find("12 jan"), 6, "13 jan");
        QCOMPARE(sexDismissed(model, writeFile(QStringLiteral("Redated.ged"), redated)),
                 std::pair(false, std::size_t(0)));

        // Brought back, it is listed again in every session.
        QCOMPARE(sexDismissed(model, path).second, 1u);
        model.bringBack(findingAt(model, "miss-sexform-", "@I1@"));
        QCOMPARE(model.dismissedCount(), 0u);
        AppModel later(services, false);
        QCOMPARE(sexDismissed(later, path), std::pair(false, std::size_t(0)));
        QVERIFY(!model.error());
    }

    void damagedDecisionStoreIsSetAside()
    {
        ScriptedServices services;
        QFile store(services.decisionStore());
        QVERIFY(store.open(QIODevice::WriteOnly));
        store.write("{ not decisions");
        store.close();
        AppModel model(services, false);
        QCOMPARE(sexDismissed(model, writeFile(QStringLiteral("Doe.ged"), doeFamily)),
                 std::pair(false, std::size_t(0)));
        QVERIFY2(text(model.lastApplied()).contains(QStringLiteral("set aside")),
                 qPrintable(text(model.lastApplied())));
        QVERIFY(!model.error());
        QVERIFY(services.alerts().isEmpty());
    }

    void sidebarItemsCompareByWhatTheyShow()
    {
        QCOMPARE(SidebarItem::forCategory(IssueCategory::places),
                 SidebarItem::forCategory(IssueCategory::places));
        QVERIFY(SidebarItem::forCategory(IssueCategory::places) !=
                SidebarItem::forCategory(IssueCategory::links));
        QVERIFY(SidebarItem::overview() != SidebarItem::changes());
        QSet<SidebarItem> items{SidebarItem::overview(), SidebarItem::overview(),
                                SidebarItem::forCategory(IssueCategory::file)};
        QCOMPARE(items.size(), 2);
    }
};

QTEST_MAIN(AppModelTest)
#include "AppModelTest.moc"
