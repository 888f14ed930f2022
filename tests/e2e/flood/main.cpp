// SPDX-License-Identifier: MIT
// A host whose threads all send at once, and whose main thread sends too: noflailsten-flood CONFIG THREADS
// PAYLOADS. Ends with 0 when everything has been handed to the link.
#include "sendingthread.h"

#include "app/app.h"
#include "autopilot/mavautopilot.h"
#include "communication/icommunicator.h"

#include <QTimer>

#include <memory>
#include <vector>

namespace {

/// The main thread's own payloads: a few at every turn of the event loop, amid what the others have posted.
class MainSender : public QTimer
{
public:
    MainSender(ICommunicator *communicator, int number, int count)
    {
        QObject::connect(this, &QTimer::timeout, this, [this, communicator, number, count] {
            for (int i = 0; i < 5 && sent < count; ++i)
                communicator->sendData(SendingThread::payload(number, sent++));
            if (sent == count)
                stop();
        });
        start(0);
    }

private:
    int sent = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    App app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4)
        qFatal("usage: noflailsten-flood CONFIG THREADS PAYLOADS");
    app.loadSettings(arguments[1]);
    const int threadCount = arguments[2].toInt();
    const int payloads = arguments[3].toInt();
    MavAutopilot autopilot;
    if (!autopilot.start())
        return 4;
    ICommunicator *communicator = autopilot.communicator();
    std::vector<std::unique_ptr<SendingThread>> threads;
    threads.reserve(static_cast<size_t>(threadCount));
    for (int i = 0; i < threadCount; ++i)
        threads.push_back(std::make_unique<SendingThread>(communicator, i, payloads));
    MainSender mainSender(communicator, threadCount, payloads);
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, &app, [&] {
        for (const auto &thread : threads)
            if (!thread->isFinished())
                return;
        // What they have posted stands before this in the event loop.
        if (!mainSender.isActive())
            QMetaObject::invokeMethod(&app, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    for (const auto &thread : threads)
        thread->start();
    watch.start(10);
    QCoreApplication::exec();
    autopilot.stop();
    return 0;
}
