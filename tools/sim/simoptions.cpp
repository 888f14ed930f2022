// SPDX-License-Identifier: MIT
#include "sim/simoptions.h"

#include <QCommandLineParser>

#include <algorithm>
#include <cmath>

namespace {

const QLatin1String autopilotOption("autopilot");
const QLatin1String replayOption("replay");
const QLatin1String linkOption("link");
const QLatin1String forwardOption("forward");
const QLatin1String speedOption("speed");
const QLatin1String baudOption("baud");
const QLatin1String loopOption("loop");
const QLatin1String jsonOption("json");
const QLatin1String quietOption("quiet");
const QLatin1String helpOption("help");
const QLatin1String versionOption("version");

void declare(QCommandLineParser *parser)
{
    parser->setApplicationDescription(QStringLiteral(
        "An autopilot on one or more links: a simulated one, or a recording of one.\n\n"
        "With --autopilot it sends a heartbeat a second and relays between its links as the real one does, "
        "until it is\n"
        "asked to end. Each client of a TCP link is a link of its own to it. A frame for a client that has "
        "256 KiB to\n"
        "take is dropped.\n\n"
        "A replay starts with the first client and ends the program when it is over and all clients have "
        "taken\n"
        "everything. A later client joins where the replay is. While a client has more than 256 KiB to take "
        "the replay\n"
        "stands still: it waits for the slowest reader.\n\n"
        "ADDRESS is tcp:HOST:PORT (a server; port 0 picks one), PATH,BAUD (a serial device) or pty:LINK\n"
        "(a pseudo-terminal with a symlink LINK to its far end)."));
    parser->addOptions({
        {autopilotOption, QStringLiteral("The autopilot to be: px4 or ardupilot."), QStringLiteral("NAME")},
        {replayOption,
         QStringLiteral("The recording: a .tlog is replayed by its times, any other file as the bytes of a "
                        "serial line."),
         QStringLiteral("FILE")},
        {linkOption, QStringLiteral("Where to be reached; can be given several times."),
         QStringLiteral("ADDRESS")},
        {forwardOption,
         QStringLiteral("A PX4 relays between links that have forwarding on: the first --link, and each one "
                        "whose ADDRESS is named here; can be given several times."),
         QStringLiteral("ADDRESS")},
        {speedOption,
         QStringLiteral("Replay N times as fast; a large N is as fast as the readers take it. Default: 1."),
         QStringLiteral("N"), QStringLiteral("1")},
        {baudOption,
         QStringLiteral("Bits a second, ten to a byte, of a recording without times. Default: 57600."),
         QStringLiteral("N"), QStringLiteral("57600")},
        {loopOption, QStringLiteral("Begin again at the end.")},
        {jsonOption, QStringLiteral("One JSON object a line on stdout.")},
        {quietOption, QStringLiteral("No notes on stderr, errors only.")},
        {{QStringLiteral("h"), helpOption}, QStringLiteral("Show this help.")},
        {{QStringLiteral("v"), versionOption}, QStringLiteral("Show the version.")},
    });
}

QString wrongSource(const QCommandLineParser &parser)
{
    const int autopilots = parser.values(autopilotOption).size();
    const int recordings = parser.values(replayOption).size();
    if (autopilots == 0 && recordings == 0)
        return QStringLiteral("give an autopilot to be (--autopilot px4|ardupilot) or a recording to replay "
                              "(--replay FILE)");
    if (autopilots > 0 && recordings > 0)
        return QStringLiteral("--autopilot and --replay exclude each other");
    if (autopilots > 1)
        return QStringLiteral("give one autopilot to be (--autopilot px4|ardupilot)");
    if (recordings > 1)
        return QStringLiteral("give one recording to replay (--replay FILE)");
    return {};
}

QString wrongArguments(const QCommandLineParser &parser)
{
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().constFirst());
    QString error = wrongSource(parser);
    if (!error.isEmpty())
        return error;
    if (!parser.isSet(linkOption))
        return QStringLiteral("give a link (--link ADDRESS)");
    for (const QLatin1String option : {speedOption, baudOption, loopOption}) {
        if (parser.isSet(option) && !parser.isSet(replayOption))
            return QStringLiteral("--%1 goes with --replay only").arg(option);
    }
    if (parser.isSet(forwardOption) && parser.value(autopilotOption) != QLatin1String("px4"))
        return QStringLiteral("--forward goes with --autopilot px4 only");
    return {};
}

bool parseAutopilot(const QStringList &texts, SimOptions *options, QString *error)
{
    if (texts.isEmpty())
        return true;
    const QString &text = texts.constFirst();
    if (text == QLatin1String("px4"))
        options->autopilot = AutopilotKind::Px4;
    else if (text == QLatin1String("ardupilot"))
        options->autopilot = AutopilotKind::ArduPilot;
    else
        *error = QStringLiteral("--autopilot wants px4 or ardupilot, not \"%1\"").arg(text);
    return options->autopilot.has_value();
}

bool parseSpeed(const QString &text, SimOptions *options, QString *error)
{
    bool isNumber = false;
    options->speed = text.toDouble(&isNumber);
    if (isNumber && std::isfinite(options->speed) && options->speed > 0)
        return true;
    *error = QStringLiteral("--speed wants a number above 0, not \"%1\"").arg(text);
    return false;
}

bool parseBaud(const QString &text, SimOptions *options, QString *error)
{
    bool isNumber = false;
    options->baud = text.toInt(&isNumber);
    if (isNumber && options->baud > 0)
        return true;
    *error = QStringLiteral("--baud wants a whole number above 0, not \"%1\"").arg(text);
    return false;
}

bool parseLinks(const QStringList &texts, SimOptions *options, QString *error)
{
    for (const QString &text : texts) {
        const std::optional<LinkAddress> address = LinkAddress::parse(text, error);
        if (!address)
            return false;
        options->links.append(*address);
    }
    QStringList paths;
    for (const LinkAddress &link : qAsConst(options->links)) {
        if (paths.contains(link.path)) {
            *error = QStringLiteral("--link %1: given twice").arg(link.toString());
            return false;
        }
        if (!link.path.isEmpty())
            paths.append(link.path);
    }
    return true;
}

bool parseForwarding(const QStringList &texts, SimOptions *options, QString *error)
{
    for (const QString &text : texts) {
        const std::optional<LinkAddress> address = LinkAddress::parse(text, error);
        if (!address)
            return false;
        const QString named = address->toString();
        const auto isNamed = [&](const LinkAddress &link) { return link.toString() == named; };
        if (std::none_of(options->links.begin(), options->links.end(), isNamed)) {
            *error = QStringLiteral("--forward %1: there is no such --link").arg(text);
            return false;
        }
        options->forwarding.append(named);
    }
    return true;
}

} // namespace

std::optional<SimOptions> SimOptions::parse(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    declare(&parser);
    SimOptions options;
    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return std::nullopt;
    }
    if (parser.isSet(helpOption) || parser.isSet(versionOption)) {
        options.action = parser.isSet(helpOption) ? Action::ShowHelp : Action::ShowVersion;
        return options;
    }
    *error = wrongArguments(parser);
    if (!error->isEmpty())
        return std::nullopt;
    options.recording = parser.value(replayOption);
    options.loop = parser.isSet(loopOption);
    options.json = parser.isSet(jsonOption);
    options.quiet = parser.isSet(quietOption);
    if (!parseAutopilot(parser.values(autopilotOption), &options, error) ||
        !parseSpeed(parser.value(speedOption), &options, error) ||
        !parseBaud(parser.value(baudOption), &options, error) ||
        !parseLinks(parser.values(linkOption), &options, error) ||
        !parseForwarding(parser.values(forwardOption), &options, error))
        return std::nullopt;
    return options;
}

QString SimOptions::helpText()
{
    QCommandLineParser parser;
    declare(&parser);
    return parser.helpText();
}

bool SimOptions::isForwarding(int link) const
{
    return link == 0 || forwarding.contains(links[link].toString());
}
