// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/ibase.h"
#include "communication/payloadmessage.h"

#include <QByteArray>
#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QVariant>
#include <QtPlugin>

class ICommunicator;
class IVirtualStick;

/// Shared status record of the vehicle.
struct VehicleState
{
    quint8 satellites = 0; ///< Satellites in view; 0 also where the autopilot does not know.
    quint16 hdop = 10000;  ///< Horizontal dilution of precision times 100; preset to "unusable".
    double latitude = 0;   ///< Degrees.
    double longitude = 0;  ///< Degrees.
    float altitude = 0;    ///< Metres.
    float roll = 0;        ///< Radians.
    float pitch = 0;       ///< Radians.
    float yaw = 0;         ///< Radians.
    float velocity = 0;    ///< Metres per second.
};

/// What the host programs against: one autopilot, its ground link and its virtual stick.
///
/// Created by the Qt plugin loader, owned by the host, lives on the main thread.
/// The order of signals, slots and virtual functions is part of the contract with hosts.
class NOFLAILSTEN_EXPORT IAutopilotPlugin : public IBase
{
    Q_OBJECT

public:
    explicit IAutopilotPlugin(QObject *parent);

    /// The ground link; owned by the plugin. Null as long as the plugin has none.
    virtual ICommunicator *communicator() = 0;
    /// The virtual stick; owned by the plugin. Null as long as the plugin has none.
    virtual IVirtualStick *virtualStick() = 0;
    /// True between a successful start() and stop().
    virtual bool isStarted() const = 0;
    QString id() const override;
    virtual QString name() const = 0;
    virtual QString version() const = 0;

    /// Switches Wi-Fi on or off (with a text to the ground) if the setting APP/DISABLE_WIFI_IN_AIR is on,
    /// otherwise does nothing. Blocks while the command runs; its outcome is not reported.
    void enableWifi(bool enable);

Q_SIGNALS:
    void positionUpdated(const VehicleState &state);
    void vehicleStateUpdated(VehicleState state);
    /// A payload for the host's on-board protocol.
    void dataReceived(MessageId messageId, PayloadId payloadId, const QByteArray &data,
                      const QVariant &extra);
    void virtualStickCreated(QSharedPointer<IVirtualStick> stick);

public Q_SLOTS:
    /// Opens the link to the autopilot and starts the periodic work. The periodic work runs even if the link
    /// did not open (false is returned then).
    virtual bool start() = 0;
    virtual void stop() = 0;

protected:
    bool disableWifiInAir = false; ///< Mirror of the setting APP/DISABLE_WIFI_IN_AIR.
};

Q_DECLARE_METATYPE(VehicleState)
Q_DECLARE_INTERFACE(IAutopilotPlugin, "com.kelm.tervon.iautopilotplugin")
