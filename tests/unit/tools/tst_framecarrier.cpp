// SPDX-License-Identifier: MIT
#include "groundfixture.h"

#include <QSignalSpy>
#include <QtTest>

namespace msg = mavlink::ardupilotmega::msg;
using mavlink::common::msg::V2_EXTENSION;

class TestFrameCarrier : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void sendHeartbeat_isThatOfAGroundStation();
    void sendFrame_isAddressedToAll_withTheLengthInFront();
    void sending_countsUpTheSequence();
    void dataMessage_ofTheVehicle_isReceived();
    void dataMessage_ofAnotherType_isPassedOver();
    void dataMessage_thatClaimsMoreThanItHolds_isCut();
    void v2Extension_thatClaimsMoreThanItHolds_isCut();
    void v2Extension_withoutAFrame_isPassedOver();
    void bytesInPieces_withRubbishBetween_giveTheFrame();

private:
    QList<QByteArray> receive(const QByteArray &bytes);

    std::unique_ptr<FakeLink> link;
    std::unique_ptr<FrameCarrier> ground;
};

namespace {

V2_EXTENSION extensionOf(const QByteArray &frame)
{
    V2_EXTENSION extension = {};
    extension.payload[0] = static_cast<uint8_t>(frame.size());
    std::copy(frame.begin(), frame.end(), extension.payload.begin() + 1);
    return extension;
}

msg::DATA16 data16(quint8 type, quint8 length)
{
    msg::DATA16 data = {};
    data.type = type;
    data.len = length;
    data.data.fill('x');
    return data;
}

} // namespace

void TestFrameCarrier::init()
{
    ground.reset();
    link = std::make_unique<FakeLink>();
    ground = std::make_unique<FrameCarrier>(link.get(), 255);
}

QList<QByteArray> TestFrameCarrier::receive(const QByteArray &bytes)
{
    QSignalSpy received(ground.get(), &FrameCarrier::frameReceived);
    Q_EMIT link->received(bytes, 0);
    QList<QByteArray> frames;
    for (const QList<QVariant> &arguments : received)
        frames.append(arguments[0].toByteArray());
    return frames;
}

void TestFrameCarrier::sendHeartbeat_isThatOfAGroundStation()
{
    ground->sendHeartbeat();
    // Type 6 (ground station), autopilot 8 (none), state 4 (active), MAVLink 3; system 255, component 190.
    QCOMPARE(link->written[0].left(19).toHex(), QByteArray("fd09000000ffbe000000000000000608000403"));
}

void TestFrameCarrier::sendFrame_isAddressedToAll_withTheLengthInFront()
{
    ground->sendFrame("abc");
    QCOMPARE(link->written[0].left(19).toHex(), QByteArray("fd09000000ffbef80000000000000003616263"));
}

void TestFrameCarrier::sending_countsUpTheSequence()
{
    for (int i = 0; i < 257; ++i)
        ground->sendHeartbeat();
    QCOMPARE(link->written[1][4], char(1));
    QCOMPARE(link->written[255][4], char(0xff));
    QCOMPARE(link->written[256][4], char(0));
}

void TestFrameCarrier::dataMessage_ofTheVehicle_isReceived()
{
    QCOMPARE(receive(vehicleFrame(data16(175, 16))), QList<QByteArray>{QByteArray(16, 'x')});
}

void TestFrameCarrier::dataMessage_ofAnotherType_isPassedOver()
{
    QCOMPARE(receive(vehicleFrame(data16(174, 16))), QList<QByteArray>{});
}

void TestFrameCarrier::dataMessage_thatClaimsMoreThanItHolds_isCut()
{
    QCOMPARE(receive(vehicleFrame(data16(175, 17))), QList<QByteArray>{QByteArray(16, 'x')});
}

void TestFrameCarrier::v2Extension_thatClaimsMoreThanItHolds_isCut()
{
    V2_EXTENSION extension = extensionOf(QByteArray(248, 'x'));
    extension.payload[0] = 255;
    QCOMPARE(receive(vehicleFrame(extension)), QList<QByteArray>{QByteArray(248, 'x')});
}

void TestFrameCarrier::v2Extension_withoutAFrame_isPassedOver()
{
    QCOMPARE(receive(vehicleFrame(extensionOf({}))), QList<QByteArray>{});
}

void TestFrameCarrier::bytesInPieces_withRubbishBetween_giveTheFrame()
{
    const QByteArray bytes =
        "rubbish" + vehicleFrame(extensionOf("one")) + "more" + vehicleFrame(extensionOf("two"));
    QList<QByteArray> frames;
    for (const char byte : bytes)
        frames += receive(QByteArray(1, byte));
    QCOMPARE(frames, (QList<QByteArray>{"one", "two"}));
}

QTEST_GUILESS_MAIN(TestFrameCarrier)
#include "tst_framecarrier.moc"
