// SPDX-License-Identifier: MIT
// Bytes from the line into the driver, with all that hangs on it: ground link, telemetry, stick. The messages
// that it announces are those which the generated parser finds in the same bytes.
//
// The first byte of an input says how the rest is cut into reads, the others are the line.
#include "autopilot/mavautopilot.h"
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <QVector>

#include <algorithm>
#include <cstring>

namespace {

constexpr auto ReferenceChannel = mavlink::MAVLINK_COMM_1;

void resetChannel(mavlink::mavlink_channel_t channel)
{
    mavlink::m_mavlink_status[channel] = {};
    mavlink::m_mavlink_buffer[channel] = {};
}

QVector<mavlink::mavlink_message_t> referenceMessages(const QByteArray &line)
{
    QVector<mavlink::mavlink_message_t> messages;
    mavlink::mavlink_message_t message;
    mavlink::mavlink_status_t status;
    for (const char byte : line)
        if (mavlink::mavlink_parse_char(ReferenceChannel, static_cast<quint8>(byte), &message, &status) ==
            mavlink::MAVLINK_FRAMING_OK)
            messages.append(message);
    return messages;
}

bool isSame(const mavlink::mavlink_message_t &a, const mavlink::mavlink_message_t &b)
{
    return a.msgid == b.msgid && a.sysid == b.sysid && a.compid == b.compid && a.seq == b.seq &&
           a.magic == b.magic && a.len == b.len && std::memcmp(a.payload64, b.payload64, a.len) == 0;
}

void feed(MavAutopilot &driver, const QByteArray &line, int readSize)
{
    for (int start = 0; start < line.size(); start += readSize)
        driver.dispatchReceivedData(line.mid(start, readSize));
}

void checkMessages(const QVector<mavlink::mavlink_message_t> &announced, const QByteArray &line)
{
    resetChannel(ReferenceChannel);
    const auto expected = referenceMessages(line);
    fuzzCheck(announced.size() == expected.size(), "as many messages as the generated parser finds");
    fuzzCheck(std::equal(announced.begin(), announced.end(), expected.begin(), isSame),
              "the messages that the generated parser finds");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    App &app = fuzzApp();
    static const bool settingsLoaded = [&app] {
        app.loadSettings(scratchFile(QStringLiteral(".ini")));
        app.settings()->setValue(QStringLiteral("MAV/CONNECTION_TYPE"), QStringLiteral("TCP"));
        app.settings()->setValue(QStringLiteral("APP/DISABLE_WIFI_IN_AIR"), true);
        return true;
    }();
    Q_UNUSED(settingsLoaded)

    InputBytes input(data, size);
    const int readSize = input.byte() + 1;
    const QByteArray line = input.rest();
    resetChannel(mavlink::MAVLINK_COMM_0);
    MavAutopilot driver;
    QVector<mavlink::mavlink_message_t> announced;
    QObject::connect(&driver, &MavAutopilot::messageReceived, &driver,
                     [&announced](const mavlink::mavlink_message_t &message) { announced.append(message); });
    feed(driver, line, readSize);
    checkMessages(announced, line);
    driver.subscribe();
    return 0;
}
