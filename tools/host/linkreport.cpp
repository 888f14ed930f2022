// SPDX-License-Identifier: MIT
#include "host/linkreport.h"

#include "autopilot/iautopilotplugin.h"
#include "connection/iconnection.h"
#include "host/latestvalues.h"

#include <QCborArray>

#include <cmath>
#include <utility>

using std::chrono::milliseconds;

namespace {

QCborValue inSeconds(std::optional<milliseconds> time)
{
    return time ? QCborValue(static_cast<double>(time->count()) / 1000) : QCborValue(QCborValue::Null);
}

void insertCounters(QCborMap &record, const SenderCounters &sender)
{
    record.insert(QLatin1String("received"), sender.loss().received());
    record.insert(QLatin1String("lost"), sender.loss().lost());
    record.insert(QLatin1String("lossPercent"), sender.lossPercent());
    record.insert(QLatin1String("late"), sender.loss().late());
    record.insert(QLatin1String("duplicates"), sender.loss().duplicates());
    record.insert(QLatin1String("restarts"), sender.restarts());
}

QCborArray listOf(const std::map<LinkCounters::SenderId, SenderCounters> &senders)
{
    QCborArray list;
    for (const auto &sender : senders) {
        QCborMap record{{QStringLiteral("system"), sender.first.system},
                        {QStringLiteral("component"), sender.first.component}};
        insertCounters(record, sender.second);
        list.append(record);
    }
    return list;
}

QCborMap recordOf(const LinkCounters &counters, milliseconds now, double bytesPerSecond,
                  double framesPerSecond)
{
    QCborMap record{{QStringLiteral("bytes"), counters.bytes()},
                    {QStringLiteral("bytesPerSecond"), bytesPerSecond},
                    {QStringLiteral("frames"), counters.frames()},
                    {QStringLiteral("framesPerSecond"), framesPerSecond},
                    {QStringLiteral("badChecksums"), counters.badChecksums()},
                    {QStringLiteral("unknownIds"), counters.unknownIds()},
                    {QStringLiteral("strayBytes"), counters.strayBytes()},
                    {QStringLiteral("framesOfOthers"), counters.framesOfOthers()},
                    {QStringLiteral("heartbeatAgeS"), inSeconds(counters.heartbeatAge(now))}};
    insertCounters(record, counters.autopilot() ? *counters.autopilot() : SenderCounters());
    record.insert(QLatin1String("senders"), listOf(counters.senders()));
    return record;
}

} // namespace

LinkReport::LinkReport(IAutopilotPlugin *plugin, LatestValues &latest, QObject *parent)
    : QObject(parent)
    , values(latest)
{
    clock.start();
    sinceRates.start();
    auto *connection = plugin->findChild<IConnection *>(QString(), Qt::FindDirectChildrenOnly);
    if (!connection)
        return;
    connect(connection, &IConnection::dataReceived, this,
            [this](const QByteArray &bytes) { counters.take(bytes, milliseconds(clock.elapsed())); });
    connect(&seconds, &QTimer::timeout, this, &LinkReport::onSecond);
    connect(&telling, &QTimer::timeout, this, &LinkReport::tell);
    seconds.start(std::chrono::seconds(1));
}

QCborMap LinkReport::sample()
{
    QCborMap record = recordOf(LinkCounters(), milliseconds(0), 0, 0);
    record.insert(QLatin1String("heartbeatAgeS"), 0.0);
    return record;
}

void LinkReport::update()
{
    if (seconds.isActive())
        values.store(QLatin1String(Name), report());
}

void LinkReport::tell()
{
    if (telling.isActive())
        Q_EMIT counted(report());
}

void LinkReport::onSecond()
{
    const double passed = static_cast<double>(qMax<qint64>(1, sinceRates.restart())) / 1000;
    const auto rate = [passed](qint64 count, qint64 &before) {
        const auto more = static_cast<double>(count - std::exchange(before, count));
        return std::round(10 * more / passed) / 10;
    };
    bytesPerSecond = rate(counters.bytes(), bytesBefore);
    framesPerSecond = rate(counters.frames(), framesBefore);
    update();
}

QCborMap LinkReport::report() const
{
    return recordOf(counters, milliseconds(clock.elapsed()), bytesPerSecond, framesPerSecond);
}
