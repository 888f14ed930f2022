// SPDX-License-Identifier: MIT
#include "ground/groundoptions.h"

#include "common/payloadargument.h"

#include <QCommandLineParser>
#include <QMap>

#include <algorithm>
#include <cmath>

namespace {

const QLatin1String connectOption("connect");
const QLatin1String systemIdOption("system-id");
const QLatin1String paceOption("pace");
const QLatin1String countOption("count");
const QLatin1String intervalOption("interval");
const QLatin1String timeoutOption("timeout");
const QLatin1String durationOption("duration");
const QLatin1String stepOption("step");
const QLatin1String noPingOption("no-ping");
const QLatin1String jsonOption("json");
const QLatin1String quietOption("quiet");
const QLatin1String helpOption("help");
const QLatin1String versionOption("version");

constexpr std::chrono::seconds SendTimeout(5);
constexpr int HighestStepS = 3600; // keeps the number of pings far from the end of its type

constexpr const char *Description =
    "The ground station's end of the on-board protocol: talks to the host through its autopilot.\n\n"
    "Commands:\n"
    "  ping    a ping a second: round-trip time, protocol version, loss; ends with -c or Ctrl-C\n"
    "  watch   every payload of the vehicle; the altimeter status (message 1, payload 4) decoded\n"
    "  send MESSAGEID PAYLOADID (hex:... | text:... | @FILE)\n"
    "          a payload of 1 to 65535 bytes for the host. Nothing acknowledges a payload, so the host is\n"
    "          pinged first, and nothing is sent if it does not answer\n"
    "  bench   pings, as nothing acknowledges a payload: at 10, 20, 40 ... a second, each rate for --step\n"
    "          seconds, until some are lost, or link and pace allow no more (--pace 0: up to 5120). The\n"
    "          result is how many a second, in frames of 14 bytes, were measured to go there and back\n"
    "          without loss. The payloads that the host sends meanwhile are counted, and the gaps in their\n"
    "          ids: those were lost, or thrown away by the host\n\n"
    "ADDRESS is tcp:HOST:PORT (a client), PATH,BAUD (a serial device) or pty:LINK (a pseudo-terminal with a\n"
    "symlink LINK to its far end; waits for a program to open it: watch for ever, the others for --timeout\n"
    "seconds). A PX4 loses frames that come less than 5 ms apart, and relays to a link only once it has\n"
    "heard it: hence the pace and the heartbeats.\n\n"
    "Exit codes: 0 done, 1 usage, 2 bad file, 4 link could not be opened or was lost, 5 no answer, or a\n"
    "link that takes nothing any more.";

QCommandLineOption valued(const QStringList &names, const char *text, const char *value)
{
    return {names, QString::fromUtf8(text), QLatin1String(value)};
}

void declare(QCommandLineParser *parser)
{
    parser->setApplicationDescription(QString::fromUtf8(Description));
    parser->addPositionalArgument(QStringLiteral("command"), QStringLiteral("ping, watch, send or bench."));
    parser->addOptions({
        valued({connectOption}, "Where the autopilot is.", "ADDRESS"),
        valued({systemIdOption}, "Own MAVLink system, 1 to 255. Default: 255.", "N"),
        valued({paceOption}, "At least so many milliseconds between two frames. Default: 5.", "MS"),
        valued({QStringLiteral("c"), countOption}, "ping: end after N pings. watch: after N payloads.", "N"),
        valued({QStringLiteral("i"), intervalOption}, "ping: time between two. Default: 1.", "SECONDS"),
        valued({timeoutOption},
               "ping, bench: wait so long for the last answers; default: 2. send: for the host, and for a "
               "link that takes nothing; default: 5.",
               "SECONDS"),
        valued({durationOption}, "watch: end after so many seconds; with -c, that is a failure.", "SECONDS"),
        valued({stepOption}, "bench: how long each rate is kept up, up to 3600. Default: 1.", "SECONDS"),
        {noPingOption, QStringLiteral("send: do not ask first whether the host is there.")},
        {jsonOption, QStringLiteral("One JSON object a line on stdout.")},
        {quietOption, QStringLiteral("Print the summary alone.")},
        {{QStringLiteral("h"), helpOption}, QStringLiteral("Show this help.")},
        {{QStringLiteral("v"), versionOption}, QStringLiteral("Show the version.")},
    });
}

/// Reads arguments one after the other, and keeps the first mistake.
class Reader
{
public:
    explicit Reader(const QCommandLineParser &source)
        : parser(source)
    {}

    template <class Number>
    void whole(QLatin1String option, int lowest, int highest, Number *value)
    {
        if (!parser.isSet(option))
            return;
        bool isNumber = false;
        const int number = parser.value(option).toInt(&isNumber);
        if (isNumber && number >= lowest && number <= highest)
            *value = Number(number);
        else
            refuse(QStringLiteral("--%1 wants a whole number from %2 to %3, not \"%4\"")
                       .arg(option)
                       .arg(lowest)
                       .arg(highest)
                       .arg(parser.value(option)));
    }

    template <class Duration>
    void seconds(QLatin1String option, Duration *value, int highest = 1'000'000)
    {
        if (!parser.isSet(option))
            return;
        bool isNumber = false;
        const double number = parser.value(option).toDouble(&isNumber);
        if (isNumber && number >= 0.001 && number <= highest)
            *value = GroundOptions::Milliseconds(std::llround(number * 1000));
        else
            refuse(QStringLiteral("--%1 wants a number of seconds from 0.001 to %2, not \"%3\"")
                       .arg(option)
                       .arg(highest)
                       .arg(parser.value(option)));
    }

    template <class Id>
    void id(const QString &name, const QString &text, Id *value)
    {
        if (const auto number = PayloadArgument::parseId(text))
            *value = Id{*number};
        else
            refuse(QStringLiteral("%1 is a whole number from 0 to 255, not \"%2\"").arg(name, text));
    }

    void refuse(const QString &reason)
    {
        if (error.isEmpty())
            error = reason;
    }

    QString error;

private:
    const QCommandLineParser &parser;
};

struct CommandUse
{
    GroundOptions::Command command;
    int arguments; ///< After the command's name.
    QStringList options;
};

const QMap<QString, CommandUse> &commands()
{
    using Command = GroundOptions::Command;
    static const QMap<QString, CommandUse> all = {
        {QStringLiteral("ping"), {Command::Ping, 0, {countOption, intervalOption, timeoutOption}}},
        {QStringLiteral("watch"), {Command::Watch, 0, {countOption, durationOption}}},
        {QStringLiteral("send"), {Command::Send, 3, {timeoutOption, noPingOption}}},
        {QStringLiteral("bench"), {Command::Bench, 0, {timeoutOption, stepOption}}},
    };
    return all;
}

void readCommand(const QCommandLineParser &parser, Reader *reader, GroundOptions *options)
{
    const QStringList words = parser.positionalArguments();
    const auto use = commands().constFind(words.value(0));
    if (use == commands().constEnd()) {
        reader->refuse(words.isEmpty() ? QStringLiteral("give a command: ping, watch, send or bench")
                                       : QStringLiteral("there is no command \"%1\"").arg(words[0]));
        return;
    }
    options->command = use->command;
    if (words.size() > use->arguments + 1)
        reader->refuse(QStringLiteral("unexpected argument \"%1\"").arg(words[use->arguments + 1]));
    if (words.size() < use->arguments + 1)
        reader->refuse(QStringLiteral("%1 wants MESSAGEID PAYLOADID (hex:… | text:… | @FILE)").arg(words[0]));
    for (const QLatin1String option :
         {countOption, intervalOption, timeoutOption, durationOption, stepOption, noPingOption}) {
        if (parser.isSet(option) && !use->options.contains(option))
            reader->refuse(QStringLiteral("--%1 does not go with %2").arg(option, words[0]));
    }
}

void readSend(const QCommandLineParser &parser, Reader *reader, GroundOptions *options)
{
    if (options->command != GroundOptions::Command::Send || !reader->error.isEmpty())
        return;
    const QStringList words = parser.positionalArguments();
    reader->id(QStringLiteral("MESSAGEID"), words[1], &options->messageId);
    reader->id(QStringLiteral("PAYLOADID"), words[2], &options->payloadId);
    options->payload = words[3];
    options->pingFirst = !parser.isSet(noPingOption);
}

void readAddress(const QCommandLineParser &parser, Reader *reader, GroundOptions *options)
{
    QString error;
    if (!parser.isSet(connectOption)) {
        reader->refuse(QStringLiteral("give the autopilot's address (--connect ADDRESS)"));
    } else if (parser.values(connectOption).size() > 1) {
        reader->refuse(QStringLiteral("--connect can be given only once"));
    } else if (const auto address = LinkAddress::parse(parser.value(connectOption), &error)) {
        options->address = *address;
    } else {
        reader->refuse(error);
    }
}

// A negative number where an id belongs looks like an option to the parser.
QString parseErrorOf(const QCommandLineParser &parser, const QStringList &arguments)
{
    const QString unknown = parser.unknownOptionNames().value(0);
    const auto found = std::find_if(arguments.begin(), arguments.end(), [&unknown](const QString &argument) {
        return argument.startsWith(QLatin1Char('-') + unknown);
    });
    if (unknown.isEmpty() || !unknown[0].isDigit() || found == arguments.end())
        return parser.errorText().simplified();
    return QStringLiteral("\"%1\" is no option, and an id is a whole number from 0 to 255").arg(*found);
}

void readOptions(const QCommandLineParser &parser, Reader *reader, GroundOptions *options)
{
    reader->whole(systemIdOption, 1, 255, &options->systemId);
    reader->whole(paceOption, 0, 10'000, &options->pace);
    reader->whole(countOption, 1, 1'000'000'000, &options->count);
    reader->seconds(intervalOption, &options->interval);
    if (options->command == GroundOptions::Command::Send)
        options->timeout = SendTimeout;
    reader->seconds(timeoutOption, &options->timeout);
    reader->seconds(durationOption, &options->duration);
    reader->seconds(stepOption, &options->step, HighestStepS);
    options->json = parser.isSet(jsonOption);
    options->quiet = parser.isSet(quietOption);
    if (options->json && options->quiet)
        reader->refuse(QStringLiteral("--json and --quiet exclude each other"));
}

} // namespace

std::optional<GroundOptions> GroundOptions::parse(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    declare(&parser);
    GroundOptions options;
    if (!parser.parse(arguments)) {
        *error = parseErrorOf(parser, arguments);
        return std::nullopt;
    }
    if (parser.isSet(helpOption) || parser.isSet(versionOption)) {
        options.action = parser.isSet(helpOption) ? Action::ShowHelp : Action::ShowVersion;
        return options;
    }
    Reader reader(parser);
    readCommand(parser, &reader, &options);
    readAddress(parser, &reader, &options);
    readOptions(parser, &reader, &options);
    readSend(parser, &reader, &options);
    *error = reader.error;
    if (!error->isEmpty())
        return std::nullopt;
    return options;
}

QString GroundOptions::helpText()
{
    QCommandLineParser parser;
    declare(&parser);
    return parser.helpText();
}
