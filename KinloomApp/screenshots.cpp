// Opens a family-tree file in the real window and saves a picture of each screen, for people to
// look at: kinloom-screenshots OUTDIR FILE.ged
#include "AppModel.h"
#include "ApplySheet.h"
#include "ContentView.h"
#include "Icons.h"
#include "ScriptedServices.h"

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QTextStream>
#include <QTreeView>

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

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    installIconThemeFallback();
    if (argc != 3) {
        std::fprintf(stderr, "usage: kinloom-screenshots OUTDIR FILE.ged\n");
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!folder.mkpath(QStringLiteral(".")))
        return 1;

    ScriptedServices services;
    AppModel model(services, false);
    ContentView window(model);
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
        if (tree->model()->rowCount() > 0) {
            tree->setCurrentIndex(tree->model()->index(0, 0));
            tree->expand(tree->model()->index(0, 0));
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

    model.setSidebar(SidebarItem::forCategory(IssueCategory::missing));
    window.findChild<QPushButton*>(QStringLiteral("tickAllButton"))->click();
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
    return ok ? 0 : 1;
}
