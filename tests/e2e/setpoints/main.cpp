// SPDX-License-Identifier: MIT
// A host that sends velocities at 50 Hz: noflailsten-setpoints CONFIG SECONDS. Writes a line per velocity,
// its number and the steady clock's nanoseconds just before the call; the number travels as the velocity
// north. What a busy machine makes it miss follows at once, so that the rate is a matter of the library.
#include "app/app.h"
#include "autopilot/mavautopilot.h"
#include "navigation/ivirtualstick.h"

#include <QTimer>

#include <chrono>
#include <cstdio>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds Period{20};

void send(IVirtualStick *stick, int number)
{
    const auto now = Clock::now().time_since_epoch();
    std::printf("%d %lld\n", number,
                static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
    stick->setVelocity({static_cast<double>(number), 0, 0}, 0);
}

} // namespace

int main(int argc, char *argv[])
{
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
    const auto begin = Clock::now() + Period / 2; // the timer's little irregularities make nothing late
    QObject::connect(&timer, &QTimer::timeout, &app, [&] {
        for (; sent < count && begin + sent * Period <= Clock::now(); ++sent)
            send(autopilot.virtualStick(), sent);
        if (sent == count)
            QCoreApplication::quit();
    });
    timer.start(Period);
    QCoreApplication::exec();
    autopilot.stop();
    return 0;
}
