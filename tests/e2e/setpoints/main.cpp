// SPDX-License-Identifier: MIT
// A host that sends velocities at 50 Hz: noflailsten-setpoints CONFIG SECONDS. Writes a line per velocity,
// its number and the steady clock's nanoseconds just before the call; the number travels as the velocity
// north.
#include "app/app.h"
#include "autopilot/mavautopilot.h"
#include "navigation/ivirtualstick.h"

#include <QTimer>

#include <chrono>
#include <cstdio>

int main(int argc, char *argv[])
{
    constexpr std::chrono::milliseconds Period{20};
    App app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3)
        qFatal("usage: noflailsten-setpoints CONFIG SECONDS");
    app.loadSettings(arguments[1]);
    const int count = arguments[2].toInt() * 50;
    MavAutopilot autopilot;
    if (!autopilot.start())
        return 4;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    int sent = 0;
    QObject::connect(&timer, &QTimer::timeout, &app, [&] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        std::printf(
            "%d %lld\n", sent,
            static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
        autopilot.virtualStick()->setVelocity({static_cast<double>(sent), 0, 0}, 0);
        if (++sent == count)
            QCoreApplication::quit();
    });
    timer.start(Period);
    QCoreApplication::exec();
    autopilot.stop();
    return 0;
}
