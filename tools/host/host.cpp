// SPDX-License-Identifier: MIT
#include "host/host.h"

#include "app/app.h"
#include "autopilot/iautopilotplugin.h"
#include "common/exitcode.h"
#include "communication/icommunicator.h"
#include "host/autopilottexts.h"
#include "host/detectedautopilot.h"
#include "host/flightmode.h"
#include "host/groundpayloads.h"
#include "host/jsonview.h"
#include "host/linereader.h"
#include "host/linkreport.h"
#include "host/liveview.h"
#include "host/logoutput.h"
#include "host/moderefusal.h"
#include "host/plainview.h"
#include "host/promptreader.h"
#include "host/resourcereport.h"
#include "host/satellitecount.h"
#include "navigation/ivirtualstick.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>
#include <utility>

namespace {

bool isReadableFile(const QString &path)
{
    return QFileInfo(path).isFile() && QFile(path).open(QIODevice::ReadOnly);
}

bool isSettingsFile(const QString &path)
{
    const QSettings file(path, QSettings::IniFormat);
    file.allKeys(); // mistakes are noticed only when the keys are asked for
    return file.status() == QSettings::NoError;
}

} // namespace

Host::Host(App &application, HostOptions given)
    : app(application)
    , options(std::move(given))
    , tap([this](const QString &name, const QCborValue &value) { onSignal(name, value); })
    , script(&values, allKnownSignals())
{
    if (options.json)
        view = std::make_unique<JsonView>();
    connect(&durationTimer, &QTimer::timeout, this, &Host::end);
    durationTimer.setSingleShot(true);
    connectScript();
}

Host::~Host() = default;

int Host::prepare()
{
    int result = loadScript();
    if (result == ExitCode::Done)
        result = loadSettings();
    if (result == ExitCode::Done)
        result = loadPlugin();
    return result;
}

int Host::loadScript()
{
    if (options.scriptFile.isEmpty() || options.scriptFile == QLatin1String("-"))
        return ExitCode::Done;
    QFile file(options.scriptFile);
    if (QFileInfo(options.scriptFile).isDir() || !file.open(QIODevice::ReadOnly))
        return refuse(ExitCode::BadFile, QStringLiteral("cannot read script %1").arg(options.scriptFile));
    ScriptParser parser(allKnownSignals());
    const auto commands = parser.parseAll(file.readAll());
    if (!commands)
        return refuse(parser.errorExitCode(), parser.errorText());
    scriptCommands = *commands;
    return ExitCode::Done;
}

int Host::loadSettings()
{
    if (!isReadableFile(options.configFile))
        return refuse(ExitCode::BadFile,
                      QStringLiteral("cannot read settings file %1").arg(options.configFile));
    // Looked at by itself first: App writes into what it loads, and a file that is no INI file is not ours to
    // change.
    if (!isSettingsFile(options.configFile))
        return refuse(ExitCode::BadFile, QStringLiteral("%1 is not a settings file").arg(options.configFile));
    app.loadSettings(options.configFile);
    connect(&app, &App::APP_VERBOSE, this, &LogOutput::setVerbose);
    LogOutput::setVerbose(app.isVerbose());
    if (options.pruneSettings)
        app.removeObsoleteSettings();
    for (const HostOptions::Setting &setting : qAsConst(options.settings))
        app.updateSetting(setting.group.constData(), setting.name.constData(), setting.value);
    return ExitCode::Done;
}

int Host::loadPlugin()
{
    const QString path = options.pluginFile.isEmpty() ? PluginFile::linkedLibrary() : options.pluginFile;
    plugin = pluginFile.load(path);
    if (!plugin)
        return refuse(ExitCode::NoPlugin,
                      QStringLiteral("cannot load plugin %1: %2").arg(path, pluginFile.errorText()));
    link = std::make_unique<LinkWatch>(plugin, [this] { return serialDeviceExists(); });
    link->setReconnecting(options.reconnect);
    connectLink();
    countLink();
    autopilot = std::make_unique<DetectedAutopilot>(plugin);
    groundPayloads = std::make_unique<GroundPayloads>(app, *plugin, *autopilot);
    modeRefusal = std::make_unique<ModeRefusal>(plugin, *autopilot);
    satellites = std::make_unique<SatelliteCount>(plugin, *autopilot, values);
    flightMode = std::make_unique<FlightMode>(plugin, *autopilot, values);
    autopilotTexts = std::make_unique<AutopilotTexts>(plugin, *autopilot, values);
    connectHints();
    return ExitCode::Done;
}

void Host::begin()
{
    if (!view)
        createView();
    tapSignals();
    view->showEvent({"started", "plugin", QString(plugin->name() + QLatin1Char(' ') + plugin->version())});
    if (options.duration)
        durationTimer.start(*options.duration);
    if (options.resourcesPeriod)
        reportResources();
    link->begin();
    if (!finished)
        startScript();
}

void Host::createView()
{
    if (options.quiet) {
        view = std::make_unique<QuietView>();
        return;
    }
    if (LiveView::isPossible())
        view = std::make_unique<LiveView>(values,
                                          QStringLiteral("noflailsten-host  %1").arg(options.configFile));
    else
        view = std::make_unique<PlainView>(values);
}

void Host::tapSignals()
{
    tap.watch(&app, App::staticMetaObject, QString());
    tap.watch(plugin, IAutopilotPlugin::staticMetaObject, QStringLiteral("plugin."));
    if (ICommunicator *communicator = plugin->communicator())
        tap.watch(communicator, ICommunicator::staticMetaObject, QStringLiteral("communicator."));
    if (IVirtualStick *stick = plugin->virtualStick())
        tap.watch(stick, IVirtualStick::staticMetaObject, QStringLiteral("virtualStick."));
    script.setStick(plugin->virtualStick(), [this] { return link->isOpen(); });
    connect(plugin, &IAutopilotPlugin::dataReceived, groundPayloads.get(), &GroundPayloads::forward);
}

void Host::reportResources()
{
    resources = std::make_unique<ResourceReport>(
        QVector<QObject *>{&app, plugin, this, link.get(), &script, groundPayloads.get()});
    connect(resources.get(), &ResourceReport::counted, this, [this](const QCborMap &count) {
        view->showEvent({"resources", "resources", count});
    });
    resources->start(*options.resourcesPeriod);
}

void Host::countLink()
{
    linkReport = std::make_unique<LinkReport>(plugin, values);
    connect(link.get(), &LinkWatch::opened, linkReport.get(), &LinkReport::onOpened);
    connect(linkReport.get(), &LinkReport::counted, this, [this](const QCborMap &counters) {
        view->showEvent({"link", "counters", counters});
    });
    if (options.linkCountersPeriod)
        linkReport->startTelling(*options.linkCountersPeriod);
}

void Host::connectLink()
{
    // Queued: the status comes from inside the plugin, which the watch may stop and start.
    connect(&app, &App::autopilotStatus, link.get(), &LinkWatch::onAutopilotStatus, Qt::QueuedConnection);
    connect(link.get(), &LinkWatch::opened, this, [this] {
        view->showEvent({"link-open", "address", linkAddress()});
    });
    connect(link.get(), &LinkWatch::failed, this, &Host::onLinkFailed);
    connect(link.get(), &LinkWatch::lost, this, [this](const QString &reason) {
        view->showEvent({"link-lost", "reason", reason});
    });
}

void Host::connectHints()
{
    const auto show = [this](const QString &text) { view->showEvent({"hint", "message", text}); };
    connect(groundPayloads.get(), &GroundPayloads::hint, this, show);
    connect(modeRefusal.get(), &ModeRefusal::hint, this, show);
    connect(&script, &ScriptPlayer::hint, this, show);
}

void Host::connectScript()
{
    connect(&script, &ScriptPlayer::sendAsked, this, &Host::send);
    connect(&script, &ScriptPlayer::statusAsked, this, [this] {
        linkReport->update();
        view->showStatus(values);
    });
    connect(&script, &ScriptPlayer::commandChanged, this,
            [this](const QString &text) { view->showCommand(text); });
    connect(&script, &ScriptPlayer::quitAsked, this, &Host::end);
    connect(&script, &ScriptPlayer::failed, this, &Host::fail);
    connect(&script, &ScriptPlayer::mistaken, this, &LogOutput::complain);
    connect(&script, &ScriptPlayer::promptReady, this, [this] { view->showPrompt(); });
    connect(&script, &ScriptPlayer::typed, this, [this](const QString &line) { view->showTyped(line); });
}

void Host::startScript()
{
    if (options.scriptFile == QLatin1String("-"))
        script.follow(new LineReader(STDIN_FILENO), ScriptPlayer::Source::Script);
    else if (!options.scriptFile.isEmpty())
        script.play(scriptCommands);
    else if (::isatty(STDIN_FILENO) != 0)
        script.follow(
            new PromptReader(Completion(allKnownSignals()), promptDescriptor(),
                             [this](const QStringList &words) { return view->showCandidates(words); }),
            ScriptPlayer::Source::Prompt);
}

// Where a prompt does not get into what a program reads.
int Host::promptDescriptor() const
{
    const int shown = ::fileno(stdout);
    return options.json || ::isatty(shown) == 0 ? STDERR_FILENO : shown;
}

void Host::onSignal(const QString &name, const QCborValue &value)
{
    if (finished)
        return;
    view->showSignal(name, value);
    values.store(name, value);
}

void Host::onLinkFailed(std::chrono::milliseconds pause)
{
    const QString why = link->errorText();
    const QString what = QStringLiteral("%1 did not open").arg(linkAddress()) +
                         (why.isEmpty() ? why : QLatin1String(": ") + why);
    if (!options.reconnect) {
        LogOutput::complain(what);
        if (options.json)
            view->showEvent({"link-failed", "reason", what});
        finish(ExitCode::LinkFailed);
        return;
    }
    const QString next = pause.count() == 0
                             ? QStringLiteral("waiting for the device")
                             : QStringLiteral("next try in %1 s").arg(double(pause.count()) / 1000);
    view->showEvent({"link-failed", "reason", QString(what + QLatin1String(", ") + next)});
}

void Host::send(MessageId messageId, PayloadId payloadId, const QByteArray &data)
{
    const CompletePayload sent = groundPayloads->send(messageId, payloadId, data);
    const QCborMap payload{{QStringLiteral("id"), sent.id},
                           {QStringLiteral("messageId"), static_cast<quint8>(messageId)},
                           {QStringLiteral("payloadId"), static_cast<quint8>(payloadId)},
                           {QStringLiteral("size"), sent.data.size()}};
    view->showEvent({"sent", "payload", payload});
}

int Host::refuse(int exitCode, const QString &message)
{
    LogOutput::complain(message);
    if (view)
        view->showEvent({"error", "message", message});
    return exitCode;
}

void Host::fail(int exitCode, const QString &message)
{
    finish(refuse(exitCode, message));
}

void Host::finish(int exitCode)
{
    if (std::exchange(finished, true))
        return;
    script.cancel();
    if (script.hover())
        view->showEvent({"hover"});
    durationTimer.stop();
    resources.reset();
    link->end();
    linkReport->tell(); // the last bytes too
    linkReport.reset();
    app.syncSettings();
    if (app.settings()->status() != QSettings::NoError)
        LogOutput::complain(QStringLiteral("cannot write settings file %1").arg(options.configFile));
    view->showEvent({"stopped", "exitCode", exitCode});
    view.reset();
    QCoreApplication::exit(exitCode);
}

QString Host::linkAddress() const
{
    const QSettings &settings = *app.settings();
    const QString device = settings.value(QStringLiteral("MAV/SERIAL_DEVICE")).toString();
    const QString parameter = settings.value(QStringLiteral("MAV/BAUD_RATE")).toString();
    if (settings.value(QStringLiteral("MAV/CONNECTION_TYPE")).toString() == QLatin1String("TCP"))
        return QStringLiteral("tcp:%1:%2").arg(device, parameter);
    return QStringLiteral("%1,%2").arg(device, parameter);
}

bool Host::serialDeviceExists() const
{
    const QString device = app.settings()->value(QStringLiteral("MAV/SERIAL_DEVICE")).toString();
    return QFileInfo::exists(device.startsWith(QLatin1Char('/')) ? device : QLatin1String("/dev/") + device);
}
