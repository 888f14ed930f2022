// SPDX-License-Identifier: MIT
#include "sim/simoptions.h"

#include "sim/optionvalues.h"

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
const QLatin1String bootDelayOption("boot-delay");
const QLatin1String windOption("wind");
const QLatin1String seedOption("seed");
const QLatin1String lossOption("loss");
const QLatin1String corruptOption("corrupt");
const QLatin1String latencyOption("latency");
const QLatin1String stallOption("stall");
const QLatin1String jsonOption("json");
const QLatin1String quietOption("quiet");
const QLatin1String helpOption("help");
const QLatin1String versionOption("version");

void declare(QCommandLineParser *parser)
{
    parser->setApplicationDescription(QStringLiteral(
        "An autopilot on one or more links: a simulated one, or a recording of one.\n\n"
        "With --autopilot it flies a simulated vehicle with the manners of the real one and relays between "
        "its "
        "links,\n"
        "until it is asked to end. Each client of a TCP link is a link of its own to it. A frame for a "
        "client "
        "that has\n"
        "256 KiB to take is dropped. Lines on standard input do what an operator does: mode NAME|NUMBER, "
        "arm, "
        "disarm,\n"
        "land, reboot, fault ..., status, quit.\n\n"
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
         QStringLiteral(
             "Replay, or fly, N times as fast; a large N is as fast as the readers, or the computer, "
             "take it. Default: 1."),
         QStringLiteral("N"), QStringLiteral("1")},
        {baudOption,
         QStringLiteral(
             "Bits a second, ten to a byte, of a recording without times (default: 57600), or that the "
             "autopilot believes of links that are no serial device (default: without limit)."),
         QStringLiteral("N"), QStringLiteral("57600")},
        {bootDelayOption,
         QStringLiteral("How long after power-up the vehicle can be armed. Default: as the real one, 42 for "
                        "ardupilot, 5 for px4."),
         QStringLiteral("SECONDS")},
        {windOption, QStringLiteral("Wind in m/s, and where it comes from, with gusts. Default: none."),
         QStringLiteral("SPEED@DEGREES")},
        {lossOption, QStringLiteral("How likely the line loses a frame of ours, 0 to 1."),
         QStringLiteral("P")},
        {corruptOption, QStringLiteral("How likely it turns over a bit of one."), QStringLiteral("P")},
        {latencyOption, QStringLiteral("How late it brings them."), QStringLiteral("MS")},
        {stallOption,
         QStringLiteral(
             "Stands still for the first number of seconds, the second after the start, and then brings "
             "everything."),
         QStringLiteral("SECONDS@SECONDS")},
        {seedOption, QStringLiteral("Another N gives other sensor noise and faults. Default: 1."),
         QStringLiteral("N"), QStringLiteral("1")},
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
    if (parser.isSet(loopOption) && !parser.isSet(replayOption))
        return QStringLiteral("--%1 goes with --replay only").arg(loopOption);
    for (const QLatin1String option :
         {bootDelayOption, windOption, seedOption, lossOption, corruptOption, latencyOption, stallOption}) {
        if (parser.isSet(option) && !parser.isSet(autopilotOption))
            return QStringLiteral("--%1 goes with --autopilot only").arg(option);
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

constexpr double longestS = 3600;

/// A number from 0 to a limit; one that is not given stays as it is.
bool parseAmount(const QCommandLineParser &parser, QLatin1String option, double limit,
                 std::optional<double> *amount, QString *error)
{
    if (!parser.isSet(option))
        return true;
    *amount = OptionValues::amount(parser.value(option), limit);
    if (*amount)
        return true;
    *error = QStringLiteral("--%1 wants a number from 0 to %2, not \"%3\"")
                 .arg(option)
                 .arg(limit)
                 .arg(parser.value(option));
    return false;
}

bool parseWind(const QCommandLineParser &parser, SimOptions *options, QString *error)
{
    if (!parser.isSet(windOption))
        return true;
    const auto wind = OptionValues::pair(parser.value(windOption), 20, 360);
    if (wind)
        options->wind = {wind->first, wind->second};
    else
        *error = QStringLiteral("--wind wants SPEED@DEGREES, up to 20 m/s and 360 degrees, not \"%1\"")
                     .arg(parser.value(windOption));
    return wind.has_value();
}

bool parseStall(const QCommandLineParser &parser, SimOptions *options, QString *error)
{
    if (!parser.isSet(stallOption))
        return true;
    const auto stall = OptionValues::pair(parser.value(stallOption), longestS, longestS);
    if (stall) {
        options->faults.stallLength = fromSeconds(stall->first);
        options->faults.stallBegin = fromSeconds(stall->second);
    } else {
        *error = QStringLiteral("--stall wants SECONDS@SECONDS, each up to 3600, not \"%1\"")
                     .arg(parser.value(stallOption));
    }
    return stall.has_value();
}

bool parseFaults(const QCommandLineParser &parser, SimOptions *options, QString *error)
{
    const double longestLatencyMs = 60'000;
    std::optional<double> loss;
    std::optional<double> corruption;
    std::optional<double> latencyMs;
    if (!parseAmount(parser, lossOption, 1, &loss, error) ||
        !parseAmount(parser, corruptOption, 1, &corruption, error) ||
        !parseAmount(parser, latencyOption, longestLatencyMs, &latencyMs, error) ||
        !parseStall(parser, options, error))
        return false;
    options->faults.loss = loss.value_or(0);
    options->faults.corruption = corruption.value_or(0);
    options->faults.latency = fromSeconds(latencyMs.value_or(0) / 1000);
    options->faults.seed = options->seed;
    return true;
}

bool parseSeed(const QString &text, SimOptions *options, QString *error)
{
    bool isNumber = false;
    options->seed = text.toUInt(&isNumber);
    if (isNumber)
        return true;
    *error = QStringLiteral("--seed wants a whole number from 0, not \"%1\"").arg(text);
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
    options.baudGiven = parser.isSet(baudOption);
    if (!parseAutopilot(parser.values(autopilotOption), &options, error) ||
        !parseSpeed(parser.value(speedOption), &options, error) ||
        !parseBaud(parser.value(baudOption), &options, error) ||
        !parseAmount(parser, bootDelayOption, longestS, &options.bootDelayS, error) ||
        !parseWind(parser, &options, error) || !parseSeed(parser.value(seedOption), &options, error) ||
        !parseFaults(parser, &options, error) || !parseLinks(parser.values(linkOption), &options, error) ||
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
