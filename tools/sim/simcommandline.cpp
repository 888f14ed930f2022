// SPDX-License-Identifier: MIT
#include "sim/simcommandline.h"

#include "sim/recording.h"

#include <QCommandLineParser>

namespace {

using namespace SimCommandLine;

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

// Frames are lost or damaged, and bytes without times are not cut into frames.
QString wrongFaults(const QCommandLineParser &parser)
{
    const QString recording = parser.value(replayOption);
    if (!parser.isSet(replayOption) || Recording::hasFrames(recording))
        return {};
    for (const QLatin1String option : {lossOption, corruptOption}) {
        if (parser.isSet(option))
            return QStringLiteral("--%1 wants frames, so a .tlog: %2 is replayed as bytes")
                .arg(option, recording);
    }
    return {};
}

} // namespace

void SimCommandLine::declare(QCommandLineParser *parser)
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
        {lossOption, QStringLiteral("How likely the line of a client loses a frame of ours, 0 to 1."),
         QStringLiteral("P")},
        {corruptOption, QStringLiteral("How likely it turns over a bit of one."), QStringLiteral("P")},
        {latencyOption, QStringLiteral("How late it brings them."), QStringLiteral("MS")},
        {stallOption,
         QStringLiteral("Stands still for the first number of seconds, the second after the start, of a "
                        "replay after the "
                        "first client, and then brings everything."),
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

QString SimCommandLine::wrongArguments(const QCommandLineParser &parser)
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
    for (const QLatin1String option : {bootDelayOption, windOption}) {
        if (parser.isSet(option) && !parser.isSet(autopilotOption))
            return QStringLiteral("--%1 goes with --autopilot only").arg(option);
    }
    if (parser.isSet(forwardOption) && parser.value(autopilotOption) != QLatin1String("px4"))
        return QStringLiteral("--forward goes with --autopilot px4 only");
    return wrongFaults(parser);
}
