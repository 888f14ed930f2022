// SPDX-License-Identifier: MIT
#include "host/knownsignals.h"

#include "app/app.h"
#include "autopilot/iautopilotplugin.h"
#include "communication/icommunicator.h"
#include "host/autopilottexts.h"
#include "host/flightmode.h"
#include "host/linkreport.h"
#include "host/satellitecount.h"
#include "host/signaltap.h"
#include "navigation/ivirtualstick.h"

#include <QCborMap>

KnownSignals allKnownSignals()
{
    KnownSignals known = SignalTap::samples(App::staticMetaObject, QString());
    const KnownSignals parts[] = {
        SignalTap::samples(IAutopilotPlugin::staticMetaObject, QStringLiteral("plugin.")),
        SignalTap::samples(ICommunicator::staticMetaObject, QStringLiteral("communicator.")),
        SignalTap::samples(IVirtualStick::staticMetaObject, QStringLiteral("virtualStick.")),
        {{QLatin1String(SatelliteCount::Name), 0},
         {QLatin1String(FlightMode::InGuided), false},
         {QLatin1String(FlightMode::Name),
          QCborMap{{QStringLiteral("armed"), false}, {QStringLiteral("mode"), QString()}}},
         {QLatin1String(LinkReport::Name), LinkReport::sample()},
         {QLatin1String(AutopilotTexts::Name),
          QCborMap{{QStringLiteral("text"), QString()}, {QStringLiteral("severity"), 0}}}}};
    for (const KnownSignals &part : parts)
        for (auto it = part.constBegin(); it != part.constEnd(); ++it)
            known.insert(it.key(), it.value());
    return known;
}
