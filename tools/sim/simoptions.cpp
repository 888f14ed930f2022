// SPDX-License-Identifier: MIT
#include "sim/simoptions.h"

#include "sim/optionvalues.h"
#include "sim/simcommandline.h"

#include <QCommandLineParser>

#include <algorithm>
#include <cmath>

namespace {

using namespace SimCommandLine;

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
