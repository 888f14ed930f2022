// SPDX-License-Identifier: MIT
#pragma once

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>

/// Runs the work on a thread of its own.
/// @return its result; nothing if it is not done after ten seconds, as in a deadlock. The thread is left
/// behind then with all that the work holds, so that the test fails instead of hanging.
template <class Result>
std::optional<Result> resultInTime(const std::function<Result()> &work)
{
    constexpr int patienceMs = 10000;
    auto result = std::make_shared<Result>();
    QThread *thread = QThread::create([work, result] { *result = work(); });
    thread->start();
    if (!thread->wait(patienceMs))
        return std::nullopt;
    delete thread;
    return *result;
}

/// Ends the program if it still lives half a minute after it was made: for a test that may deadlock and has
/// to run on the main thread.
class Watchdog
{
public:
    Watchdog()
        : thread(QThread::create([this] { watch(); }))
    {
        thread->start();
    }

    ~Watchdog()
    {
        {
            const QMutexLocker lock(&mutex);
            over = true;
            changed.wakeAll();
        }
        thread->wait();
    }

    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

private:
    void watch()
    {
        constexpr int patienceMs = 30000;
        const QMutexLocker lock(&mutex);
        if (over || changed.wait(&mutex, patienceMs) || over)
            return;
        std::fputs("the test hangs\n", stderr); // not through a message handler, which may hang itself
        std::abort();
    }

    QMutex mutex; // guards over
    QWaitCondition changed;
    bool over = false;
    std::unique_ptr<QThread> thread; // last: runs from its making on
};
