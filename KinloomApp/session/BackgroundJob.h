// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace kinloom {

/// Tells how far a background job is: a fraction from 0 to 1, or none when it cannot tell.
using FractionSink = std::function<void(std::optional<double>)>;

/// Runs `work(const FractionSink&)` on the thread pool and hands its result to `done` on `context`'s
/// thread. The latest fraction reaches `progress` there, looked at 20 times a second. Both stop when
/// `context` is destroyed: the watcher that delivers them is its child, and the worker only ever
/// writes to state it shares, so a job that outlives its model just finishes its own copy.
template <class Work, class Done, class Progress>
void runInBackground(QObject* context, Work work, Done done, Progress progress)
{
    using Result = std::invoke_result_t<Work, const FractionSink&>;
    struct Shared
    {
        std::mutex mutex;
        std::optional<double> fraction;
        bool fresh = false;
    };
    auto shared = std::make_shared<Shared>();

    auto* watcher = new QFutureWatcher<Result>(context);
    auto* timer = new QTimer(watcher);
    timer->setInterval(50);
    QObject::connect(timer, &QTimer::timeout, watcher, [shared, progress] {
        std::optional<double> fraction;
        {
            const std::lock_guard lock(shared->mutex);
            if (!shared->fresh)
                return;
            shared->fresh = false;
            fraction = shared->fraction;
        }
        progress(fraction);
    });
    QObject::connect(watcher, &QFutureWatcherBase::finished, context,
                     [watcher, done = std::move(done)]() mutable {
                         watcher->deleteLater();
                         done(watcher->future().takeResult());
                     });
    timer->start();
    watcher->setFuture(QtConcurrent::run([work = std::move(work), shared]() mutable {
        const FractionSink sink = [shared](std::optional<double> fraction) {
            const std::lock_guard lock(shared->mutex);
            shared->fraction = fraction;
            shared->fresh = true;
        };
        return work(sink);
    }));
}

} // namespace kinloom
