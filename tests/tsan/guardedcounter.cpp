// SPDX-License-Identifier: MIT
// The same without a race: a mutex guards one counter, a queued call hands another over to the thread that
// owns it.
#include <QCoreApplication>
#include <QMutex>
#include <QThread>

#include <cstdio>
#include <memory>

namespace {

constexpr int Rounds = 1000;

struct Counters
{
    QMutex mutex;
    int guarded = 0;
    int handedOver = 0; // main thread
};

void handOver(Counters &counters)
{
    if (++counters.handedOver == 2 * Rounds)
        QCoreApplication::quit();
}

void count(Counters &counters, QObject &owner)
{
    for (int i = 0; i < Rounds; ++i) {
        const QMutexLocker lock(&counters.mutex);
        ++counters.guarded;
        QMetaObject::invokeMethod(
            &owner, [&counters] { handOver(counters); }, Qt::QueuedConnection);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    Counters counters;
    QObject owner;
    const std::unique_ptr<QThread> thread(QThread::create([&] { count(counters, owner); }));
    thread->start();
    count(counters, owner);
    QCoreApplication::exec();
    thread->wait();
    return counters.guarded == 2 * Rounds ? 0 : 1;
}
