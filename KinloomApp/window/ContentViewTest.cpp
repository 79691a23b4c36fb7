// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/ContentView.h"
#include "session/AppModel.h"
#include "session/ScriptedServices.h"
#include "window/ApplySheet.h"
#include "window/DuplicateCompare.h"
#include "window/MainSplitView.h"
#include "window/findings/IssueListModel.h"
#include "window/findings/IssueListView.h"

#include "sample/SampleTree.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QToolButton>
#include <QTreeView>
#include <QTreeWidget>

using namespace kinloom;

namespace {

// A small family with two sexes written the long way and one place spelled two ways; no duplicates.
constexpr const char* smithFamily =
    "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
    "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX male\n1 BIRT\n2 DATE 1 JAN 1900\n"
    "2 PLAC Boston, Massachusetts\n1 FAMS @F1@\n"
    "0 @I2@ INDI\n1 NAME Mary /Smith/\n1 SEX F\n1 BIRT\n2 DATE 2 FEB 1902\n"
    "2 PLAC Boston, Massachusetts\n1 FAMS @F1@\n"
    "0 @I3@ INDI\n1 NAME Ann /Smith/\n1 SEX female\n1 BIRT\n2 DATE 3 MAR 1930\n"
    "2 PLAC boston,  massachusetts\n1 FAMC @F1@\n"
    "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n1 CHIL @I3@\n0 TRLR\n";

} // namespace

#define WAIT_IDLE(model) QTRY_VERIFY_WITH_TIMEOUT(!(model).busy(), 30000)

class ContentViewTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<ScriptedServices> m_services;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<ContentView> m_window;

    QString writeFile(const QString& name, const std::string& bytes)
    {
        const QString path = m_dir.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write the test file");
        file.write(bytes.data(), qint64(bytes.size()));
        return path;
    }

    void open(const std::string& text)
    {
        m_model->openFile(writeFile(QStringLiteral("Tree.ged"), text));
        WAIT_IDLE(*m_model);
        QVERIFY(m_model->result());
    }

    template <class T>
    T* child(const char* name) const
    {
        auto* found = m_window->findChild<T*>(QLatin1String(name));
        if (!found)
            qFatal("no child named %s", name);
        return found;
    }

    QString labelText(const char* name) const { return child<QLabel>(name)->text(); }

    /// Shows a category and makes the first finding of its first group the current one.
    QTreeView* showCategory(IssueCategory category)
    {
        m_model->setSidebar(SidebarItem::forCategory(category));
        auto* tree = child<QTreeView>("issueTree");
        if (tree->model()->rowCount() > 0)
            tree->setCurrentIndex(tree->model()->index(0, 0, tree->model()->index(0, 0)));
        return tree;
    }

    /// The sidebar's count for each category.
    QList<int> sidebarCounts() const
    {
        QList<int> counts;
        for (IssueCategory category : allIssueCategories)
            counts << child<QListWidget>("sidebar")->item(1 + int(category))->data(Qt::UserRole + 1).toInt();
        return counts;
    }

    /// The findings the list shows, group by group.
    std::vector<const Issue*> listed() const
    {
        const IssueListModel& list = *m_window->mainSplit()->issueList()->listModel();
        std::vector<const Issue*> issues;
        for (int group = 0; group < list.rowCount(); ++group) {
            for (int row = 0; row < list.rowCount(list.index(group, 0)); ++row)
                issues.push_back(list.issue(list.index(row, 0, list.index(group, 0))));
        }
        return issues;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QStandardPaths::setTestModeEnabled(true);
        // Decisions go to the services' own store; should any reach for the user's, it is this one.
        qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toLocal8Bit());
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                           m_dir.filePath(QStringLiteral("settings")));
    }

    void init()
    {
        m_services = std::make_unique<ScriptedServices>();
        m_model = std::make_unique<AppModel>(*m_services, false);
        m_window = std::make_unique<ContentView>(*m_model);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    void cleanup()
    {
        m_window.reset();
        m_model.reset();
        m_services.reset();
    }

    void emptyStateSaysWhatTheAppDoes()
    {
        QVERIFY(child<QWidget>("emptyState")->isVisible());
        QCOMPARE(labelText("emptyTitle"), QStringLiteral("Tidy up a family tree"));
        QCOMPARE(labelText("emptySubtitle"),
                 QStringLiteral("Open a GEDCOM file from any family-tree program."));
        QCOMPARE(
            labelText("emptyPitch"),
            QStringLiteral("Kinloom finds likely duplicates, impossible dates, messy dates and place names, "
                           "missing details and broken links, and shows every fix before it makes it."));
        QCOMPARE(labelText("dropLabel"), QStringLiteral("or drop a .ged file here"));
        QCOMPARE(labelText("privacyLabel"), QStringLiteral("Your tree stays on this ") + computerWord() +
                                                QStringLiteral(", and your file is never changed: fixes go "
                                                               "into a new copy."));
        auto* openButton = child<QPushButton>("openButton");
        QCOMPARE(openButton->text(), QStringLiteral("Open Family-Tree File…"));
        QTest::mouseClick(openButton, Qt::LeftButton);
        QCOMPARE(m_services->fileRequests().size(), 1);
    }

    void droppedFilesMustBeOneFamilyTree_data()
    {
        QTest::addColumn<QList<QUrl>>("urls");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("one .ged") << QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/tmp/a.ged"))} << true;
        QTest::newRow("capitals") << QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/tmp/A.GED"))} << true;
        QTest::newRow("text file") << QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/tmp/a.txt"))} << false;
        QTest::newRow("two files") << QList<QUrl>{QUrl::fromLocalFile(QStringLiteral("/tmp/a.ged")),
                                                  QUrl::fromLocalFile(QStringLiteral("/tmp/b.ged"))}
                                   << false;
        QTest::newRow("remote") << QList<QUrl>{QUrl(QStringLiteral("https://example.org/a.ged"))} << false;
    }

    void droppedFilesMustBeOneFamilyTree()
    {
        QFETCH(QList<QUrl>, urls);
        QFETCH(bool, accepted);
        QMimeData data;
        data.setUrls(urls);
        QCOMPARE(!ContentView::droppedFamilyTree(&data).isEmpty(), accepted);
    }

    void droppingAFileHighlightsThenOpensIt()
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(writeFile(QStringLiteral("Dropped.ged"), smithFamily))});
        const QPoint centre = m_window->rect().center();
        QDragEnterEvent enter(centre, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_window.get(), &enter);
        QVERIFY(enter.isAccepted());
        QVERIFY(m_window->dropTargeted());
        QDropEvent drop(QPointF(centre), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_window.get(), &drop);
        QVERIFY(!m_window->dropTargeted());
        // While the file is read, the overlay says so and the session's commands wait.
        QVERIFY(child<QWidget>("busyOverlay")->isVisible());
        QCOMPARE(labelText("busyLabel"), QStringLiteral("Reading Dropped.ged…"));
        QVERIFY(!child<QAction>("openAction")->isEnabled());
        WAIT_IDLE(*m_model);
        QVERIFY(!child<QWidget>("busyOverlay")->isVisible());
        QVERIFY(child<QAction>("openAction")->isEnabled());
        QVERIFY(child<QWidget>("mainSplit")->isVisible());
        QCOMPARE(m_model->fileName(), QStringLiteral("Dropped.ged"));
    }

    void emptyCategoryShowsItsSentence()
    {
        open(smithFamily);
        showCategory(IssueCategory::duplicates);
        QVERIFY(child<QWidget>("emptyCategory")->isVisible());
        QVERIFY(!child<QWidget>("issueTree")->isVisible());
        QCOMPARE(labelText("nothingLabel"), QStringLiteral("Nothing to fix here"));
        QCOMPARE(labelText("emptySentence"), QStringLiteral("No two people look like the same person."));
        QVERIFY(child<QLabel>("categoryExplanation")->isVisible());
        QCOMPARE(labelText("categoryExplanation"),
                 QStringLiteral("People or families that seem to be recorded twice, compared by their names, "
                                "dates, places and relatives."));
        QVERIFY(!child<QPushButton>("tickAllButton")->isEnabled());
    }

    void tickingARowThenEveryFixKeepsEachIdOnce()
    {
        open(smithFamily);
        QTreeView* tree = showCategory(IssueCategory::missing);
        QVERIFY(child<QWidget>("issueTree")->isVisible());
        const std::vector<std::string> ids = m_window->mainSplit()->issueList()->listModel()->fixIDs();
        QVERIFY(ids.size() >= 2);

        // The space bar ticks the current row, as it does a check box.
        tree->setFocus();
        QTest::keyClick(tree, Qt::Key_Space);
        QCOMPARE(m_model->selection(), std::set<std::string>{ids.front()});
        QCOMPARE(tree->currentIndex().data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Checked);
        QCOMPARE(labelText("tickedLabel"), QStringLiteral("1 fix ticked"));

        QTest::mouseClick(child<QPushButton>("tickAllButton"), Qt::LeftButton);
        QCOMPARE(m_model->selection(), std::set<std::string>(ids.begin(), ids.end()));
        child<QAction>("reviewAction")->trigger();
        auto* sheet = child<QTreeWidget>("applyList");
        QStringList lines;
        for (QTreeWidgetItemIterator it(sheet); *it; ++it)
            lines << (*it)->text(0);
        // Grouped by kind, each line naming its person.
        QCOMPARE(lines,
                 (QStringList{"Sex not in the standard form  ·  2", "Write as “M”\nJohn Smith (@I1@) · SEX",
                              "Write as “F”\nAnn Smith (@I3@) · SEX"}));
        QCOMPARE(child<QPushButton>("applyButton")->text(), ApplySheet::applyTitle(ids.size()));

        // The space bar unticks a line, which stays listed to tick again; a group's box does all its lines.
        QCOMPARE(sheet->currentItem(), sheet->topLevelItem(0)->child(0));
        QTest::keyClick(sheet, Qt::Key_Space);
        QCOMPARE(m_model->selection().size(), ids.size() - 1);
        QCOMPARE(sheet->topLevelItem(0)->childCount(), 2);
        QCOMPARE(sheet->topLevelItem(0)->checkState(0), Qt::PartiallyChecked);
        QCOMPARE(child<QPushButton>("applyButton")->text(), ApplySheet::applyTitle(ids.size() - 1));
        sheet->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
        QVERIFY(m_model->selection().empty());
        QVERIFY(!child<QPushButton>("applyButton")->isEnabled());
        sheet->topLevelItem(0)->setCheckState(0, Qt::Checked);
        QCOMPARE(m_model->selection(), std::set<std::string>(ids.begin(), ids.end()));
    }

    void bulkTickingLeavesFixesToCheckAndUntickAllClears()
    {
        open(SampleTree::sampleText());
        // Merges are each checked and ticked one by one; nothing ticks them in bulk.
        showCategory(IssueCategory::duplicates);
        QVERIFY(!child<QPushButton>("tickAllButton")->isEnabled());
        QVERIFY(labelText("summaryLabel")
                    .contains(QStringLiteral("merges need checking: tick them one by one.")));

        showCategory(IssueCategory::dateFormats);
        QTest::mouseClick(child<QPushButton>("tickAllButton"), Qt::LeftButton);
        std::size_t toCheck = 0;
        for (const Issue* issue : listed()) {
            if (issue->fix)
                QCOMPARE(m_model->selection().contains(issue->fix->id), !issue->fix->needsReview);
            toCheck += issue->fix && issue->fix->needsReview;
        }
        QVERIFY(toCheck > 0);
        QVERIFY(!m_model->selection().empty());
        QTest::mouseClick(child<QPushButton>("untickAllButton"), Qt::LeftButton);
        QVERIFY(m_model->selection().empty());
        QVERIFY(!child<QPushButton>("untickAllButton")->isEnabled());
        QVERIFY(!child<QAction>("untickAllAction")->isEnabled());
    }

    void notAProblemHidesAFindingUntilBroughtBack()
    {
        open(smithFamily);
        QTreeView* tree = showCategory(IssueCategory::missing);
        const std::vector<const Issue*> before = listed();
        QVERIFY(before.size() >= 2 && before[0]->fix);
        auto* decide = child<QPushButton>("decideButton");
        QVERIFY(decide->isVisible() && decide->focusPolicy() & Qt::TabFocus);
        QCOMPARE(decide->text(), QStringLiteral("Not a Problem"));
        QTest::mouseClick(decide, Qt::LeftButton);

        // It leaves the list at once, the next finding takes its place, and no fix of it is ticked.
        std::vector<const Issue*> after(before.begin() + 1, before.end());
        QCOMPARE(listed(), after);
        QCOMPARE(m_window->mainSplit()->issueList()->listModel()->issue(tree->currentIndex()), before[1]);
        auto* toggle = child<QToolButton>("showDismissedButton");
        QVERIFY(toggle->isVisible());
        QCOMPARE(toggle->text(), QStringLiteral("1 dismissed"));
        QVERIFY(labelText("summaryLabel").endsWith(QStringLiteral(" 1 dismissed finding is not listed.")));
        QTest::mouseClick(child<QPushButton>("tickAllButton"), Qt::LeftButton);
        QVERIFY(!m_model->selection().empty() && !m_model->selection().contains(before[0]->fix->id));

        // Show Dismissed lists it alone, without its fix, and its context menu brings it back.
        QTest::mouseClick(toggle, Qt::LeftButton);
        QVERIFY(m_model->showDismissed() && child<QAction>("showDismissedAction")->isChecked());
        QCOMPARE(listed(), std::vector{before[0]});
        QVERIFY(!child<QPushButton>("tickAllButton")->isVisible());
        const QModelIndex dismissed = tree->model()->index(0, 0, tree->model()->index(0, 0));
        QVERIFY(!dismissed.data(Qt::CheckStateRole).isValid());
        Q_EMIT tree->customContextMenuRequested(tree->visualRect(dismissed).center());
        QAction* bringBack = child<QAction>("decideMenuAction");
        QCOMPARE(bringBack->text(), QStringLiteral("Bring Back"));
        auto* menu = child<QMenu>("findingMenu");
        menu->setActiveAction(bringBack);
        QTest::keyClick(menu, Qt::Key_Return);
        QVERIFY(listed().empty());
        QCOMPARE(labelText("nothingLabel"), QStringLiteral("Nothing dismissed here"));
        m_model->setSidebar(SidebarItem::overview());
        child<QAction>("showDismissedAction")->trigger();
        QVERIFY(!toggle->isVisible());
        QCOMPARE(listed().size(), before.size());

        // A duplicate pair is not the same person; the keys do it too.
        open(SampleTree::sampleText());
        tree = showCategory(IssueCategory::duplicates);
        const std::size_t pairs = listed().size();
        QCOMPARE(child<QAction>("decideAction")->text(), QStringLiteral("Not the Same Person"));
        QCOMPARE(decide->text(), QStringLiteral("Not the Same Person"));
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QTest::keyClick(tree, Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(listed().size(), pairs - 1);
        QCOMPARE(m_model->dismissedCount(), 1u);
    }

    void damagedDecisionStoreIsSaidWithoutStopping()
    {
        QFile store(m_services->decisionStore());
        QVERIFY(store.open(QIODevice::WriteOnly));
        store.write("[1, 2");
        store.close();
        open(smithFamily);
        QVERIFY2(labelText("statusMessage").contains(QStringLiteral("set aside")),
                 qPrintable(labelText("statusMessage")));
        auto* alert = m_window->findChild<QMessageBox*>(QStringLiteral("errorAlert"));
        QVERIFY(!alert || !alert->isVisible());
        QVERIFY(!child<QToolButton>("showDismissedButton")->isVisible());
    }

    void summaryCountsFixesAndFlaggedFindings_data()
    {
        QTest::addColumn<int>("withFix");
        QTest::addColumn<int>("merges");
        QTest::addColumn<int>("flagged");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one fix") << 1 << 0 << 0 << QStringLiteral("1 finding with a suggested fix.");
        QTest::newRow("merges and flagged")
            << 0 << 2 << 1
            << QStringLiteral(
                   "2 pairs can be merged. A merge keeps every name, fact and source of both records. "
                   "1 finding without a fix. These are flagged, not changed: check them against "
                   "your sources.");
        QTest::newRow("fixes and flagged")
            << 3 << 0 << 2
            << QStringLiteral("3 findings with a suggested fix. 2 findings without a fix. These are flagged, "
                              "not changed: check them against your sources.");
    }

    void summaryCountsFixesAndFlaggedFindings()
    {
        QFETCH(int, withFix);
        QFETCH(int, merges);
        QFETCH(int, flagged);
        QFETCH(QString, expected);
        std::vector<Issue> issues;
        for (int i = 0; i < withFix; ++i)
            issues.push_back({.fix = Fix{}});
        for (int i = 0; i < merges; ++i)
            issues.push_back({.category = IssueCategory::duplicates, .fix = Fix{}});
        for (int i = 0; i < flagged; ++i)
            issues.push_back({});
        std::vector<const Issue*> pointers;
        for (const Issue& issue : issues)
            pointers.push_back(&issue);
        QCOMPARE(IssueListView::summary(pointers), expected);
    }

    void oneTickedFixAppliesInTheSingular()
    {
        open(smithFamily);
        const std::vector<std::string> ids =
            (showCategory(IssueCategory::missing), m_window->mainSplit()->issueList()->listModel()->fixIDs());
        m_model->setSelected(ids.front(), true);
        auto* save = child<QAction>("saveAction");
        const auto saveOffers = [save](bool enabled, const char* tip) {
            QCOMPARE(save->isEnabled(), enabled);
            QCOMPARE(save->toolTip(), QString::fromUtf8(tip));
        };
        const char* nothingToSave = "No changes to save yet: tick fixes and apply them first";
        saveOffers(false, nothingToSave);
        // The list keeps its place through the apply, an undo and a redo.
        auto* tree = child<QTreeView>("issueTree");
        tree->setCurrentIndex(tree->model()->index(1, 0, tree->currentIndex().parent()));
        const auto currentRecords = [this, tree] {
            const Issue* issue = m_window->mainSplit()->issueList()->listModel()->issue(tree->currentIndex());
            return issue ? issue->records : std::vector<std::string>();
        };
        const std::vector<std::string> records = currentRecords();
        QVERIFY(!records.empty());
        child<QAction>("reviewAction")->trigger();
        QVERIFY(child<QWidget>("applySheet")->isVisible());
        auto* apply = child<QPushButton>("applyButton");
        QCOMPARE(apply->text(), QStringLiteral("Apply 1 Change"));
        QTest::mouseClick(apply, Qt::LeftButton);
        QVERIFY(!m_model->showApply());
        WAIT_IDLE(*m_model);
        QCOMPARE(currentRecords(), records);
        QCOMPARE(labelText("statusMessage"), QStringLiteral("Applied 1 change."));
        QVERIFY(!child<QPushButton>("skippedButton")->isVisible());
        for (const char* action : {"undoAction", "redoAction"}) {
            child<QAction>(action)->trigger();
            WAIT_IDLE(*m_model);
            QCOMPARE(currentRecords(), records);
        }
        // The list rescanned while busy still offers to tick what is left.
        QVERIFY(child<QPushButton>("tickAllButton")->isEnabled());
        QCOMPARE(labelText("unsavedLabel"), QStringLiteral("1 change applied, not yet saved"));
        QVERIFY(child<QAction>("undoAction")->isEnabled());
        saveOffers(true, "Write a new, cleaned file and its change log");
        m_model->setSidebar(SidebarItem::changes());
        QCOMPARE(labelText("changesStatus"),
                 QStringLiteral("1 change, not yet saved. They go into the change log "
                                "when you save a cleaned copy."));
        QCOMPARE(labelText("changesNote"),
                 QStringLiteral("Your original file is never changed. Fixes go into a new "
                                "copy, with a change log of every edit."));
        QTest::mouseClick(child<QPushButton>("changesUndoAllButton"), Qt::LeftButton);
        WAIT_IDLE(*m_model);
        QCOMPARE(labelText("changesStatus"),
                 QStringLiteral("No changes yet. Tick fixes in the findings, then Review & Apply."));
        QVERIFY(labelText("unsavedLabel").isEmpty());
        QVERIFY(!child<QAction>("undoAction")->isEnabled());
        saveOffers(false, nothingToSave);
    }

    void choosingAPlaceSpellingChangesTheFixToApply()
    {
        open(smithFamily);
        showCategory(IssueCategory::places);
        const Issue* issue = m_window->mainSplit()->issueList()->listModel()->issue(
            child<QTreeView>("issueTree")->currentIndex());
        QVERIFY(issue && issue->places && issue->fix);
        QVERIFY(child<QWidget>("placePicker")->isVisible());
        m_model->setSelected(issue->fix->id, true);

        child<QAction>("reviewAction")->trigger();
        auto* list = child<QTreeWidget>("applyList");
        QCOMPARE(list->topLevelItemCount(), 1);
        QVERIFY(list->topLevelItem(0)->child(0)->text(0).contains(QStringLiteral("“Boston, Massachusetts”")));
        child<QPushButton>("applyCancelButton")->click();

        const QModelIndex row = child<QTreeView>("issueTree")->currentIndex();
        QVERIFY(!row.data(IssueListModel::FixTitleRole).toString().contains(QStringLiteral("boston,  mass")));
        QTest::mouseClick(child<QPushButton>("useSpelling1"), Qt::LeftButton);
        QCOMPARE(m_model->placeTargets().at(issue->places->key), std::string("boston,  massachusetts"));
        // The row and its preview lines follow the chosen spelling.
        QVERIFY(row.data(IssueListModel::FixTitleRole)
                    .toString()
                    .contains(QStringLiteral("“boston,  massachusetts”")));
        const QModelIndex firstLine = row.model()->index(0, 0, row);
        QCOMPARE(firstLine.data(IssueListModel::PreviewAfterRole).toString(),
                 QStringLiteral("boston,  massachusetts"));
        child<QAction>("reviewAction")->trigger();
        QVERIFY(
            list->topLevelItem(0)->child(0)->text(0).contains(QStringLiteral("“boston,  massachusetts”")));
        child<QPushButton>("applyCancelButton")->click();

        // A spelling of one's own, typed with stray blanks, rewrites every spelling of the group.
        auto* typed = child<QLineEdit>("typedSpelling");
        QVERIFY(!child<QPushButton>("useTypedSpelling")->isEnabled());
        typed->setText(QStringLiteral(" Boston,  Suffolk, Massachusetts "));
        QTest::mouseClick(child<QPushButton>("useTypedSpelling"), Qt::LeftButton);
        QCOMPARE(m_model->placeTargets().at(issue->places->key),
                 std::string("Boston, Suffolk, Massachusetts"));
        QCOMPARE(row.model()->rowCount(row), static_cast<int>(issue->places->spellings.size()));
        QCOMPARE(firstLine.data(IssueListModel::PreviewAfterRole).toString(),
                 QStringLiteral("Boston, Suffolk, Massachusetts"));
    }

    void duplicateComparisonShowsBothRecords()
    {
        open(SampleTree::sampleText());
        showCategory(IssueCategory::duplicates);
        auto* compare = child<DuplicateCompare>("duplicateCompare");
        QVERIFY(compare->isVisible());
        // The evidence both ways: the sample's first pair has nothing against it.
        auto* evidence = child<QLabel>("duplicateEvidence");
        QVERIFY(evidence->isVisible());
        QVERIFY(
            evidence->text().startsWith(QStringLiteral("<b>For:</b> Similar names (William Hartley / Bill "
                                                       "Hartley) \u00B7 Nickname or other form")));
        QVERIFY(
            evidence->text().endsWith(QStringLiteral("<b>Against:</b> nothing recorded tells them apart")));
        auto* button = child<QPushButton>("compareButton");
        QVERIFY(button->text().startsWith(QStringLiteral("Compare the two records (")));
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(compare->isOpen());
        auto* table = child<QTableWidget>("compareTable");
        QVERIFY(table->isVisible());
        QVERIFY(table->rowCount() > 1);
        // Each record's own first line names it, on its side.
        const Issue* issue = m_window->mainSplit()->issueList()->listModel()->issue(
            child<QTreeView>("issueTree")->currentIndex());
        QVERIFY(table->item(0, 0)->text().contains(QString::fromStdString(issue->match->keep)));
        QVERIFY(table->item(0, 1)->text().contains(QString::fromStdString(issue->match->remove)));
        // Each side names its relatives; words, not colour, say what the other side has.
        const QString kept = child<QLabel>("keptRelatives")->text();
        QVERIFY(kept.startsWith(QStringLiteral("<b>Kept:</b> William Hartley (") +
                                QString::fromStdString(issue->match->keep)));
        QVERIFY(kept.contains(QStringLiteral("<b>Parents:</b>")));
        QVERIFY(
            child<QLabel>("otherRelatives")->text().startsWith(QStringLiteral("<b>Merged into it:</b> ")));

        // In the table Space ticks the merge, Esc closes the comparison, and Tab leaves.
        m_window->activateWindow();
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Space);
        const std::string fixID = issue->fix->id;
        QVERIFY(m_model->selection().contains(fixID));
        QTest::keyClick(table, Qt::Key_Escape);
        QVERIFY(!compare->isOpen());
        QVERIFY(button->hasFocus());
        QTest::mouseClick(button, Qt::LeftButton);
        table->setFocus();
        QTest::keyClick(table, Qt::Key_Tab);
        QVERIFY(!table->hasFocus());

        // "Keep This One" turns the merge round; the tick stays.
        const std::string other = issue->match->remove;
        child<QPushButton>("keepOtherButton")->click();
        QCOMPARE(issue->match->keep, other);
        QCOMPARE(m_model->selectedFixes().at(0).title, "Merge " + issue->match->remove + " into " + other);
    }

    void failuresShowAnAlertThatClearsTheError()
    {
        m_model->openFile(writeFile(QStringLiteral("Notes.ged"), "just some notes\n"));
        WAIT_IDLE(*m_model);
        QVERIFY(m_model->error());
        auto* alert = child<QMessageBox>("errorAlert");
        QTRY_VERIFY(alert->isVisible());
        QCOMPARE(alert->windowTitle(), QStringLiteral("Something went wrong"));
        QCOMPARE(alert->informativeText(), *m_model->error());
        alert->button(QMessageBox::Ok)->click();
        QVERIFY(!m_model->error());
        QVERIFY(!alert->isVisible());
    }

    void searchNarrowsTheListAndTheSidebarCounts()
    {
        open("0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
             "0 @I1@ INDI\n1 NAME Jörg /Müller/\n1 SEX male\n1 BIRT\n2 DATE abt 1850\n"
             "0 @I2@ INDI\n1 NAME John /Smith/\n1 SEX female\n1 BIRT\n2 DATE abt 1852\n0 TRLR\n");
        showCategory(IssueCategory::missing);
        const QList<int> before = sidebarCounts();
        QCOMPARE(listed().size(), std::size_t(2));
        child<QAction>("findAction")->trigger();
        auto* search = child<QLineEdit>("searchField");
        QVERIFY(search->hasFocus());
        // Case and accents are ignored; the name is the record's, not in the finding's own text.
        QTest::keyClicks(search, QStringLiteral("MULLER"));
        QCOMPARE(listed().size(), std::size_t(1));
        QCOMPARE(listed().front()->records, std::vector<std::string>{"@I1@"});
        const QList<int> counts = sidebarCounts();
        QCOMPARE(counts[int(IssueCategory::missing)], 1);
        QCOMPARE(counts[int(IssueCategory::dateFormats)], 1);
        QCOMPARE(before[int(IssueCategory::dateFormats)], 2);
        QVERIFY(labelText("summaryLabel").startsWith(QStringLiteral("Showing 1 of 2 findings. ")));
        // A date, then an xref; the search stays when the category changes.
        search->setText(QStringLiteral("1852"));
        showCategory(IssueCategory::dateFormats);
        QCOMPARE(listed().size(), std::size_t(1));
        search->setText(QStringLiteral("@i2@"));
        QCOMPARE(listed().front()->records, std::vector<std::string>{"@I2@"});
        search->setText(QStringLiteral("Hartley"));
        QVERIFY(child<QWidget>("emptyCategory")->isVisible());
        QCOMPARE(labelText("nothingLabel"), QStringLiteral("No findings shown"));
        QTest::keyClick(search, Qt::Key_Escape);
        QVERIFY(search->text().isEmpty());
        QCOMPARE(sidebarCounts(), before);
        QCOMPARE(listed().size(), std::size_t(2));
    }

    void aGroupTicksExactlyItsFixesThatNeedNoReview()
    {
        open(SampleTree::sampleText());
        QTreeView* tree = showCategory(IssueCategory::dateFormats);
        const IssueListModel& list = *m_window->mainSplit()->issueList()->listModel();
        bool reviewLeftOut = false;
        for (int group = 0; group < list.rowCount(); ++group) {
            const QModelIndex parent = list.index(group, 0);
            std::set<std::string> expected;
            for (int row = 0; row < list.rowCount(parent); ++row) {
                const Issue& issue = *list.issue(list.index(row, 0, parent));
                if (issue.fix && !issue.fix->needsReview)
                    expected.insert(issue.fix->id);
                reviewLeftOut = reviewLeftOut || (issue.fix && issue.fix->needsReview);
            }
            auto* button = qobject_cast<QPushButton*>(tree->indexWidget(parent));
            QCOMPARE(button != nullptr, !expected.empty());
            m_model->setSelection({});
            // The space bar on the group's row does what its button does.
            tree->setCurrentIndex(parent);
            tree->setFocus();
            QTest::keyClick(tree, Qt::Key_Space);
            QCOMPARE(m_model->selection(), expected);
            if (!button)
                continue;
            QVERIFY(button->accessibleName().endsWith(parent.data().toString()));
            m_model->setSelection({});
            QTest::mouseClick(button, Qt::LeftButton);
            QCOMPARE(m_model->selection(), expected);
        }
        QVERIFY(reviewLeftOut);
        // Left and right close and open a group, as in any tree.
        tree->setCurrentIndex(list.index(0, 0));
        tree->expand(list.index(0, 0));
        QTest::keyClick(tree, Qt::Key_Left);
        QVERIFY(!tree->isExpanded(list.index(0, 0)));
        QTest::keyClick(tree, Qt::Key_Right);
        QVERIFY(tree->isExpanded(list.index(0, 0)));
    }

    void theSeverityFilterHidesShowsAndIsRemembered()
    {
        // A session that keeps its settings, as the app's does.
        m_window.reset();
        m_model = std::make_unique<AppModel>(*m_services, true);
        m_window = std::make_unique<ContentView>(*m_model);
        m_window->show();
        open(SampleTree::sampleText());
        showCategory(IssueCategory::impossibleDates);
        const QList<int> before = sidebarCounts();
        const auto notes = [this] {
            const std::vector<const Issue*> issues = listed();
            return std::count_if(issues.begin(), issues.end(),
                                 [](const Issue* issue) { return issue->severity == Severity::info; });
        };
        QVERIFY(notes() > 0);
        auto* button = child<QToolButton>("showNotesButton");
        QVERIFY(button->isChecked());
        QVERIFY(button->text().startsWith(QStringLiteral("Notes (")));
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(notes(), 0);
        QVERIFY(sidebarCounts()[int(IssueCategory::impossibleDates)] <
                before[int(IssueCategory::impossibleDates)]);
        QVERIFY(!AppModel(*m_services, true).isSeverityShown(Severity::info));
        QVERIFY(AppModel(*m_services, true).isSeverityShown(Severity::error));
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(notes() > 0);
        QCOMPARE(sidebarCounts(), before);
        QVERIFY(AppModel(*m_services, true).isSeverityShown(Severity::info));
    }

    void findingsModelIsConsistent()
    {
        IssueListModel list(*m_model);
        QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::QtTest);
        open(SampleTree::sampleText());
        for (IssueCategory category : allIssueCategories) {
            list.setCategory(category);
            for (int group = 0; group < list.rowCount(); ++group) {
                const QModelIndex parent = list.index(group, 0);
                QVERIFY(!list.issue(parent));
                for (int row = 0; row < list.rowCount(parent); ++row) {
                    const QModelIndex index = list.index(row, 0, parent);
                    QCOMPARE(list.rowCount(index),
                             int(list.issue(index)->fix ? list.issue(index)->fix->preview.size() : 0));
                    // Errors come first, then warnings, then notes.
                    QVERIFY(list.issue(index)->severity <=
                            Severity(parent.data(IssueListModel::SeverityRole).toInt()));
                    if (group > 0)
                        QVERIFY(parent.data(IssueListModel::SeverityRole).toInt() <=
                                list.index(group - 1, 0).data(IssueListModel::SeverityRole).toInt());
                    if (index.flags() & Qt::ItemIsUserCheckable)
                        QVERIFY(list.setData(index, Qt::Checked, Qt::CheckStateRole));
                }
            }
        }
        QVERIFY(!m_model->selection().empty());
    }

    void overviewSaysHowNumericDatesAreRead()
    {
        open("0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
             "0 @I1@ INDI\n1 NAME Ann /Lee/\n1 BIRT\n2 DATE 25/12/1890\n1 DEAT\n2 DATE 03/04/1950\n0 TRLR\n");
        QVERIFY(child<QWidget>("overview")->isVisible());
        QCOMPARE(
            labelText("numericOrderLabel"),
            QStringLiteral("Dates like 03/04/1890 are read day first (3 April 1890), as the rest of the file "
                           "writes them. Change this in Settings › Checks."));
        QVERIFY(child<QLabel>("numericOrderLabel")->isVisible());
    }

    void readAsReadsTheFileAgainInTheChosenEncoding()
    {
        // "Stanisław Wójcik" in Windows-1250, under a header that names no code page.
        open("0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR ANSI\n0 @I1@ INDI\n1 NAME Stanis\xb3"
             "aw /W\xf3jcik/\n0 TRLR\n");
        auto* readAs = child<QPushButton>("readAsButton");
        QCOMPARE(readAs->text(), QStringLiteral("Read as…"));
        QAction* choice = nullptr;
        for (QAction* action : readAs->menu()->actions()) {
            if (action->text() == QStringLiteral("Windows-1250 (Central European)"))
                choice = action;
        }
        QVERIFY(choice);
        choice->trigger();
        WAIT_IDLE(*m_model);
        QVERIFY(m_model->result());
        QCOMPARE(m_model->document()->encoding, TextEncoding::windows1250);
        QCOMPARE(labelText("encodingLabel"), QStringLiteral("Windows-1250 (Central European)"));
        const NodeView person = m_model->document()->record(1);
        QCOMPARE(person.firstChild("NAME")->value().value_or(""), std::string_view("Stanisław /Wójcik/"));
    }

    void closingRemembersTheWindowLayout()
    {
        QSettings().remove(QStringLiteral("window"));
        m_window->resize(900, 640);
        QVERIFY(m_window->close());
        const QSettings settings;
        QVERIFY(!settings.value(QStringLiteral("window/geometry")).toByteArray().isEmpty());
        QVERIFY(!settings.value(QStringLiteral("window/sidebarSplit")).toByteArray().isEmpty());
        ContentView reopened(*m_model);
        QCOMPARE(reopened.size(), QSize(900, 640));
    }

    void closeGuardAsksBeforeUnsavedChangesAreLost()
    {
        // Only a session that keeps its settings asks the discard question, as the app's does.
        ScriptedServices services;
        AppModel model(services, true);
        ContentView window(model);
        window.show();
        model.openFile(writeFile(QStringLiteral("Tree.ged"), smithFamily));
        WAIT_IDLE(model);
        const std::vector<Issue>& issues = model.result()->issues;
        model.setSelected(
            std::find_if(issues.begin(), issues.end(), [](const Issue& i) { return i.fix.has_value(); })
                ->fix->id,
            true);
        model.applySelection();
        WAIT_IDLE(model);
        QVERIFY(model.hasUnsavedChanges());

        services.setNextAnswer(2); // Cancel
        QVERIFY(!window.close());
        QVERIFY(window.isVisible());
        QCOMPARE(services.alerts().size(), 1);
        QCOMPARE(services.alerts().back().detail, QStringLiteral("Save Cleaned Copy…|Don’t Save|Cancel"));

        // Quitting from the menu goes through the same question.
        services.setNextAnswer(2);
        window.findChild<QAction*>(QStringLiteral("quitAction"))->trigger();
        QTRY_COMPARE(services.alerts().size(), 2);
        QVERIFY(window.isVisible());

        services.setNextAnswer(1); // Don't Save
        QVERIFY(window.close());
        QVERIFY(!window.isVisible());
    }

    void menusOfferEveryCommand()
    {
        QStringList texts;
        for (const char* name : {"fileMenu", "editMenu", "viewMenu", "helpMenu"}) {
            for (QAction* action : child<QMenu>(name)->actions()) {
                if (!action->isSeparator())
                    texts << action->text();
            }
        }
        QCOMPARE(texts, QStringList({"Open…",
                                     "Open Sample Tree",
                                     "Save Cleaned Copy…",
                                     "Export Report",
                                     "Close Window",
                                     "Quit",
                                     "Undo Last Batch",
                                     "Redo",
                                     "Undo All Changes",
                                     "Find",
                                     "Not a Problem",
                                     "Review && Apply…",
                                     "Untick All",
                                     "Settings…",
                                     "Overview",
                                     "Likely duplicates",
                                     "Impossible dates",
                                     "Date formats",
                                     "Place names",
                                     "Missing details",
                                     "Broken links",
                                     "File",
                                     "Changes",
                                     "Show Dismissed",
                                     "How Kinloom Works",
                                     "Open Sample Tree",
                                     "About Kinloom"}));
        QCOMPARE(child<QAction>("settingsAction")->shortcut(), QKeySequence(QStringLiteral("Ctrl+,")));
        QCOMPARE(child<QAction>("redoAction")->shortcut(), QKeySequence(QStringLiteral("Ctrl+Shift+Z")));
        QCOMPARE(child<QAction>("reviewAction")->shortcut(), QKeySequence(QStringLiteral("Ctrl+Return")));
        QVERIFY(!child<QAction>("showChangesAction")->isEnabled());

        // The help is a page with a heading per topic, and Esc closes it.
        child<QAction>("helpAction")->trigger();
        auto* help = child<QTextBrowser>("helpText");
        QTRY_VERIFY(help->isVisible());
        QStringList headings;
        for (QTextBlock block = help->document()->begin(); block.isValid(); block = block.next()) {
            if (block.blockFormat().headingLevel() > 0)
                headings << block.text();
        }
        QCOMPARE(headings, QStringList({"What Kinloom does", "The lists", "Ticking and applying",
                                        "Check before applying", "Merging two records",
                                        "Your file, the copy and the change log"}));
        QVERIFY(help->toPlainText().contains(QStringLiteral("Broken links. Links between people")));
        QTest::keyClick(help, Qt::Key_Escape);
        QVERIFY(!help->isVisible());

        child<QAction>("openSampleAction")->trigger();
        WAIT_IDLE(*m_model);
        QCOMPARE(m_model->fileName(), QStringLiteral("Sample Tree.ged"));
        QVERIFY(m_model->result() && m_model->result()->issues.size() > 20);
        child<QAction>("showChangesAction")->trigger();
        QCOMPARE(m_model->sidebar(), SidebarItem::changes());
    }

    void theWholeJourneyByKeyboard()
    {
        open(smithFamily);
        m_window->activateWindow();
        QTRY_VERIFY(m_window->isActiveWindow());
        const auto focused = [] { return QApplication::focusWidget(); };
        const auto press = [focused](QKeyCombination key) {
            QTest::keyClick(focused() ? focused() : QApplication::activeWindow(), key.key(),
                            key.keyboardModifiers());
        };
        const auto framed = [this, focused] {
            const auto* frame = child<QWidget>("focusFrame");
            return frame->isVisible() && frame->parentWidget() == focused();
        };
        press(Qt::CTRL | Qt::Key_5);
        QCOMPARE(m_model->sidebar(), SidebarItem::forCategory(IssueCategory::missing));
        // Tab reaches the findings and leaves them again, either way.
        auto* tree = child<QTreeView>("issueTree");
        for (int i = 0; i < 10 && focused() != tree; ++i)
            press(QKeyCombination(Qt::Key_Tab));
        QCOMPARE(focused(), tree);
        QVERIFY(framed());
        press(QKeyCombination(Qt::Key_Tab));
        QVERIFY(focused() != tree);
        press(Qt::SHIFT | Qt::Key_Backtab);
        QCOMPARE(focused(), tree);

        press(QKeyCombination(Qt::Key_Down));
        const Issue* issue = m_window->mainSplit()->issueList()->listModel()->issue(tree->currentIndex());
        QVERIFY(issue && issue->fix);
        const std::string fixID = issue->fix->id;
        press(QKeyCombination(Qt::Key_Space));
        QCOMPARE(m_model->selection(), std::set<std::string>{fixID});
        // On a line of the fix's preview the space bar ticks the same fix.
        press(QKeyCombination(Qt::Key_Right));
        press(QKeyCombination(Qt::Key_Down));
        QVERIFY(tree->currentIndex().parent().parent().isValid());
        press(QKeyCombination(Qt::Key_Space));
        QVERIFY(m_model->selection().empty());
        press(QKeyCombination(Qt::Key_Space));
        QCOMPARE(m_model->selection(), std::set<std::string>{fixID});
        // Esc closes the review and keeps the tick; Return applies.
        press(Qt::CTRL | Qt::Key_Return);
        QTRY_COMPARE(focused(), child<QTreeWidget>("applyList"));
        QVERIFY(framed());
        press(QKeyCombination(Qt::Key_Escape));
        QTRY_COMPARE(focused(), tree);
        QCOMPARE(m_model->selection(), std::set<std::string>{fixID});
        press(Qt::CTRL | Qt::Key_Return);
        QTRY_COMPARE(focused(), child<QTreeWidget>("applyList"));
        press(QKeyCombination(Qt::Key_Return));
        WAIT_IDLE(*m_model);
        QCOMPARE(m_model->changes().size(), 1u);
        // The keyboard is back in the list after the work, ready for the next finding.
        QTRY_COMPARE(focused(), tree);

        press(Qt::CTRL | Qt::Key_Z);
        WAIT_IDLE(*m_model);
        QVERIFY(m_model->changes().empty());
        QCOMPARE(focused(), tree);
        press(Qt::CTRL | Qt::SHIFT | Qt::Key_Z);
        WAIT_IDLE(*m_model);
        QCOMPARE(m_model->changes().size(), 1u);
        m_services->setNextFolder(m_dir.path());
        press(Qt::CTRL | Qt::Key_S);
        QVERIFY(!m_model->hasUnsavedChanges());
        QVERIFY(QFile::exists(m_dir.filePath(QStringLiteral("Tree (tidied).ged"))));
    }

    void sidebarCountsFindingsAndKeyboardChoosesEntries()
    {
        open(SampleTree::sampleText());
        auto* sidebar = child<QListWidget>("sidebar");
        QCOMPARE(sidebar->count(), 9);
        std::size_t duplicates = 0;
        for (const Issue& issue : m_model->result()->issues)
            duplicates += issue.category == IssueCategory::duplicates;
        QCOMPARE(sidebar->item(1)->data(Qt::UserRole + 1).toULongLong(), qulonglong(duplicates));
        sidebar->setFocus();
        QTest::keyClick(sidebar, Qt::Key_Down);
        QCOMPARE(m_model->sidebar(), SidebarItem::forCategory(IssueCategory::duplicates));
        QTest::keyClick(m_window.get(), Qt::Key_4, Qt::ControlModifier);
        QCOMPARE(m_model->sidebar(), SidebarItem::forCategory(IssueCategory::places));
        QCOMPARE(sidebar->currentRow(), 4);
    }
};

QTEST_MAIN(ContentViewTest)
#include "ContentViewTest.moc"
