// SPDX-License-Identifier: MIT
#include "navigation/mavstickadapter.h"

#include "navigation/stickrecorder.h"
#include "support/vtable.h"

#include <QPointer>
#include <QtTest>

#include <functional>
#include <limits>

namespace {

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NotANumber = std::numeric_limits<double>::quiet_NaN();

using Command = std::function<void(IVirtualStick &)>;

void fly(IVirtualStick &stick)
{
    stick.setVelocity({1, 2, -0.5}, 90);
}

// The signals and slots that a class adds, in order.
QList<QByteArray> ownMethods(const QMetaObject &meta, QMetaMethod::MethodType type)
{
    QList<QByteArray> signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        if (meta.method(i).methodType() == type)
            signatures.append(meta.method(i).methodSignature());
    return signatures;
}

} // namespace

Q_DECLARE_METATYPE(Command)
Q_DECLARE_METATYPE(Utils::Vector3d)

/// What the stick is, and its commands.
class TestMavStickAdapter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObject_hasTheSignalsAndSlotsInOrder();
    void virtualOperations_keepThePlacesOfTheInterface();
    void id_isTheTagOfTheLogLines();
    void freshStick_isSilentAndDiesWithItsParent();
    void command_isTheMessageOfAnotherEncoder_data();
    void command_isTheMessageOfAnotherEncoder();
    void command_firesOneMessage_data();
    void command_firesOneMessage();
    void setVelocity_narrowsToSinglePrecision_data();
    void setVelocity_narrowsToSinglePrecision();
    void setVelocity_tooLargeForSinglePrecision_isInfinite();
    void armAndTakeOff_sayTheySent();
    void forceObtainControl_saysYesAndSendsNothing();
    void controlsWithoutMeaning_doNothing_data();
    void controlsWithoutMeaning_doNothing();
    void command_afterAHandOver_goesToThatSystem();
    void command_afterTheLatch_goesToThatSystemForEver();
    void commands_fromInsideASignal_leaveInOrder_data();
    void commands_fromInsideASignal_leaveInOrder();
};

void TestMavStickAdapter::metaObject_hasTheSignalsAndSlotsInOrder()
{
    const QMetaObject &meta = MavStickAdapter::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("MavStickAdapter"));
    QCOMPARE(meta.superClass(), &IVirtualStick::staticMetaObject);
    QCOMPARE(ownMethods(meta, QMetaMethod::Signal),
             (QList<QByteArray>{"sendMessage(mavlink::Message)", "sendData(QByteArray)"}));
    QCOMPARE(ownMethods(meta, QMetaMethod::Slot),
             (QList<QByteArray>{"onMessageSent(mavlink::Message)", "onDataReceived(QByteArray)",
                                "onMessageReceived(mavlink::mavlink_message_t)"}));
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 5);
}

void TestMavStickAdapter::virtualOperations_keepThePlacesOfTheInterface()
{
    const int first = virtualSlot(&IVirtualStick::trackControl);
    const QList<int> places{virtualSlot(&MavStickAdapter::trackControl),
                            virtualSlot(&MavStickAdapter::yawControl),
                            virtualSlot(&MavStickAdapter::altitudeControl),
                            virtualSlot(&MavStickAdapter::keepPosition),
                            virtualSlot(&MavStickAdapter::obtainControl),
                            virtualSlot(&MavStickAdapter::forceObtainControl),
                            virtualSlot(&MavStickAdapter::releaseControl),
                            virtualSlot(&MavStickAdapter::stopAutoMission),
                            virtualSlot(&MavStickAdapter::setVelocity),
                            virtualSlot(&MavStickAdapter::subscribeToTelemetry),
                            virtualSlot(&MavStickAdapter::arm),
                            virtualSlot(&MavStickAdapter::takeOff),
                            virtualSlot(&MavStickAdapter::returnToHome)};
    for (int i = 0; i < places.size(); ++i)
        QCOMPARE(places[i], first + i);
}

void TestMavStickAdapter::id_isTheTagOfTheLogLines()
{
    StickRecorder of;
    const IVirtualStick &stick = of.stick;
    QCOMPARE(stick.id(), QStringLiteral("MAV"));
    QCOMPARE(stick.prefix(), QString());
    stick.info() << "text";
    QCOMPARE(of.log.take(), QStringList{QStringLiteral("[MAV] text")});
}

void TestMavStickAdapter::freshStick_isSilentAndDiesWithItsParent()
{
    StickRecorder of;
    QCOMPARE(of.emitted, QStringList());
    auto *parent = new QObject;
    const QPointer<IVirtualStick> stick = new MavStickAdapter(parent);
    QCOMPARE(stick->parent(), parent);
    delete parent;
    QVERIFY(!stick);
}

// Frames of pymavlink 2.4.50. Target system 0 is that of a stick that knows of no autopilot.
void TestMavStickAdapter::command_isTheMessageOfAnotherEncoder_data()
{
    QTest::addColumn<Command>("command");
    QTest::addColumn<quint8>("target");
    QTest::addColumn<QByteArray>("frame");
    const auto row = [](const char *title, const Command &command, quint8 target, const char *frame) {
        QTest::newRow(title) << command << target << QByteArray(frame);
    };
    const Command obtain = [](IVirtualStick &stick) { stick.obtainControl(); };
    const Command arm = [](IVirtualStick &stick) { stick.arm(); };
    const Command takeOff = [](IVirtualStick &stick) { stick.takeOff(); };
    row("obtain, 0", obtain, 0, "FD0600000002050B0000040000000001D0C1");
    row("obtain, 1", obtain, 1, "FD0600000002050B00000400000001010C9B");
    row("obtain, 255", obtain, 255, "FD0600000002050B000004000000FF012307");
    row("arm, 0", arm, 0,
        "FD1E00000002054C00000000803F0000000000000000000000000000000000000000000000009001401D");
    row("arm, 1", arm, 1,
        "FD1F00000002054C00000000803F0000000000000000000000000000000000000000000000009001014A0A");
    row("arm, 255", arm, 255,
        "FD1F00000002054C00000000803F0000000000000000000000000000000000000000000000009001FF52EC");
    row("take off, 0", takeOff, 0,
        "FD1D00000002054C000000000000000000000000000000000000000000000000000000007041160CA8");
    row("take off, 1", takeOff, 1,
        "FD1F00000002054C000000000000000000000000000000000000000000000000000000007041160001FFFB");
    row("take off, 255", takeOff, 255,
        "FD1F00000002054C0000000000000000000000000000000000000000000000000000000070411600FFE71D");
    row("fly, 0", &fly, 0,
        "FD350000000205540000000000000000000000000000000000000000803F00000040000000BF0000000000000000000000"
        "0000000000DB0FC93FC707000001D42A");
    row("fly, 1", &fly, 1,
        "FD350000000205540000000000000000000000000000000000000000803F00000040000000BF0000000000000000000000"
        "0000000000DB0FC93FC7070100016F36");
    row("fly, 255", &fly, 255,
        "FD350000000205540000000000000000000000000000000000000000803F00000040000000BF0000000000000000000000"
        "0000000000DB0FC93FC707FF000106EF");
}

void TestMavStickAdapter::command_isTheMessageOfAnotherEncoder()
{
    QFETCH(Command, command);
    QFETCH(quint8, target);
    QFETCH(QByteArray, frame);
    StickRecorder of;
    if (target != 0)
        of.detect(12, {target, 77});
    command(of.stick);
    QCOMPARE(of.sent, QByteArrayList{frame});
}

void TestMavStickAdapter::command_firesOneMessage_data()
{
    QTest::addColumn<Command>("command");
    QTest::newRow("obtain") << Command([](IVirtualStick &stick) { stick.obtainControl(); });
    QTest::newRow("arm") << Command([](IVirtualStick &stick) { stick.arm(); });
    QTest::newRow("take off") << Command([](IVirtualStick &stick) { stick.takeOff(); });
    QTest::newRow("fly") << Command(&fly);
}

// And nothing else: nothing is framed, and control is never told to be obtained.
void TestMavStickAdapter::command_firesOneMessage()
{
    QFETCH(Command, command);
    StickRecorder of;
    command(of.stick);
    command(of.stick);
    QCOMPARE(of.emitted, (QStringList{QStringLiteral("sendMessage"), QStringLiteral("sendMessage")}));
    QCOMPARE(channelStatus().current_tx_seq, quint8(0));
}

// The four numbers are those that pymavlink 2.4.50 packs, at their places in the frame.
void TestMavStickAdapter::setVelocity_narrowsToSinglePrecision_data()
{
    QTest::addColumn<Utils::Vector3d>("velocity");
    QTest::addColumn<float>("yawRate");
    QTest::addColumn<QByteArray>("xyz");
    QTest::addColumn<QByteArray>("rate");
    const auto row = [](const char *title, Utils::Vector3d velocity, double yawRate, const char *xyz,
                        const char *rate) {
        QTest::newRow(title) << velocity << float(yawRate) << QByteArray(xyz) << QByteArray(rate);
    };
    row("nought", {0, 0, 0}, 0, "000000000000000000000000", "00000000");
    row("negative nought", {-0.0, -0.0, -0.0}, -0.0, "000000800000008000000080", "00000080");
    row("tenths", {0.1, 0.2, 0.3}, 0.1, "CDCCCC3DCDCC4C3E9A99993E", "89C3E43A");
    row("thirds", {1 / 3.0, -2 / 3.0, 1e-7 / 3.0}, 1 / 3.0, "ABAAAA3EABAA2ABF632A0F33", "F2A2BE3B");
    row("ties", {0x1.000003p0, 0x1.000001p0, -0x1.000001p0}, 0, "0200803F0000803F000080BF", "00000000");
    row("half a turn", {5, 0, 0}, 180, "0000A0400000000000000000", "DB0F4940");
    row("a turn back", {0, 0, 0}, -360, "000000000000000000000000", "DB0FC9C0");
    row("denormal", {1e-40, -1e-45, 1e-50}, 1e-40, "C21601000100008000000000", "DE040000");
    row("thousands", {12345.678, -98765.4321, 5000.0001}, 7200.5, "B6E64046B7E6C0C700409C45", "4A58FB42");
    row("infinity", {Infinity, -Infinity, 0}, Infinity, "0000807F000080FF00000000", "0000807F");
    row("NaN", {NotANumber, 0, 0}, NotANumber, "0000C07F0000000000000000", "0000C07F");
}

void TestMavStickAdapter::setVelocity_narrowsToSinglePrecision()
{
    QFETCH(Utils::Vector3d, velocity);
    QFETCH(float, yawRate);
    QFETCH(QByteArray, xyz);
    QFETCH(QByteArray, rate);
    constexpr int PayloadAt = 20; // in hex digits
    StickRecorder of;
    of.detect(3);
    of.stick.setVelocity(velocity, yawRate);
    const QByteArray payload = of.sent.value(0).mid(PayloadAt, 2 * 53);
    QCOMPARE(payload, QByteArray(32, '0') + xyz + QByteArray(32, '0') + rate + "C707010001");
}

void TestMavStickAdapter::setVelocity_tooLargeForSinglePrecision_isInfinite()
{
    StickRecorder of;
    of.stick.setVelocity({1e300, -1e300, 3.4028235677973366e38}, 0);
    QVERIFY2(of.sent.value(0).contains("0000807F000080FF0000807F"), of.sent.value(0).constData());
}

void TestMavStickAdapter::armAndTakeOff_sayTheySent()
{
    StickRecorder of;
    IVirtualStick &stick = of.stick;
    QVERIFY(stick.arm());
    QVERIFY(stick.takeOff());
}

void TestMavStickAdapter::forceObtainControl_saysYesAndSendsNothing()
{
    StickRecorder of;
    QVERIFY(of.stick.forceObtainControl());
    of.detect(12);
    QVERIFY(of.stick.forceObtainControl());
    QCOMPARE(of.emitted, QStringList());
}

void TestMavStickAdapter::controlsWithoutMeaning_doNothing_data()
{
    QTest::addColumn<Command>("command");
    const auto row = [](const char *title, const Command &command) { QTest::newRow(title) << command; };
    row("trackControl", [](IVirtualStick &stick) { stick.trackControl(ControlMode{3}, {1, 2}, 3, 4); });
    row("yawControl", [](IVirtualStick &stick) { stick.yawControl({1, 2}, 3); });
    row("altitudeControl", [](IVirtualStick &stick) { stick.altitudeControl({1, 2}, 3); });
    row("keepPosition", [](IVirtualStick &stick) { stick.keepPosition(1); });
    row("releaseControl", [](IVirtualStick &stick) { stick.releaseControl(); });
    row("stopAutoMission", [](IVirtualStick &stick) { stick.stopAutoMission(); });
    row("returnToHome", [](IVirtualStick &stick) { stick.returnToHome(); });
}

void TestMavStickAdapter::controlsWithoutMeaning_doNothing()
{
    QFETCH(Command, command);
    StickRecorder of;
    command(of.stick);
    of.detect(3);
    command(of.stick);
    QCOMPARE(of.emitted, QStringList());
}

void TestMavStickAdapter::command_afterAHandOver_goesToThatSystem()
{
    StickRecorder of;
    of.stick.setTargetSystemId(255);
    of.stick.obtainControl();
    QCOMPARE(of.sent, QByteArrayList{"FD0600000002050B000004000000FF012307"});
}

void TestMavStickAdapter::command_afterTheLatch_goesToThatSystemForEver()
{
    StickRecorder of;
    of.detect(12, {1, 1});
    of.receive(heartbeatOf(3), {255, 1});
    of.receive(heartbeatOf(3), {1, 1});
    of.stick.obtainControl();
    QCOMPARE(of.sent, QByteArrayList{"FD0600000002050B00000400000001010C9B"});
}

void TestMavStickAdapter::commands_fromInsideASignal_leaveInOrder_data()
{
    QTest::addColumn<bool>("before");
    QTest::newRow("first heartbeat") << true;
    QTest::newRow("second heartbeat") << false;
}

// The target is known when the first status is told.
void TestMavStickAdapter::commands_fromInsideASignal_leaveInOrder()
{
    QFETCH(bool, before);
    StickRecorder of;
    if (!before)
        of.detect(3);
    connect(&of.stick, &IVirtualStick::statusChanged, this, [&] {
        of.stick.obtainControl();
        of.stick.arm();
        of.stick.setVelocity({}, 0);
    });
    of.receive(heartbeatOf(3));
    of.log.take();
    QCOMPARE(of.sent.size(), 3);
    QCOMPARE(of.sent[0], QByteArray("FD0600000002050B00000400000001010C9B"));
    QCOMPARE(of.sent[1].mid(14, 2), QByteArray("4C"));
    QCOMPARE(of.sent[2].mid(14, 2), QByteArray("54"));
    QCOMPARE(of.emitted.count(QStringLiteral("statusChanged")), 1);
}

QTEST_GUILESS_MAIN(TestMavStickAdapter)
#include "tst_mavstickadapter.moc"
