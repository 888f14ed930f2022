// SPDX-License-Identifier: MIT
#include "sim/simoptions.h"

#include <QCommandLineParser>

#include <cmath>

namespace {

const QLatin1String replayOption("replay");
const QLatin1String linkOption("link");
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
        "Replays a recording of an autopilot to whoever connects.\n\n"
        "The replay starts with the first client and ends the program when it is over and all clients have "
        "taken\n"
        "everything. A later client joins where the replay is. While a client has more than 256 KiB to take "
        "the replay\n"
        "stands still: it waits for the slowest reader.\n\n"
        "ADDRESS is tcp:HOST:PORT (a server; port 0 picks one), PATH,BAUD (a serial device) or pty:LINK\n"
        "(a pseudo-terminal with a symlink LINK to its far end)."));
    parser->addOptions({
        {replayOption,
         QStringLiteral("The recording: a .tlog is replayed by its times, any other file as the bytes of a "
                        "serial line."),
         QStringLiteral("FILE")},
        {linkOption, QStringLiteral("Where to replay to; can be given several times."),
         QStringLiteral("ADDRESS")},
        {speedOption,
         QStringLiteral("Replay N times as fast; a large N is as fast as the readers take it. Default: 1."),
         QStringLiteral("N"), QStringLiteral("1")},
        {baudOption,
         QStringLiteral("Bits a second, ten to a byte, of a recording without times. Default: 57600."),
         QStringLiteral("N"), QStringLiteral("57600")},
        {loopOption, QStringLiteral("Begin again at the end.")},
        {jsonOption, QStringLiteral("One JSON object a line on stdout.")},
        {quietOption, QStringLiteral("No notes about clients on stderr.")},
        {{QStringLiteral("h"), helpOption}, QStringLiteral("Show this help.")},
        {{QStringLiteral("v"), versionOption}, QStringLiteral("Show the version.")},
    });
}

QString wrongArguments(const QCommandLineParser &parser)
{
    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("unexpected argument \"%1\"").arg(parser.positionalArguments().constFirst());
    if (parser.values(replayOption).size() != 1)
        return QStringLiteral("give one recording to replay (--replay FILE)");
    if (!parser.isSet(linkOption))
        return QStringLiteral("give a link to replay to (--link ADDRESS)");
    return {};
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
    if (!parseSpeed(parser.value(speedOption), &options, error) ||
        !parseBaud(parser.value(baudOption), &options, error) ||
        !parseLinks(parser.values(linkOption), &options, error))
        return std::nullopt;
    return options;
}

QString SimOptions::helpText()
{
    QCommandLineParser parser;
    declare(&parser);
    return parser.helpText();
}
