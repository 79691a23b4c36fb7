// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/SettingsView.h"
#include "session/AppModel.h"
#include "session/QtText.h"
#include "session/ScriptedServices.h"
#include "window/ContentView.h"

#include <QAccessible>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace kinloom;

namespace {

// Two men of one name born a year apart: a possible duplicate, not a very likely one.
// Likely one man: the same name, birth year and birthplace, nothing more.
constexpr const char* twoCousins =
    "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
    "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1900\n2 PLAC Leeds\n"
    "0 @I2@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1900\n2 PLAC Leeds\n0 TRLR\n";

} // namespace

#define WAIT_IDLE(model) QTRY_VERIFY_WITH_TIMEOUT(!(model).busy(), 30000)

/// The settings window, driven through the real main window on a session that keeps its settings
/// in a temporary store, as the app does between runs.
class SettingsViewTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<ScriptedServices> m_services;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<ContentView> m_window;

    void start()
    {
        m_window.reset();
        m_model.reset();
        m_services = std::make_unique<ScriptedServices>();
        m_model = std::make_unique<AppModel>(*m_services, true);
        m_window = std::make_unique<ContentView>(*m_model);
        m_window->show();
    }

    SettingsView* openSettings()
    {
        m_window->findChild<QAction*>(QStringLiteral("settingsAction"))->trigger();
        auto* settings = m_window->findChild<SettingsView*>(QStringLiteral("settingsWindow"));
        if (!settings || !settings->isVisible())
            qFatal("the settings window did not open");
        return settings;
    }

    template <class T>
    T* child(QWidget* parent, const char* name)
    {
        auto* found = parent->findChild<T*>(QLatin1String(name));
        if (!found)
            qFatal("no child named %s", name);
        return found;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QStandardPaths::setTestModeEnabled(true);
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                           m_dir.filePath(QStringLiteral("settings")));
    }

    void init()
    {
        QSettings().clear();
        QSettings(QStringLiteral("Kinloom"), QStringLiteral("Kinloom")).clear();
        start();
    }

    void cleanup()
    {
        m_window.reset();
        m_model.reset();
        m_services.reset();
    }

    void steppersStopAtTheirBounds()
    {
        SettingsView* settings = openSettings();
        struct Bound
        {
            const char* name;
            int low;
            int high;
            double ScanOptions::*field;
            const char* topText;
        };
        const Bound bounds[] = {
            {"minParentAge", 8, 20, &ScanOptions::minParentAge, "Youngest parent: 20"},
            {"maxMotherAge", 40, 70, &ScanOptions::maxMotherAge, "Oldest mother: 70"},
            {"maxFatherAge", 50, 100, &ScanOptions::maxFatherAge, "Oldest father: 100"},
            {"maxLifespan", 90, 130, &ScanOptions::maxLifespan, "Longest life: 130 years"},
        };
        for (const Bound& bound : bounds) {
            auto* box = child<QSpinBox>(settings, bound.name);
            box->setFocus();
            box->setValue(bound.low);
            QTest::keyClick(box, Qt::Key_Down);
            QCOMPARE(box->value(), bound.low);
            QCOMPARE(m_model->options().*bound.field, double(bound.low));
            box->setValue(bound.high);
            QTest::keyClick(box, Qt::Key_Up);
            QCOMPARE(box->value(), bound.high);
            QCOMPARE(box->text(), QString::fromUtf8(bound.topText));
            QCOMPARE(m_model->options().*bound.field, double(bound.high));
        }
    }

    void veryLikelyOnlyRescansAtOnce()
    {
        const QString path = m_dir.filePath(QStringLiteral("Cousins.ged"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(twoCousins);
        file.close();
        m_model->openFile(path);
        WAIT_IDLE(*m_model);
        QVERIFY(m_model->result());
        const auto duplicates = [this] {
            return std::count_if(
                m_model->result()->issues.begin(), m_model->result()->issues.end(),
                [](const Issue& issue) { return issue.category == IssueCategory::duplicates; });
        };
        QCOMPARE(duplicates(), 1);

        auto* choice = child<QComboBox>(openSettings(), "duplicateThreshold");
        QCOMPARE(choice->currentText(), QStringLiteral("Possible and likely"));
        choice->setFocus();
        QTest::keyClick(choice, Qt::Key_End);
        QCOMPARE(choice->currentText(), QStringLiteral("Very likely only"));
        QCOMPARE(m_model->options().duplicateThreshold, 0.9);
        QVERIFY(m_model->busy());
        WAIT_IDLE(*m_model);
        QCOMPARE(duplicates(), 0);
    }

    void choicesAndTheTabSurviveARestart()
    {
        SettingsView* settings = openSettings();
        QCOMPARE(settings->tabs()->currentIndex(), 0);
        child<QRadioButton>(settings, "dateOrder1")->click();
        child<QSpinBox>(settings, "maxLifespan")->setValue(110);
        auto* changeLog = child<QComboBox>(settings, "changeLogFormat");
        changeLog->setFocus();
        QTest::keyClick(changeLog, Qt::Key_End);
        settings->tabs()->setCurrentIndex(1);
        QCOMPARE(m_model->changeLogFormat(), TextFormat::pdf);

        start();
        QCOMPARE(m_model->options().numericOrder, NumericDateOrder::dayFirst);
        QCOMPARE(m_model->options().maxLifespan, 110.0);
        QCOMPARE(m_model->changeLogFormat(), TextFormat::pdf);
        settings = openSettings();
        QCOMPARE(settings->tabs()->currentIndex(), 1);
        QVERIFY(child<QRadioButton>(settings, "dateOrder1")->isChecked());
        QCOMPARE(child<QSpinBox>(settings, "maxLifespan")->text(), QStringLiteral("Longest life: 110 years"));
        QCOMPARE(child<QComboBox>(settings, "changeLogFormat")->currentText(), QStringLiteral("PDF"));
        QVERIFY(
            child<QLabel>(settings, "privacyText")
                ->text()
                .startsWith(QStringLiteral("Your family tree never leaves this computer. Kinloom reads")));
    }

    void aKindSwitchedOffStaysOffUntilAllAreTurnedOn()
    {
        const auto alive = [this] {
            return std::count_if(m_model->result()->issues.begin(), m_model->result()->issues.end(),
                                 [](const Issue& issue) { return kindOf(issue.id) == "imp-alive"; });
        };
        m_model->openSampleTree();
        WAIT_IDLE(*m_model);
        const auto before = alive();
        QVERIFY(before > 0);
        SettingsView* settings = openSettings();
        QVERIFY(!child<QPushButton>(settings, "turnAllOnButton")->isVisible());
        auto* box = child<QCheckBox>(settings, "kind-imp-alive");
        box->setFocus();
        QTest::keyClick(box, Qt::Key_Space);
        QVERIFY(!box->isChecked());
        QCOMPARE(m_model->options().skippedKinds, std::vector<std::string>{"imp-alive"});
        WAIT_IDLE(*m_model);
        QCOMPARE(alive(), 0);
        QCOMPARE(child<QLabel>(settings, "kindsOff")->text(), QStringLiteral("1 kind switched off"));

        start();
        m_model->openSampleTree();
        WAIT_IDLE(*m_model);
        QCOMPARE(alive(), 0);
        settings = openSettings();
        QVERIFY(!child<QCheckBox>(settings, "kind-imp-alive")->isChecked());
        child<QPushButton>(settings, "turnAllOnButton")->click();
        QVERIFY(m_model->options().skippedKinds.empty());
        WAIT_IDLE(*m_model);
        QCOMPARE(alive(), before);
        QVERIFY(child<QCheckBox>(settings, "kind-imp-alive")->isChecked());
        QVERIFY(!child<QPushButton>(settings, "turnAllOnButton")->isVisible());
    }

    void restoreDefaultsUndoesEveryChangeTheOverviewLists()
    {
        m_model->openSampleTree();
        WAIT_IDLE(*m_model);
        auto* listed = child<QWidget>(m_window.get(), "changedSettings");
        auto* list = child<QLabel>(m_window.get(), "changedSettingsList");
        QVERIFY(listed->isHidden());
        SettingsView* settings = openSettings();
        child<QSpinBox>(settings, "maxLifespan")->setValue(100);
        child<QCheckBox>(settings, "kind-imp-alive")->click();
        m_model->setChangeLogFormat(TextFormat::pdf);
        WAIT_IDLE(*m_model);
        const auto alive =
            std::ranges::find(allFindingKinds(), std::string_view("imp-alive"), &FindingKind::id);
        QVERIFY(!listed->isHidden());
        QCOMPARE(list->text(), QStringLiteral("• Longest life: 100 years (default 120)\n• Switched off: ") +
                                   fromUtf8(alive->title));

        child<QPushButton>(settings, "restoreDefaultsButton")->click();
        QCOMPARE(m_model->options(), ScanOptions());
        QCOMPARE(m_model->changeLogFormat(), TextFormat::text);
        QVERIFY(m_model->busy());
        WAIT_IDLE(*m_model);
        QCOMPARE(child<QSpinBox>(settings, "maxLifespan")->value(), 120);
        QVERIFY(child<QCheckBox>(settings, "kind-imp-alive")->isChecked());
        QVERIFY(listed->isHidden());

        child<QPushButton>(settings, "closeButton")->click();
        QVERIFY(!settings->isVisible());
    }

    void tabReachesEveryKindInReadingOrder()
    {
        SettingsView* settings = openSettings();
        auto* lastOption = child<QComboBox>(settings, "changeLogFormat");
        lastOption->setFocus();
        QTest::keyClick(lastOption, Qt::Key_Tab);
        for (const FindingKind& kind : allFindingKinds()) {
            QWidget* focused = settings->focusWidget();
            QCOMPARE(focused->objectName(), QStringLiteral("kind-") + fromUtf8(kind.id));
            QCOMPARE(QAccessible::queryAccessibleInterface(focused)->text(QAccessible::Name),
                     fromUtf8(kind.title));
            QTest::keyClick(focused, Qt::Key_Tab);
        }
        QVERIFY(child<QScrollArea>(settings, "kindsScroll")->verticalScrollBar()->value() > 0);
    }
};

QTEST_MAIN(SettingsViewTest)
#include "SettingsViewTest.moc"
