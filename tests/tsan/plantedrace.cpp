// SPDX-License-Identifier: MIT
// A race in code that otherwise does all it does through Qt: one thread counts without the mutex.
#include <QMutex>
#include <QSemaphore>
#include <QThread>

#include <cstdio>
#include <memory>

namespace {

constexpr int Rounds = 200000;

struct Shared
{
    QMutex mutex;
    QSemaphore begun;
    int counter = 0;
};

/// Waits for the other thread, so that the two count at the same time.
void meet(Shared &shared)
{
    shared.begun.release();
    while (shared.begun.available() < 2)
        QThread::yieldCurrentThread();
}

void countCarefully(Shared &shared)
{
    meet(shared);
    for (int i = 0; i < Rounds; ++i) {
        const QMutexLocker lock(&shared.mutex);
        ++shared.counter;
    }
}

void countCarelessly(Shared &shared)
{
    meet(shared);
    for (int i = 0; i < Rounds; ++i)
        ++*const_cast<volatile int *>(&shared.counter);
}

} // namespace

int main()
{
    Shared shared;
    const std::unique_ptr<QThread> careless(QThread::create([&shared] { countCarelessly(shared); }));
    careless->start();
    countCarefully(shared);
    careless->wait();
    std::printf("counter = %d\n", shared.counter);
    return 0;
}
