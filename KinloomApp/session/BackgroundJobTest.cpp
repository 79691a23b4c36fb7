// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/BackgroundJob.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <thread>

using namespace kinloom;

class BackgroundJobTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deliversProgressAndResultOnTheContextThread()
    {
        QObject context;
        std::atomic<bool> release = false;
        std::optional<double> fraction;
        std::optional<int> result;
        const Qt::HANDLE uiThread = QThread::currentThreadId();
        bool onUiThread = true;
        runInBackground(
            &context,
            [&release](const FractionSink& sink) {
                sink(0.25);
                while (!release)
                    std::this_thread::yield();
                return 42;
            },
            [&](int value) {
                onUiThread = onUiThread && QThread::currentThreadId() == uiThread;
                result = value;
            },
            [&](std::optional<double> value) {
                onUiThread = onUiThread && QThread::currentThreadId() == uiThread;
                fraction = value;
            });
        QTRY_COMPARE(fraction, std::optional<double>(0.25));
        QVERIFY(!result);
        release = true;
        QTRY_COMPARE(result, std::optional<int>(42));
        QVERIFY(onUiThread);
    }

    void nothingArrivesOnceTheContextIsGone()
    {
        auto context = std::make_unique<QObject>();
        auto release = std::make_shared<std::atomic<bool>>(false);
        auto finished = std::make_shared<std::atomic<bool>>(false);
        bool delivered = false;
        runInBackground(
            context.get(),
            [release, finished](const FractionSink& sink) {
                while (!*release)
                    std::this_thread::yield();
                sink(0.5);
                *finished = true;
                return 1;
            },
            [&delivered](int) { delivered = true; },
            [&delivered](std::optional<double>) { delivered = true; });
        context.reset();
        *release = true;
        QTRY_VERIFY(finished->load());
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
        QVERIFY(!delivered);
    }
};

QTEST_GUILESS_MAIN(BackgroundJobTest)
#include "BackgroundJobTest.moc"
