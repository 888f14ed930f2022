// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"
#include "host/hostoptions.h"
#include "host/hostview.h"
#include "host/latestvalues.h"
#include "host/linkwatch.h"
#include "host/pluginfile.h"
#include "host/scriptplayer.h"
#include "host/signaltap.h"

#include <QObject>
#include <QTimer>

#include <memory>

class App;
class AutopilotTexts;
class DetectedAutopilot;
class FlightMode;
class GroundPayloads;
class IAutopilotPlugin;
class LinkReport;
class ModeRefusal;
class ResourceReport;
class SatelliteCount;

/// The reference host: one plugin, its link kept up, its signals shown, a script run against it.
class Host : public QObject
{
    Q_OBJECT

public:
    Host(App &app, HostOptions options);
    ~Host() override;

    /// Loads the settings, the script and the plugin. @return an exit code; anything but ExitCode::Done has
    /// been reported.
    [[nodiscard]] int prepare();
    /// Starts everything; to be called from the event loop, which ends with an exit code.
    void begin();
    /// Stops everything and ends the event loop with exit code 0.
    void end() { finish(0); }

private:
    int loadScript();
    int loadSettings();
    int loadPlugin();
    void createView();
    void tapSignals();
    void reportResources();
    void countLink();
    void connectLink();
    void connectScript();
    void startScript();
    void onSignal(const QString &name, const QCborValue &value);
    void onLinkFailed(std::chrono::milliseconds pause);
    void connectHints();
    void send(MessageId messageId, PayloadId payloadId, const QByteArray &data);
    int refuse(int exitCode, const QString &message);
    void fail(int exitCode, const QString &message);
    void finish(int exitCode);
    QString linkAddress() const;
    int promptDescriptor() const;
    bool serialDeviceExists() const;

    App &app;
    HostOptions options;
    LatestValues values;
    std::unique_ptr<HostView> view; // after the values that it shows
    PluginFile pluginFile;
    IAutopilotPlugin *plugin = nullptr; // pluginFile's
    std::unique_ptr<DetectedAutopilot> autopilot;
    std::unique_ptr<SatelliteCount> satellites;
    std::unique_ptr<FlightMode> flightMode;
    std::unique_ptr<AutopilotTexts> autopilotTexts;
    std::unique_ptr<GroundPayloads> groundPayloads;
    std::unique_ptr<ModeRefusal> modeRefusal;
    std::unique_ptr<LinkReport> linkReport;
    SignalTap tap;
    std::unique_ptr<LinkWatch> link;
    ScriptPlayer script;
    QVector<ScriptCommand> scriptCommands;
    QTimer durationTimer;
    std::unique_ptr<ResourceReport> resources;
    bool finished = false;
};
