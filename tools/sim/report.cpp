// SPDX-License-Identifier: MIT
#include "sim/report.h"

#include "common/jsonline.h"

#include <cstdio>

namespace {

void writeLine(std::FILE *stream, const QString &text)
{
    const QByteArray line = text.toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stream);
    std::fflush(stream);
}

} // namespace

void Report::listening(const QString &address) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("listening")}, {"address", address}});
    else
        writeLine(stdout, QStringLiteral("listening on ") + address);
}

void Report::client(const QString &address, bool connected) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("client")}, {"address", address}, {"connected", connected}});
    else
        note(address + (connected ? QStringLiteral(": a client joined") : QStringLiteral(": a client left")));
}

void Report::relay(const Relay::Counters &counters) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("relay")},
                       {"relayed", counters.relayed},
                       {"lost", counters.lost},
                       {"dropped", counters.dropped},
                       {"bad", counters.bad}});
    else
        note(QStringLiteral("relayed %1 frames, lost %2 as the forwarding buffer was full, dropped %3 for "
                            "clients that do not read, %4 bad ones came")
                 .arg(counters.relayed)
                 .arg(counters.lost)
                 .arg(counters.dropped)
                 .arg(counters.bad));
}

void Report::finished(qint64 bytes, qint64 pauses) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("finished")}, {"bytes", bytes}, {"pauses", pauses}});
    else
        note(QStringLiteral("finished: %1 bytes replayed, waited %2 times for a reader")
                 .arg(bytes)
                 .arg(pauses));
}

void Report::mode(const QString &name, quint32 number) const
{
    if (json)
        writeJsonLine(
            {{"event", QStringLiteral("mode")}, {"mode", name}, {"customMode", static_cast<qint64>(number)}});
    else
        note(QStringLiteral("mode %1").arg(name));
}

void Report::armed(bool armed) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("armed")}, {"armed", armed}});
    else
        note(armed ? QStringLiteral("armed") : QStringLiteral("disarmed"));
}

void Report::landed(bool landed) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("landed")}, {"landed", landed}});
    else
        note(landed ? QStringLiteral("landed") : QStringLiteral("in the air"));
}

void Report::status(const VehicleStatus &status) const
{
    if (json) {
        writeJsonLine({{"event", QStringLiteral("status")},
                       {"mode", status.mode},
                       {"ready", status.ready},
                       {"armed", status.armed},
                       {"landed", status.landed},
                       {"northM", status.northM},
                       {"eastM", status.eastM},
                       {"heightM", status.heightM},
                       {"batteryPercent", status.batteryPercent}});
        return;
    }
    note(QStringLiteral("mode %1, %2, %3, %4 m north, %5 m east, %6 m above home, battery %7 %")
             .arg(status.mode,
                  status.armed   ? QStringLiteral("armed")
                  : status.ready ? QStringLiteral("disarmed")
                                 : QStringLiteral("not ready to arm"),
                  status.landed ? QStringLiteral("on the ground") : QStringLiteral("in the air"))
             .arg(status.northM, 0, 'f', 1)
             .arg(status.eastM, 0, 'f', 1)
             .arg(status.heightM, 0, 'f', 1)
             .arg(status.batteryPercent));
}

void Report::note(const QString &text) const
{
    if (!quiet)
        writeLine(stderr, QStringLiteral("noflailsten-sim: ") + text);
}

void Report::error(const QString &text)
{
    writeLine(stderr, QStringLiteral("noflailsten-sim: ") + text);
}
