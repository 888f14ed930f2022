// SPDX-License-Identifier: MIT
#include "mavlink/messagecopy.h"

#include "support/logcapture.h"

#include <QThread>
#include <QtTest>

#include <malloc.h>

#include <memory>

namespace {

namespace common = mavlink::common::msg;
namespace ardupilot = mavlink::ardupilotmega::msg;

/// All that the framing takes of a message: id, lengths, seed, and the bytes of its fields.
QString wireForm(const mavlink::Message &message)
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    message.serialize(map);
    const mavlink::Message::Info info = message.get_message_info();
    const QByteArray bytes(_MAV_PAYLOAD(&wire), static_cast<int>(info.length));
    return QStringLiteral("%1/%2 %3 %4 %5/%6 %7")
        .arg(info.id)
        .arg(wire.msgid)
        .arg(info.crc_extra)
        .arg(info.min_length)
        .arg(info.length)
        .arg(wire.len)
        .arg(QLatin1String(bytes.toHex()));
}

template <size_t Size>
void fillPattern(std::array<uint8_t, Size> &bytes)
{
    for (size_t i = 0; i < Size; ++i)
        bytes[i] = static_cast<uint8_t>(i + 1);
}

common::V2_EXTENSION v2Extension()
{
    common::V2_EXTENSION message{};
    message.message_type = 0x1234;
    message.target_system = 255;
    fillPattern(message.payload);
    return message;
}

ardupilot::DATA96 data96()
{
    ardupilot::DATA96 message{};
    message.type = 175;
    message.len = 96;
    fillPattern(message.data);
    return message;
}

common::COMMAND_LONG commandLong()
{
    common::COMMAND_LONG message{};
    message.param1 = 1.5F;
    message.param7 = -15.0F;
    message.command = 511;
    message.target_system = 1;
    return message;
}

} // namespace

/// Emits messages, and takes them: as a queued receiver that keeps their wire forms.
class MessageRelay : public QObject
{
    Q_OBJECT

public:
    QStringList received;
    QThread *thread = nullptr;

Q_SIGNALS:
    void sent(const mavlink::Message &message);

public Q_SLOTS:
    void take(const mavlink::Message &message)
    {
        received.append(wireForm(message));
        thread = QThread::currentThread();
    }
};

class TestMessageCopy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void registering_again_isHarmless();
    void copy_serialisesLikeTheOriginal();
    void copyOfACopy_serialisesLikeTheOriginal();
    void copy_outlivesTheOriginal();
    void deserialize_readsTheBytesBack();
    void queuedSignal_arrivesEqual();
    void queuedSignal_ofAnotherThread_arrivesEqual();
    void queuedSignal_handedOnQueued_arrivesEqual();
    void queuedCall_byName_arrivesEqual();
    void defaultCopy_isOfNoMessage();
    void nameAndYaml_tellIdAndBytes();
    void metaType_copiesAndDestroys();
    void manyQueuedSignals_leakNothing();
};

void TestMessageCopy::initTestCase()
{
    mavlink::MessageCopy::registerMetaType();
}

void TestMessageCopy::registering_again_isHarmless()
{
    const LogCapture log;
    const int id = QMetaType::type("mavlink::Message");
    QVERIFY(id != QMetaType::UnknownType);
    mavlink::MessageCopy::registerMetaType();
    QCOMPARE(QMetaType::type("mavlink::Message"), id);
}

void TestMessageCopy::copy_serialisesLikeTheOriginal()
{
    QCOMPARE(wireForm(mavlink::MessageCopy(v2Extension())), wireForm(v2Extension()));
    QCOMPARE(wireForm(mavlink::MessageCopy(data96())), wireForm(data96()));
    QCOMPARE(wireForm(mavlink::MessageCopy(commandLong())), wireForm(commandLong()));
    common::ENCAPSULATED_DATA longest{}; // 255 bytes
    fillPattern(longest.data);
    QCOMPARE(wireForm(mavlink::MessageCopy(longest)), wireForm(longest));
    const common::GPS_RAW_INT withExtensions{};
    QCOMPARE(wireForm(mavlink::MessageCopy(withExtensions)), wireForm(withExtensions));
}

void TestMessageCopy::copyOfACopy_serialisesLikeTheOriginal()
{
    const mavlink::MessageCopy copy(v2Extension());
    const mavlink::Message &message = copy;
    QCOMPARE(wireForm(mavlink::MessageCopy(message)), wireForm(v2Extension()));
}

void TestMessageCopy::copy_outlivesTheOriginal()
{
    auto original = std::make_unique<common::V2_EXTENSION>(v2Extension());
    const mavlink::MessageCopy copy(*original);
    original->payload.fill(0);
    original.reset();
    QCOMPARE(wireForm(copy), wireForm(v2Extension()));
}

void TestMessageCopy::deserialize_readsTheBytesBack()
{
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap out(wire);
    data96().serialize(out);
    mavlink::MessageCopy copy((ardupilot::DATA96()));
    mavlink::MsgMap in(static_cast<const mavlink::mavlink_message_t *>(&wire));
    copy.deserialize(in);
    QCOMPARE(wireForm(copy), wireForm(data96()));
}

void TestMessageCopy::queuedSignal_arrivesEqual()
{
    const LogCapture log;
    MessageRelay sender;
    MessageRelay receiver;
    connect(&sender, &MessageRelay::sent, &receiver, &MessageRelay::take, Qt::QueuedConnection);
    Q_EMIT sender.sent(v2Extension());
    Q_EMIT sender.sent(data96());
    Q_EMIT sender.sent(commandLong());
    QCOMPARE(receiver.received, QStringList());
    QCoreApplication::sendPostedEvents(&receiver);
    QCOMPARE(receiver.received,
             (QStringList{wireForm(v2Extension()), wireForm(data96()), wireForm(commandLong())}));
}

void TestMessageCopy::queuedSignal_ofAnotherThread_arrivesEqual()
{
    const LogCapture log;
    MessageRelay sender;
    MessageRelay receiver;
    connect(&sender, &MessageRelay::sent, &receiver, &MessageRelay::take);
    const std::unique_ptr<QThread> thread(QThread::create([&sender] {
        Q_EMIT sender.sent(v2Extension());
        Q_EMIT sender.sent(commandLong());
    }));
    thread->start();
    QVERIFY(thread->wait(10000));
    QCOMPARE(receiver.received, QStringList());
    QCoreApplication::sendPostedEvents(&receiver);
    QCOMPARE(receiver.received, (QStringList{wireForm(v2Extension()), wireForm(commandLong())}));
    QCOMPARE(receiver.thread, QThread::currentThread());
}

void TestMessageCopy::queuedSignal_handedOnQueued_arrivesEqual()
{
    const LogCapture log;
    MessageRelay sender;
    MessageRelay between;
    MessageRelay receiver;
    connect(&sender, &MessageRelay::sent, &between, &MessageRelay::sent, Qt::QueuedConnection);
    connect(&between, &MessageRelay::sent, &receiver, &MessageRelay::take, Qt::QueuedConnection);
    Q_EMIT sender.sent(v2Extension());
    QCoreApplication::sendPostedEvents(&between);
    QCoreApplication::sendPostedEvents(&receiver);
    QCOMPARE(receiver.received, QStringList{wireForm(v2Extension())});
}

void TestMessageCopy::queuedCall_byName_arrivesEqual()
{
    const LogCapture log;
    MessageRelay receiver;
    const common::V2_EXTENSION original = v2Extension();
    const mavlink::Message &message = original;
    QVERIFY(
        QMetaObject::invokeMethod(&receiver, "take", Qt::QueuedConnection, Q_ARG(mavlink::Message, message)));
    QCoreApplication::sendPostedEvents(&receiver);
    QCOMPARE(receiver.received, QStringList{wireForm(original)});
}

void TestMessageCopy::defaultCopy_isOfNoMessage()
{
    const mavlink::MessageCopy copy;
    const mavlink::Message::Info info = copy.get_message_info();
    QCOMPARE(info.id, mavlink::Message::MSG_ID);
    QCOMPARE(int(info.length), 0);
    QCOMPARE(int(info.min_length), 0);
    QCOMPARE(int(info.crc_extra), 0);
    mavlink::mavlink_message_t wire{};
    mavlink::MsgMap map(wire);
    copy.serialize(map);
    QCOMPARE(int(wire.len), 0);
}

void TestMessageCopy::nameAndYaml_tellIdAndBytes()
{
    const mavlink::MessageCopy copy{mavlink::minimal::msg::HEARTBEAT{}};
    QCOMPARE(QString::fromStdString(copy.get_name()), QStringLiteral("MESSAGE_0"));
    QCOMPARE(QString::fromStdString(copy.to_yaml()),
             QStringLiteral("MESSAGE_0:\n  payload: 000000000000000003\n"));
    QCOMPARE(QString::fromStdString(mavlink::MessageCopy(v2Extension()).get_name()),
             QStringLiteral("MESSAGE_248"));
}

void TestMessageCopy::metaType_copiesAndDestroys()
{
    const int id = QMetaType::type("mavlink::Message");
    const common::V2_EXTENSION original = v2Extension();
    const mavlink::Message *message = &original;
    void *copy = QMetaType::create(id, message);
    QCOMPARE(wireForm(*static_cast<mavlink::Message *>(copy)), wireForm(original));
    QMetaType::destroy(id, copy);
    void *empty = QMetaType::create(id);
    QCOMPARE(static_cast<mavlink::Message *>(empty)->get_message_info().id, mavlink::Message::MSG_ID);
    QMetaType::destroy(id, empty);
    QCOMPARE(QMetaType::sizeOf(id), int(sizeof(mavlink::MessageCopy)));
}

void TestMessageCopy::manyQueuedSignals_leakNothing()
{
    const LogCapture log;
    MessageRelay sender;
    MessageRelay receiver;
    int received = 0;
    connect(
        &sender, &MessageRelay::sent, &receiver, [&] { ++received; }, Qt::QueuedConnection);
    const auto round = [&] {
        for (int i = 0; i < 10000; ++i)
            Q_EMIT sender.sent(v2Extension());
        QCoreApplication::processEvents();
    };
    round();
    const size_t before = mallinfo2().uordblks;
    round();
    const size_t after = mallinfo2().uordblks;
    QCOMPARE(received, 20000);
    // One that leaks 250 bytes a message leaks 2.5 MB.
    QVERIFY2(after < before + 100000, qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
}

QTEST_GUILESS_MAIN(TestMessageCopy)
#include "tst_messagecopy.moc"
