// SPDX-License-Identifier: MIT
#include "host/hostoptions.h"

#include "host/seconds.h"
#include "host/settingskey.h"

#include <QCommandLineParser>

namespace {

constexpr const char *Description =
    "Loads the autopilot plugin, keeps its link up and shows what it reports.\n\n"
    "Commands, from a script or typed on a terminal:\n"
    "  control               ask the autopilot for its guided mode\n"
    "  arm [TIMEOUT]         ask to arm, every 2 s until it is; end with 5 after TIMEOUT (60) s\n"
    "  takeoff               to 15 m\n"
    "  velocity NORTH EAST DOWN YAWRATE [SECONDS]\n"
    "                        m/s and degrees per second; once, or ten a second for that long\n"
    "  subscribe             ask for the stick's telemetry\n"
    "  send MESSAGEID PAYLOADID (hex:DIGITS | text:WORDS | @FILE)\n"
    "                        send a payload of up to 65535 bytes to the ground station\n"
    "  text WORDS            send a text to the ground\n"
    "  set GROUP NAME VALUE  change a setting\n"
    "  wait SECONDS\n"
    "  wait-for SIGNAL[.FIELD][(=|<|>)VALUE] [TIMEOUT]\n"
    "                        go on when it is seen; end with 5 after TIMEOUT (60) s. SIGNAL is a name\n"
    "                        that --json prints, satellites, inGuidedMode, flightMode, autopilotText\n"
    "                        or link\n"
    "  status                print the last value of each signal\n"
    "  quit\n\n"
    "Exit codes: 0 done, 1 usage, 2 bad configuration or file, 3 plugin not loadable,\n"
    "4 link could not be opened, 5 what was waited for did not happen.";

const QCommandLineOption &configOption()
{
    static const QCommandLineOption option(
        QStringLiteral("config"), QStringLiteral("Settings file (INI); required."), QStringLiteral("FILE"));
    return option;
}

void addOptions(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QLatin1String(Description));
    parser.addOption(configOption());
    const auto valued = [&parser](const char *name, const char *text, const char *value) {
        parser.addOption(QCommandLineOption(QLatin1String(name), QLatin1String(text), QLatin1String(value)));
    };
    const auto flag = [&parser](const char *name, const char *text) {
        parser.addOption(QCommandLineOption(QLatin1String(name), QLatin1String(text)));
    };
    valued("plugin", "Plugin to load; default: the library this program is linked with.", "FILE");
    flag("json", "Print one JSON object a line for each signal and event, and nothing else.");
    flag("quiet", "Print no live view.");
    valued("script", "Commands to run, one a line; - reads standard input.", "FILE|-");
    valued("duration", "End after so many seconds.", "SECONDS");
    valued("link-counters", "With --json: every so many seconds, what came in and what was lost.", "SECONDS");
    valued("resources", "With --json: every so many seconds, count timers and objects.", "SECONDS");
    valued("set", "Change a setting before the plugin is loaded; may be repeated.", "GROUP/NAME=VALUE");
    flag("no-reconnect", "Do not watch the link; end with 4 if it does not open.");
    flag("prune-settings", "Remove settings that no longer exist from the settings file.");
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help.")});
    parser.addOption({{QStringLiteral("v"), QStringLiteral("version")}, QStringLiteral("Show the version.")});
}

bool isSet(const QCommandLineParser &parser, const char *name)
{
    return parser.isSet(QLatin1String(name));
}

std::optional<HostOptions::Setting> parseSetting(const QString &text, QString &error)
{
    const int equals = text.indexOf(QLatin1Char('='));
    const int slash = text.indexOf(QLatin1Char('/'));
    if (slash < 1 || equals < slash + 2) {
        error = QStringLiteral("--set: expected GROUP/NAME=VALUE, not %1").arg(text);
        return std::nullopt;
    }
    const HostOptions::Setting setting{
        text.left(slash).toUtf8(), text.mid(slash + 1, equals - slash - 1).toUtf8(), text.mid(equals + 1)};
    if (!isKnownSetting(setting.group, setting.name)) {
        error = QStringLiteral("--set: there is no setting %1").arg(text.left(equals));
        return std::nullopt;
    }
    const QString mistake = settingMistake(setting.group, setting.name, setting.value);
    if (!mistake.isEmpty()) {
        error = QStringLiteral("--set: %1").arg(mistake);
        return std::nullopt;
    }
    return setting;
}

bool readSettings(const QCommandLineParser &parser, HostOptions &options, QString &error)
{
    const QStringList texts = parser.values(QStringLiteral("set"));
    for (const QString &text : texts) {
        const auto setting = parseSetting(text, error);
        if (!setting)
            return false;
        options.settings.append(*setting);
    }
    return true;
}

bool readPeriod(const QCommandLineParser &parser, const char *name,
                std::optional<std::chrono::milliseconds> &period, QString &error)
{
    if (!isSet(parser, name))
        return true;
    const QString text = parser.value(QLatin1String(name));
    period = parseSeconds(text);
    if (period && period->count() > 0)
        return true;
    error =
        QStringLiteral("--%1: expected a number of seconds above 0, not %2").arg(QLatin1String(name), text);
    return false;
}

bool readPeriods(const QCommandLineParser &parser, HostOptions &options, QString &error)
{
    return readPeriod(parser, "duration", options.duration, error) &&
           readPeriod(parser, "link-counters", options.linkCountersPeriod, error) &&
           readPeriod(parser, "resources", options.resourcesPeriod, error);
}

QString findMistake(const QCommandLineParser &parser)
{
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("unexpected argument %1").arg(parser.positionalArguments().at(0));
    if (parser.value(configOption()).isEmpty())
        return QStringLiteral("--config FILE is required");
    for (const char *name : {"plugin", "script"})
        if (isSet(parser, name) && parser.value(QLatin1String(name)).isEmpty())
            return QStringLiteral("--%1: a file name is required").arg(QLatin1String(name));
    if (isSet(parser, "json") && isSet(parser, "quiet"))
        return QStringLiteral("--json and --quiet exclude each other");
    for (const char *name : {"link-counters", "resources"})
        if (isSet(parser, name) && !isSet(parser, "json"))
            return QStringLiteral("--%1 is told with --json only").arg(QLatin1String(name));
    return QString();
}

} // namespace

std::optional<HostOptions> HostOptions::parse(const QStringList &arguments, QString &error)
{
    QCommandLineParser parser;
    addOptions(parser);
    HostOptions options;
    if (!parser.parse(arguments)) {
        error = parser.errorText().simplified();
        return std::nullopt;
    }
    options.helpText = parser.helpText();
    if (isSet(parser, "help") || isSet(parser, "version")) {
        options.task = isSet(parser, "help") ? Task::ShowHelp : Task::ShowVersion;
        return options;
    }
    error = findMistake(parser);
    if (!error.isEmpty() || !readSettings(parser, options, error) || !readPeriods(parser, options, error))
        return std::nullopt;
    options.configFile = parser.value(configOption());
    options.pluginFile = parser.value(QStringLiteral("plugin"));
    options.scriptFile = parser.value(QStringLiteral("script"));
    options.json = isSet(parser, "json");
    options.quiet = isSet(parser, "quiet");
    options.reconnect = !isSet(parser, "no-reconnect");
    options.pruneSettings = isSet(parser, "prune-settings");
    return options;
}
