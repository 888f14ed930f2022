// SPDX-License-Identifier: MIT
#include "autopilot/support/autopilotrig.h"

#include "app/app.h"
#include "autopilot/support/frames.h"
#include "autopilot/support/goldenframes.h"
#include "support/testmain.h"

#include <QTemporaryDir>

namespace {

QString nextSettingsFile()
{
    static QTemporaryDir dir;
    static int count = 0;
    return dir.filePath(QStringLiteral("settings-%1.ini").arg(++count));
}

} // namespace

void loadFreshSettings(Settings settings)
{
    App *app = runningApp();
    app->loadSettings(nextSettingsFile());
    for (const auto &setting : settings)
        app->settings()->setValue(QLatin1String(setting.first), setting.second);
}

AutopilotRig::AutopilotRig(Settings settings)
{
    resetChannel();
    takeStandInCalls();
    loadFreshSettings(settings);
    plugin = std::make_unique<DrivenAutopilot>();
}

AutopilotRig::AutopilotRig(FakeFlightController &controller)
    : AutopilotRig({{"MAV/CONNECTION_TYPE", QStringLiteral("TCP")},
                    {"MAV/SERIAL_DEVICE", QStringLiteral("127.0.0.1")},
                    {"MAV/BAUD_RATE", controller.port()}})
{}

bool AutopilotRig::start(FakeFlightController &controller)
{
    return plugin->start() && controller.accept() &&
           log.take() == QStringList{QStringLiteral("[AP] Connected to autopilot")};
}

void AutopilotRig::detectPx4()
{
    plugin->feed(Golden::Px4Heartbeat);
    log.take();
}

void spendFirstHeartbeat()
{
    AutopilotRig rig;
    rig.plugin->startTimers();
    rig.plugin->fire(rig.plugin->heartbeatTimerId);
    rig.log.take();
}
