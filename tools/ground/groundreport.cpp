// SPDX-License-Identifier: MIT
#include "ground/groundreport.h"

#include "common/jsonline.h"
#include "common/payloadwords.h"
#include "ground/altimeterreading.h"

#include <QDateTime>

#include <cmath>
#include <cstdio>

namespace {

constexpr int ShownBytes = 32; // of a payload, in the text view; as many characters if it is a text

void writeLine(std::FILE *stream, const QString &text)
{
    const QByteArray line = text.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stream);
    std::fflush(stream);
}

QString fixed(double value, int digits)
{
    return std::isfinite(value) ? QString::number(value, 'f', digits) : QStringLiteral("-");
}

QString versionText(const PingBody &pong)
{
    return QStringLiteral("%1.%2").arg(pong.versionMajor).arg(pong.versionMinor);
}

QString hex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

int number(MessageId id)
{
    return static_cast<int>(id);
}

int number(PayloadId id)
{
    return static_cast<int>(id);
}

QString cut(const QString &text, int length)
{
    return text.size() > length ? text.left(length) + QStringLiteral("…") : text;
}

QString altimeterText(const AltimeterStatus &status)
{
    const QString number =
        QStringLiteral("altimeter %1 m, status %2").arg(static_cast<double>(status.value)).arg(status.status);
    const QString words = PayloadWords::rangeStatus(status.status); // the number again if it has none
    return number.endsWith(words) ? number : number + QLatin1String(": ") + words;
}

QString contentText(const CompletePayload &payload)
{
    if (const auto status = readAltimeterStatus(payload))
        return altimeterText(*status);
    const QString shown = cut(hex(payload.data), 2 * ShownBytes);
    const auto text = PayloadWords::text(payload.data);
    return text ? shown + QStringLiteral(" \"%1\"").arg(cut(*text, ShownBytes)) : shown;
}

QJsonValue altimeterJson(const CompletePayload &payload)
{
    const auto status = readAltimeterStatus(payload);
    if (!status)
        return {};
    // Not finite becomes null.
    const auto value = static_cast<double>(status->value);
    return QJsonObject{{QStringLiteral("value"), std::isfinite(value) ? QJsonValue(value) : QJsonValue()},
                       {QStringLiteral("status"), status->status}};
}

} // namespace

void GroundReport::pong(const PingTracker::Answer &answer) const
{
    const double ms = RoundTrips::toMs(answer.roundTrip);
    if (json)
        writeJsonLine({{"event", QStringLiteral("pong")},
                       {"seq", answer.sequence},
                       {"roundTripMs", ms},
                       {"version", versionText(answer.pong)}});
    else
        print(QStringLiteral("pong seq=%1 time=%2 ms version=%3")
                  .arg(answer.sequence)
                  .arg(fixed(ms, 3), versionText(answer.pong)));
}

void GroundReport::payload(const CompletePayload &payload) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("payload")},
                       {"id", payload.id},
                       {"messageId", number(payload.messageId)},
                       {"payloadId", number(payload.payloadId)},
                       {"size", payload.data.size()},
                       {"data", hex(payload.data)},
                       {"altimeter", altimeterJson(payload)}});
    else
        print(QStringLiteral("%1 id %2 message %3 payload %4, %5 bytes: %6")
                  .arg(QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss.zzz")))
                  .arg(payload.id)
                  .arg(number(payload.messageId))
                  .arg(number(payload.payloadId))
                  .arg(payload.data.size())
                  .arg(contentText(payload)));
}

void GroundReport::incomplete(const OpenPayloads::Part &part) const
{
    const PayloadMessageHeader &header = part.header;
    if (json)
        writeJsonLine({{"event", QStringLiteral("incomplete")},
                       {"id", header.id},
                       {"messageId", number(header.messageId)},
                       {"payloadId", number(header.payloadId)},
                       {"size", header.total},
                       {"received", part.received}});
    else
        print(QStringLiteral("%1 id %2 message %3 payload %4: incomplete, %5 of %6 bytes came")
                  .arg(QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss.zzz")))
                  .arg(header.id)
                  .arg(number(header.messageId))
                  .arg(number(header.payloadId))
                  .arg(part.received)
                  .arg(header.total));
}

void GroundReport::sent(const Sent &sent) const
{
    const CompletePayload &payload = sent.payload;
    if (json)
        writeJsonLine({{"event", QStringLiteral("sent")},
                       {"id", payload.id},
                       {"messageId", number(payload.messageId)},
                       {"payloadId", number(payload.payloadId)},
                       {"bytes", payload.data.size()},
                       {"fragments", sent.fragments},
                       {"seconds", sent.seconds}});
    else
        writeLine(stdout,
                  QStringLiteral("sent %1 bytes in %2 %3, %4 s, as id %5")
                      .arg(payload.data.size())
                      .arg(sent.fragments)
                      .arg(sent.fragments == 1 ? QStringLiteral("fragment") : QStringLiteral("fragments"),
                           fixed(sent.seconds, 3))
                      .arg(payload.id));
}

void GroundReport::step(const Step &step) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("step")},
                       {"rate", step.rate},
                       {"sent", step.sent},
                       {"answered", step.answered},
                       {"perSecond", step.perSecond},
                       {"medianMs", step.medianMs}});
    else
        print(QStringLiteral("%1 pings a second (%2 measured): %3 of %4 answered, median %5 ms")
                  .arg(step.rate)
                  .arg(fixed(step.perSecond, 1))
                  .arg(step.answered)
                  .arg(step.sent)
                  .arg(fixed(step.medianMs, 3)));
}

void GroundReport::pingSummary(const PingTracker &pings) const
{
    const RoundTrips &times = pings.roundTrips();
    if (json)
        writeJsonLine({{"event", QStringLiteral("summary")},
                       {"sent", pings.pingCount()},
                       {"received", pings.answerCount()},
                       {"lossPercent", pings.lossPercent()},
                       {"minMs", times.minMs()},
                       {"medianMs", times.medianMs()},
                       {"maxMs", times.maxMs()}});
    else
        writeLine(stdout, QStringLiteral("%1 pings sent, %2 answered, %3 % loss; min/median/max %4/%5/%6 ms")
                              .arg(pings.pingCount())
                              .arg(pings.answerCount())
                              .arg(fixed(pings.lossPercent(), 1), fixed(times.minMs(), 3),
                                   fixed(times.medianMs(), 3), fixed(times.maxMs(), 3)));
}

void GroundReport::watchSummary(const Watched &watched) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("summary")},
                       {"payloads", watched.payloads},
                       {"bytes", watched.bytes},
                       {"incomplete", watched.incomplete},
                       {"malformed", watched.malformed},
                       {"seconds", watched.seconds}});
    else
        writeLine(stdout, QStringLiteral("%1 payloads, %2 bytes in %3 s; %4 incomplete, %5 malformed frames")
                              .arg(watched.payloads)
                              .arg(watched.bytes)
                              .arg(fixed(watched.seconds, 1))
                              .arg(watched.incomplete)
                              .arg(watched.malformed));
}

void GroundReport::sendSummary(int left, int fragments) const
{
    if (json)
        writeJsonLine(
            {{"event", QStringLiteral("summary")}, {"fragmentsSent", left}, {"fragments", fragments}});
    else
        writeLine(stdout, QStringLiteral("ended after %1 of %2 fragments").arg(left).arg(fragments));
}

void GroundReport::benchSummary(const Benched &benched) const
{
    const double perSecond = static_cast<double>(benched.payloads) / benched.seconds;
    const std::optional<double> lossy = benched.lossyPerSecond;
    if (json) {
        writeJsonLine({{"event", QStringLiteral("summary")},
                       {"losslessPerSecond", benched.losslessPerSecond},
                       {"lossyPerSecond", lossy ? QJsonValue(*lossy) : QJsonValue()},
                       {"payloads", benched.payloads},
                       {"payloadsPerSecond", perSecond},
                       {"missing", benched.missing},
                       {"seconds", benched.seconds}});
        return;
    }
    const QString loss = lossy ? QStringLiteral("loss at %1").arg(fixed(*lossy, 1))
                               : QStringLiteral("link and pace allow no more");
    writeLine(stdout, QStringLiteral("pings, there and back: %1 a second without loss, %2; from the host "
                                     "meanwhile: %3 payloads (%4 a second), %5 missing")
                          .arg(fixed(benched.losslessPerSecond, 1), loss)
                          .arg(benched.payloads)
                          .arg(fixed(perSecond, 1))
                          .arg(benched.missing));
}

void GroundReport::print(const QString &line) const
{
    if (!quiet)
        writeLine(stdout, line);
}

void GroundReport::note(const QString &text) const
{
    if (!quiet)
        complain(text);
}

void GroundReport::error(const QString &text) const
{
    if (json)
        writeJsonLine({{"event", QStringLiteral("error")}, {"text", text}});
    complain(text);
}

void GroundReport::complain(const QString &text)
{
    writeLine(stderr, QStringLiteral("noflailsten-ground: ") + text);
}
