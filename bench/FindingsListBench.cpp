// SPDX-License-Identifier: GPL-3.0-or-later
// The real window, offscreen, on a tree with one finding per person in a category: how long the
// list takes to show once the findings are stored, how long scrolling it from top to bottom page by
// page takes (each page painted), how long each keystroke of a search takes to show its list, and
// the longest the window's thread went without handling events while the file was read and scanned.
//   kinloom-bench-list [--people N]   (default 100,000)
//   kinloom-bench-list FILE.ged       (a tree of your own; its largest category is shown)
#include "Measure.h"

#include "session/AppModel.h"
#include "session/ScriptedServices.h"
#include "window/ContentView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <time.h>

using namespace kinloom;
using namespace kinloom::bench;

namespace {

/// People without a name whose birth date is written in lower case: a date-format finding with a
/// fix each, and no two alike enough to be compared as duplicates. Their deaths are recorded, so
/// none of them is taken for someone still alive.
std::string treeWithOneFindingEach(std::size_t people)
{
    std::string text = "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n";
    for (std::size_t i = 1; i <= people; ++i) {
        text += "0 @I" + std::to_string(i) + "@ INDI\n1 SEX M\n1 DEAT Y\n1 BIRT\n2 DATE abt " +
                std::to_string(1700 + i % 250) + "\n2 PLAC Town " + std::to_string(i % 5000) + ", County " +
                std::to_string(i % 40) + "\n";
    }
    return text + "0 TRLR\n";
}

/// CPU seconds this thread has run: on a machine shared with other work, a steadier figure than the
/// wall clock for work that never waits.
double threadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    std::size_t people = 100000;
    QString path;
    QTemporaryDir dir;
    if (argc > 1 && std::string(argv[1]) != "--people") {
        path = QString::fromLocal8Bit(argv[1]);
    } else {
        if (argc > 2)
            people = std::strtoull(argv[2], nullptr, 10);
        path = dir.filePath(QStringLiteral("findings.ged"));
        QFile file(path);
        const std::string text = treeWithOneFindingEach(people);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(text.data(), qint64(text.size())) != qint64(text.size())) {
            std::fprintf(stderr, "kinloom-bench-list: cannot write %s\n", qPrintable(path));
            return 1;
        }
    }

    ScriptedServices services;
    AppModel model(services, false);
    ContentView window(model);
    window.resize(1100, 720);
    window.show();
    QApplication::processEvents();

    // A timer that should fire every 10 ms: the longest gap between two firings is the longest the
    // window could not answer the user.
    QElapsedTimer sinceTick;
    qint64 longestGap = 0;
    QTimer ticker;
    ticker.setInterval(10);
    QObject::connect(&ticker, &QTimer::timeout,
                     [&] { longestGap = std::max(longestGap, sinceTick.restart()); });
    const auto start = Clock::now();
    model.openFile(path);
    sinceTick.start();
    ticker.start();
    while (model.busy() || !model.result())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    ticker.stop();
    if (model.error()) {
        std::fprintf(stderr, "kinloom-bench-list: %s\n", qPrintable(*model.error()));
        return 1;
    }
    std::printf("read and scan %s: %.2f s, the window's thread never busy for more than %lld ms  "
                "[target 100 ms]\n",
                qPrintable(path), secondsSince(start), static_cast<long long>(longestGap));

    std::array<std::size_t, allIssueCategories.size()> counts{};
    for (const Issue& issue : model.result()->issues)
        ++counts[std::size_t(issue.category)];
    const auto largest = IssueCategory(std::max_element(counts.begin(), counts.end()) - counts.begin());

    auto* tree = window.findChild<QTreeView*>(QStringLiteral("issueTree"));
    auto shown = Clock::now();
    model.setSidebar(SidebarItem::forCategory(largest));
    tree->viewport()->repaint();
    std::printf("list of %zu findings shown: %.3f s  [target 0.5 s]\n", counts[std::size_t(largest)],
                secondsSince(shown));

    QScrollBar* bar = tree->verticalScrollBar();
    std::size_t pages = 0;
    const auto scrolled = Clock::now();
    const double cpuBefore = threadSeconds();
    while (bar->value() < bar->maximum()) {
        bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
        tree->viewport()->repaint();
        ++pages;
    }
    const double seconds = secondsSince(scrolled);
    const double cpu = threadSeconds() - cpuBefore;
    std::printf("scrolled top to bottom in %zu pages: %.2f s, %.2f s of CPU (%.3f ms a page)  [target 2 s]\n",
                pages, seconds, cpu, cpu * 1000 / double(std::max<std::size_t>(pages, 1)));

    // A search typed one key at a time from where the scrolling ended, each keystroke's list
    // painted, then cleared.
    auto* search = window.findChild<QLineEdit*>(QStringLiteral("searchField"));
    const QString typed = QStringLiteral("abt 1823");
    double slowest = 0;
    for (qsizetype keys = 1; keys <= typed.size(); ++keys) {
        const auto keystroke = Clock::now();
        search->setText(typed.left(keys));
        tree->viewport()->repaint();
        slowest = std::max(slowest, secondsSince(keystroke));
    }
    const auto listed = [&] {
        std::size_t findings = 0;
        for (int group = 0; group < tree->model()->rowCount(); ++group)
            findings += std::size_t(tree->model()->rowCount(tree->model()->index(group, 0)));
        return findings;
    };
    const std::size_t found = listed();
    const auto cleared = Clock::now();
    search->clear();
    tree->viewport()->repaint();
    std::printf("search “%s” typed over %zu findings: slowest keystroke %.0f ms (%zu found), cleared in %.0f "
                "ms  [target 100 ms]\n",
                qPrintable(typed), counts[std::size_t(largest)], slowest * 1000, found,
                secondsSince(cleared) * 1000);
    std::printf("peak memory: %.0f MB\n", peakMegabytes());
    return 0;
}
