// SPDX-License-Identifier: GPL-3.0-or-later
// The session model driven headless on a synthetic tree, as the window drives it: opening until the
// findings are stored, applying a batch of 10,000 fixes and scanning again, and the memory an undo
// history of 20 batches holds next to the session as opened.
#include "Measure.h"

#include "session/AppModel.h"
#include "session/ScriptedServices.h"
#include "KinloomPdf/PdfRenderer.h"
#include "sample/SampleTree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <set>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

using namespace kinloom;
using namespace kinloom::bench;

namespace {

/// Heap memory in use now, in megabytes: what the session holds, whatever the allocator kept back.
double heapMegabytes()
{
    malloc_trim(0);
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

void waitIdle(const AppModel& model)
{
    while (model.busy())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Ticks up to `count` fixes of the latest scan, from the start of the list.
void tickFixes(AppModel& model, std::size_t count)
{
    std::set<std::string> ids;
    for (const Issue& issue : model.result()->issues) {
        if (ids.size() == count)
            break;
        if (issue.fix)
            ids.insert(issue.fix->id);
    }
    model.setSelection(std::move(ids));
}

} // namespace

int main(int argc, char** argv)
{
    PdfRenderer::ensureGuiApplication();
    std::size_t people = 100000;
    QString path;
    QTemporaryDir dir;
    if (argc > 1 && std::string(argv[1]) != "--people") {
        path = QString::fromLocal8Bit(argv[1]);
    } else {
        if (argc > 2)
            people = std::strtoull(argv[2], nullptr, 10);
        path = dir.filePath(QStringLiteral("synthetic.ged"));
        QFile file(path);
        const std::string text = SampleTree::syntheticText(people);
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(text.data(), qint64(text.size())) != qint64(text.size())) {
            std::fprintf(stderr, "kinloom-bench-app: cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    const double fileMegabytes = static_cast<double>(QFile(path).size()) / 1e6;
    std::printf("session model on %s (%.1f MB)\n", qPrintable(QDir::toNativeSeparators(path)), fileMegabytes);

    ScriptedServices services;
    AppModel model(services, false);
    const double heapBefore = heapMegabytes();

    std::size_t progressUpdates = 0;
    const auto counting = QObject::connect(&model, &AppModel::changed, [&](AppModel::Field field) {
        if (field == AppModel::Field::progress && model.progress())
            ++progressUpdates;
    });
    auto start = Clock::now();
    model.openFile(path);
    waitIdle(model);
    QObject::disconnect(counting);
    if (model.error() || !model.result()) {
        std::fprintf(stderr, "kinloom-bench-app: %s\n", qPrintable(model.error().value_or(QString())));
        return 1;
    }
    const double openSeconds = secondsSince(start);
    const double heapOpened = heapMegabytes() - heapBefore;
    std::printf("open until findings are stored: %.2f s (%.1f MB/s), %zu findings  [target < 3 s]\n",
                openSeconds, fileMegabytes / openSeconds, model.result()->issues.size());
    std::printf("  progress fractions shown while opening: %zu\n", progressUpdates);

    // The synthetic tree may hold fewer fixes than a full batch: then every fix is the batch.
    tickFixes(model, 10000);
    const std::size_t ticked = model.selection().size();
    Clock::time_point applied;
    const auto connection = QObject::connect(&model, &AppModel::changed, [&](AppModel::Field field) {
        if (field == AppModel::Field::changes)
            applied = Clock::now();
    });
    start = Clock::now();
    model.applySelection();
    waitIdle(model);
    QObject::disconnect(connection);
    const double applySeconds = std::chrono::duration<double>(applied - start).count();
    std::printf("apply %zu fixes and scan again: %.2f s (apply %.2f s, scan %.2f s)  [target < 2 s]\n  %s\n",
                ticked, secondsSince(start), applySeconds, secondsSince(applied),
                qPrintable(model.lastApplied().value_or(QString())));

    // Twenty batches of a few hundred fixes each, from the file as opened.
    model.undoAll();
    waitIdle(model);
    const std::size_t batch = std::max<std::size_t>(1, ticked / 25);
    while (model.history().size() < 20) {
        tickFixes(model, batch);
        if (model.selection().empty())
            break;
        model.applySelection();
        waitIdle(model);
    }
    const double heapHistory = heapMegabytes() - heapBefore;
    std::printf("heap after opening: %.1f MB; with %zu undo steps of %zu fixes: %.1f MB (%.2f times)  "
                "[target < 1.5]\n",
                heapOpened, model.history().size(), batch, heapHistory, heapHistory / heapOpened);
    std::printf("peak resident memory: %.1f MB\n", peakMegabytes());
    return 0;
}
