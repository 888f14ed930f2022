// SPDX-License-Identifier: MIT
#include "autopilot/iautopilotplugin.h"

#include "app/app.h"
#include "navigation/ivirtualstick.h"

IAutopilotPlugin::IAutopilotPlugin(QObject *parent)
    : IBase(parent)
{
    qRegisterMetaType<VehicleState>("VehicleState");
    qRegisterMetaType<MessageId>("MessageId");
    qRegisterMetaType<PayloadId>("PayloadId");
    qRegisterMetaType<CompletePayload>("CompletePayload");
    qRegisterMetaType<QSharedPointer<IVirtualStick>>("QSharedPointer<IVirtualStick>");
    if (App *app = runningApp())
        connect(app, &App::APP_DISABLE_WIFI_IN_AIR, this, [this](bool value) { disableWifiInAir = value; });
    disableWifiInAir = readSetting("APP", "DISABLE_WIFI_IN_AIR", false).toBool();
}

QString IAutopilotPlugin::id() const
{
    return QStringLiteral("AP");
}

void IAutopilotPlugin::enableWifi(bool enable)
{
    if (!disableWifiInAir)
        return;
    sendInfo(QStringLiteral("%1 Wi-Fi").arg(enable ? QLatin1String("Enable") : QLatin1String("Disable")));
    runSystemCommand(
        QStringLiteral("nmcli radio wifi %1").arg(enable ? QLatin1String("on") : QLatin1String("off")));
}
