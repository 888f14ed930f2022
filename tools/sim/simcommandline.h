// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1String>
#include <QString>

class QCommandLineParser;

/// The names of the simulator's options, what its help says of them, and which go together.
namespace SimCommandLine {

inline const QLatin1String autopilotOption("autopilot");
inline const QLatin1String replayOption("replay");
inline const QLatin1String linkOption("link");
inline const QLatin1String forwardOption("forward");
inline const QLatin1String speedOption("speed");
inline const QLatin1String baudOption("baud");
inline const QLatin1String loopOption("loop");
inline const QLatin1String bootDelayOption("boot-delay");
inline const QLatin1String windOption("wind");
inline const QLatin1String seedOption("seed");
inline const QLatin1String lossOption("loss");
inline const QLatin1String corruptOption("corrupt");
inline const QLatin1String latencyOption("latency");
inline const QLatin1String stallOption("stall");
inline const QLatin1String jsonOption("json");
inline const QLatin1String quietOption("quiet");
inline const QLatin1String helpOption("help");
inline const QLatin1String versionOption("version");

void declare(QCommandLineParser *parser);
/// Why the arguments, whatever their values, cannot be used together; nothing when they can.
QString wrongArguments(const QCommandLineParser &parser);

} // namespace SimCommandLine
