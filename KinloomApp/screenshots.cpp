// SPDX-License-Identifier: GPL-3.0-or-later
// Opens a family-tree file in the real window and saves a picture of each screen, for people to
// look at: kinloom-screenshots OUTDIR FILE.ged [SEARCH] (the words typed in the search's picture)
#include "desktop/QtPlatformServices.h"
#include "session/AppModel.h"
#include "session/ScriptedServices.h"
#include "window/ApplySheet.h"
#include "window/ContentView.h"
#include "window/Icons.h"
#include "window/SettingsView.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTreeView>

#include <algorithm>
#include <array>
#include <cstdio>

using namespace kinloom;

namespace {

void waitUntil(const std::function<bool()>& done)
{
    while (!done())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

void settle()
{
    for (int i = 0; i < 5; ++i)
        QApplication::processEvents();
}

bool save(QWidget& widget, const QDir& folder, const QString& name)
{
    settle();
    const QString path = folder.filePath(name + QStringLiteral(".png"));
    if (!widget.grab().save(path)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    QTextStream(stdout) << path << '\n';
    return true;
}

/// Panels answer as scripted; an alert is shown as the app shows it, photographed, and cancelled.
class ScreenshotServices final : public PlatformServices
{
public:
    explicit ScreenshotServices(const QDir& folder) : m_folder(folder) {}

    void setWindow(QWidget* window) { m_window = window; }
    [[nodiscard]] bool saved() const { return m_saved; }

    std::optional<QString> chooseFamilyTreeFile(const QString& prompt, const QString& message) override
    {
        return m_scripted.chooseFamilyTreeFile(prompt, message);
    }
    std::optional<QString> chooseFolder(const QString& prompt, const QString& message,
                                        const QString& startFolder) override
    {
        return m_scripted.chooseFolder(prompt, message, startFolder);
    }
    std::optional<QString> chooseSaveLocation(TextFormat format, const QString& suggestedName,
                                              const QString& message) override
    {
        return m_scripted.chooseSaveLocation(format, suggestedName, message);
    }
    int alert(const QString& message, const QString& informativeText, const QStringList& buttons) override
    {
        QList<QAbstractButton*> added;
        const auto box = QtPlatformServices::makeAlert(m_window, message, informativeText, buttons, added);
        box->show();
        m_saved = save(*box, m_folder, QStringLiteral("15 discard question"));
        return int(buttons.size()) - 1;
    }
    void reveal(const QStringList&) override {}
    QString decisionStore() const override { return m_scripted.decisionStore(); }

private:
    ScriptedServices m_scripted;
    QDir m_folder;
    QWidget* m_window = nullptr;
    bool m_saved = false;
};

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    installIconThemeFallback();
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/kinloom.svg")));
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: kinloom-screenshots OUTDIR FILE.ged [SEARCH]\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!folder.mkpath(QStringLiteral(".")))
        return 1;

    // A session that keeps settings, as the app's does, so closing asks the discard question; its
    // settings go to a store of its own rather than the user's.
    QTemporaryDir store;
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, store.path());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, store.path());
    QApplication::setOrganizationName(QStringLiteral("Kinloom"));
    QApplication::setApplicationName(QStringLiteral("Kinloom"));
    QApplication::setApplicationVersion(QStringLiteral(KINLOOM_VERSION));

    ScreenshotServices services(folder);
    AppModel model(services, true);
    ContentView window(model);
    services.setWindow(&window);
    window.resize(1100, 720);
    window.show();
    bool ok = save(window, folder, QStringLiteral("01 empty state"));

    model.openFile(QString::fromLocal8Bit(argv[2]));
    waitUntil([&] { return !model.busy(); });
    if (!model.result()) {
        std::fprintf(stderr, "cannot open %s\n", argv[2]);
        return 1;
    }
    ok = save(window, folder, QStringLiteral("02 overview")) && ok;

    auto* tree = window.findChild<QTreeView*>(QStringLiteral("issueTree"));
    int shot = 3;
    for (IssueCategory category : allIssueCategories) {
        model.setSidebar(SidebarItem::forCategory(category));
        // The first group open, its first finding current with its preview shown.
        if (tree->model()->rowCount() > 0) {
            const QModelIndex group = tree->model()->index(0, 0);
            tree->expand(group);
            tree->setCurrentIndex(tree->model()->index(0, 0, group));
            tree->expand(tree->currentIndex());
        }
        if (category == IssueCategory::duplicates)
            window.findChild<QPushButton*>(QStringLiteral("compareButton"))->click();
        const std::string_view name = rawValue(category);
        ok = save(window, folder,
                  QStringLiteral("%1 %2")
                      .arg(shot++, 2, 10, QLatin1Char('0'))
                      .arg(QLatin1String(name.data(), qsizetype(name.size())))) &&
             ok;
    }

    // The keyboard in the findings list, its frame round the list and its current finding ticked.
    model.setSidebar(SidebarItem::forCategory(IssueCategory::dateFormats));
    window.activateWindow();
    tree->setFocus(Qt::TabFocusReason);
    if (tree->model()->rowCount() > 0) {
        tree->setCurrentIndex(tree->model()->index(0, 0, tree->model()->index(0, 0)));
        QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
        QApplication::sendEvent(tree, &space);
    }
    ok = save(window, folder, QStringLiteral("23 keyboard in the findings")) && ok;
    model.setSelection({});

    // A search typed, shown in the category where it finds most.
    window.findChild<QAction*>(QStringLiteral("findAction"))->trigger();
    window.findChild<QLineEdit*>(QStringLiteral("searchField"))
        ->setText(argc == 4 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("hartley"));
    std::array<std::size_t, allIssueCategories.size()> counts{};
    for (std::size_t i = 0; i < model.result()->issues.size(); ++i)
        counts[std::size_t(model.result()->issues[i].category)] += model.isShown(i);
    model.setSidebar(SidebarItem::forCategory(
        allIssueCategories[std::size_t(std::max_element(counts.begin(), counts.end()) - counts.begin())]));
    ok = save(window, folder, QStringLiteral("17 search")) && ok;
    model.setSearch(QString());

    // The fixes that need no check in two categories, and the first few that do, to show the groups.
    for (IssueCategory category : {IssueCategory::missing, IssueCategory::dateFormats}) {
        model.setSidebar(SidebarItem::forCategory(category));
        window.findChild<QPushButton*>(QStringLiteral("tickAllButton"))->click();
    }
    int toCheck = 0;
    for (const Issue& issue : model.result()->issues) {
        if (issue.fix && issue.fix->needsReview && toCheck++ < 3)
            model.setSelected(issue.fix->id, true);
    }
    model.setShowApply(true);
    settle();
    ok = save(*window.applySheet(), folder, QStringLiteral("10 apply sheet")) && ok;
    window.findChild<QPushButton*>(QStringLiteral("applyButton"))->click();
    waitUntil([&] { return !model.busy(); });
    model.setSidebar(SidebarItem::changes());
    ok = save(window, folder, QStringLiteral("11 changes")) && ok;

    model.setError(QStringLiteral("“Notes.ged” doesn’t look like a family-tree (GEDCOM) file."));
    settle();
    if (auto* alert = window.findChild<QWidget*>(QStringLiteral("errorAlert")))
        ok = save(*alert, folder, QStringLiteral("12 error alert")) && ok;
    model.setError(std::nullopt);

    window.findChild<QAction*>(QStringLiteral("settingsAction"))->trigger();
    auto* settings = window.findChild<SettingsView*>(QStringLiteral("settingsWindow"));
    settings->tabs()->setCurrentIndex(0);
    ok = save(*settings, folder, QStringLiteral("13 settings checks")) && ok;
    // One kind switched off, its box focused and scrolled into view; then all on again.
    auto* alive = settings->findChild<QCheckBox*>(QStringLiteral("kind-imp-alive"));
    alive->setFocus();
    settings->findChild<QScrollArea*>(QStringLiteral("kindsScroll"))->ensureWidgetVisible(alive);
    alive->click();
    waitUntil([&] { return !model.busy(); });
    ok = save(*settings, folder, QStringLiteral("18 settings kind off")) && ok;
    ok = save(window, folder, QStringLiteral("21 rescanned")) && ok;
    settings->findChild<QPushButton*>(QStringLiteral("turnAllOnButton"))->click();
    waitUntil([&] { return !model.busy(); });
    settings->tabs()->setCurrentIndex(1);
    ok = save(*settings, folder, QStringLiteral("14 settings privacy")) && ok;
    settings->close();

    window.findChild<QAction*>(QStringLiteral("aboutAction"))->trigger();
    if (auto* about = window.findChild<QWidget*>(QStringLiteral("aboutBox"))) {
        ok = save(*about, folder, QStringLiteral("16 about")) && ok;
        about->close();
    }

    window.findChild<QAction*>(QStringLiteral("helpAction"))->trigger();
    if (auto* help = window.findChild<QWidget*>(QStringLiteral("helpWindow"))) {
        ok = save(*help, folder, QStringLiteral("22 help")) && ok;
        help->close();
    }

    // A finding marked Not a Problem leaves the list, and Show Dismissed lists it to bring back.
    model.setSidebar(SidebarItem::forCategory(IssueCategory::impossibleDates));
    if (tree->model()->rowCount() > 0) {
        tree->setCurrentIndex(tree->model()->index(0, 0, tree->model()->index(0, 0)));
        window.findChild<QPushButton*>(QStringLiteral("decideButton"))->click();
        ok = save(window, folder, QStringLiteral("19 dismissed a finding")) && ok;
        window.findChild<QAction*>(QStringLiteral("showDismissedAction"))->trigger();
        tree->setCurrentIndex(tree->model()->index(0, 0, tree->model()->index(0, 0)));
        ok = save(window, folder, QStringLiteral("20 dismissed list")) && ok;
        window.findChild<QAction*>(QStringLiteral("showDismissedAction"))->trigger();
    }

    // The applied changes are unsaved, so closing asks first; the answer is Cancel.
    window.close();
    return ok && services.saved() ? 0 : 1;
}
