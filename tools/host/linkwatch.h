// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>
#include <functional>

class IAutopilotPlugin;
class IConnection;

/// Starts the plugin and keeps its link alive, since the plugin itself never reconnects.
///
/// A link that is lost is started anew at once. It is lost if the connection says so or is found closed, if
/// the autopilot falls silent (autopilotStatus leaves 2), or if none was heard within a time after the start.
/// Failed starts are repeated after a pause that doubles up to a maximum; a start that succeeds resets it.
/// While the device of a serial connection does not exist, its appearance is waited for instead.
class LinkWatch : public QObject
{
    Q_OBJECT

public:
    struct Periods
    {
        std::chrono::milliseconds look{250}; ///< Between two looks at the connection or for the device.
        std::chrono::milliseconds firstPause{
            250}; ///< After a failed start; also between any two starts at least.
        std::chrono::milliseconds longestPause{30000};
        std::chrono::milliseconds silence{10000}; ///< How long a started link may be without an autopilot.
    };

    /// @param deviceExists whether the device of a serial connection exists; not asked for other connections.
    LinkWatch(IAutopilotPlugin *plugin, std::function<bool()> deviceExists, QObject *parent = nullptr);

    void setPeriods(const Periods &newPeriods) { periods = newPeriods; }
    /// With false the plugin is started once and its link is not watched.
    void setReconnecting(bool on) { reconnecting = on; }

    /// Starts the plugin. A start blocks as long as opening its connection does.
    void begin();
    /// Stops watching, and the plugin. Blocks for up to a second on a healthy TCP connection.
    void end();
    /// Of a plugin that has no IConnection among its children: whether it is started.
    bool isOpen() const;
    /// What the connection's device last complained of, in words; empty if it did not or has no device.
    QString errorText() const;
    /// To be called, from outside the plugin's own calls, with each autopilotStatus.
    void onAutopilotStatus(quint8 status);

Q_SIGNALS:
    void opened();
    /// A start failed; the next follows after the pause, or when the device appears if the pause is 0.
    void failed(std::chrono::milliseconds pause);
    /// The link was lost; the plugin is about to be started anew.
    void lost(const QString &reason);

private:
    enum class State { Idle, Open, Pausing, AwaitingDevice };

    void start();
    void startFailed();
    void lose(const QString &reason);
    void look();
    void onDisconnected();
    bool deviceMissing() const;

    IAutopilotPlugin *plugin;
    QPointer<IConnection> connection;
    std::function<bool()> deviceExists;
    Periods periods;
    bool reconnecting = true;
    State state = State::Idle;
    quint8 lastStatus = 0;
    std::chrono::milliseconds pause{0};
    QElapsedTimer sinceStart;
    QTimer lookTimer;
    QTimer pauseTimer;
    QTimer silenceTimer;
};
