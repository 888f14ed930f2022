// SPDX-License-Identifier: MIT
#pragma once

#include "autopilot/iautopilotplugin.h"
#include "autopilot/mavtelemetry.h"
#include "autopilot/telemetrypublisher.h"
#include "mavlink/mavlink.h"

#include <QElapsedTimer>

class IConnection;
class MavCommunicator;
class MavStickAdapter;
class MessageOutlet;

/// The autopilot driver: a PX4 or ArduPilot flight controller over MAVLink.
///
/// Bytes come in from the connection (a Qt child of this object), are parsed on MAVLink channel 0 and
/// announced as messageReceived(), one emission per good message; onMessageReceived() turns them into
/// telemetry of the host. All output leaves through sendMessage(). Everything runs on the main thread; the
/// parser's channel is process-wide, so two drivers in one process share one sequence number and must not be
/// fed at the same time.
///
/// Settings are read once, in the constructor; a change of a setting only updates the member and takes effect
/// where the member is used next. The connection is chosen in the constructor (MAV/CONNECTION_TYPE) and
/// stays.
///
/// Nothing here reconnects: a lost link shows as autopilotStatus 1 after 5 s, and the host decides to stop()
/// and start().
class NOFLAILSTEN_EXPORT MavAutopilot : public IAutopilotPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.kelm.tervon.iautopilotplugin")
    Q_INTERFACES(IAutopilotPlugin)

public:
    MavAutopilot();
    ~MavAutopilot() override;

    ICommunicator *communicator() override;
    IVirtualStick *virtualStick() override;
    bool isStarted() const override;
    QString name() const override;
    QString version() const override;

    /// Asks the detected autopilot for telemetry, each request three times since none is acknowledged. Runs
    /// every 10 s. A peer that does not read blocks each send for the connection's write timeout: then the
    /// event loop gets a turn after each request, and the rest follows.
    void subscribe();

Q_SIGNALS:
    bool sendData(const QByteArray &data);
    /// A complete message with a good checksum, in order of arrival, from inside dispatchReceivedData(). The
    /// reference is valid during the emission: receivers copy what they keep.
    void messageReceived(const mavlink::mavlink_message_t &message);

public Q_SLOTS:
    bool start() override;
    void stop() override;
    /// Feeds bytes to the parser. Frames may be split anywhere; bad ones are dropped silently.
    void dispatchReceivedData(const QByteArray &data);
    void onMessageReceived(const mavlink::mavlink_message_t &message);
    /// Frames a message with our ids and the shared sequence number and writes it. A failed write is not
    /// repeated. The ground link and the stick send through a MessageOutlet, which brings what other threads
    /// send here in order.
    void sendMessage(const mavlink::Message &message);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

    void startTimers();
    void stopTimers();
    void trySubscribeRequest(const mavlink::Message &message);

    /// How long a heartbeat of the autopilot keeps the reported status at 2, milliseconds.
    qint64 heartbeatTimeoutMs = 5000;
    int statusTimerId = -1; ///< Qt timer ids; -1: not running.
    int heartbeatTimerId = -1;
    int subscribeTimerId = -1;

private:
    void readSettings();
    void createConnection();
    void createParts();
    void killTimerId(int &timerId);

    void reportStatus();
    void sendHeartbeat();
    void continueSubscribing();
    void continueInRound(void (MavAutopilot::*next)());
    void giveSubscribingUp();
    void deliverWhatCameMeanwhile();

    bool isFromAutopilot(const mavlink::mavlink_message_t &message) const;
    void handleHeartbeat(const mavlink::mavlink_message_t &message);
    void detect(const mavlink::mavlink_message_t &message, quint8 autopilot);
    void followArming(bool nowArmed);

    IConnection *connection = nullptr;
    MessageOutlet *outlet = nullptr;
    MavCommunicator *carrier = nullptr;
    MavStickAdapter *stick = nullptr;
    bool started = false;
    quint8 linkStatus = 0;     // 1 once start() has opened the connection
    quint8 reportedStatus = 0; // 0 no link, 1 link without autopilot, 2 autopilot heard
    QElapsedTimer heartbeatWatch;
    int statusPeriodMs = 0;
    int sendingPeriodMs = 0;
    bool armed = false;
    bool daqEnabled = false;
    int telemetryRate = 0; // Hz
    QString connectionType;
    QString serialDevice; // device of a serial connection, host of a TCP connection
    quint32 baudRate = 0; // baud rate of a serial connection, port of a TCP connection
    quint16 systemId = 0;
    quint16 componentId = 0;
    bool subscribing = false; // a round of requests is not complete
    int requestsSent = 0;     // of that round
    int rateOfRound = 0;      // Hz
    int round = 0;            // goes up when one is given up
    bool subscribeAgain = false;
    bool sendHasBlocked = false; // the last one
    quint16 targetSystemId = 0;  // 0: no autopilot detected
    quint16 targetComponentId = 0;
    quint8 autopilotType = 0;
    TelemetryPublisher publish;
    MavTelemetry telemetry;
};

Q_DECLARE_METATYPE(mavlink::mavlink_message_t)
