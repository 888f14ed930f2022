// SPDX-License-Identifier: MIT
#include "communication/onboardmessagedispatcher.h"
#include "communication/recordingcarrier.h"
#include "support/logcapture.h"

#include <QProcess>
#include <QtTest>

#include <cstring>

namespace {

constexpr const char *ChildOption = "--first-body";

/// What a process logs whose first ping has this body.
QByteArray linesOfAProcess(const QByteArray &body)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(),
                  {QLatin1String(ChildOption), QLatin1String(body.toHex())});
    process.waitForFinished();
    return process.readAllStandardError();
}

int runAsChild(const char *hexBody)
{
    RecordingCarrier().parseIncomingData(onboardFrame(4, QByteArray::fromHex(hexBody)));
    return 0;
}

} // namespace

// A program of its own, since the line is written once per process.
class TestFirstVersion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void versionOfTheOtherSide_isLoggedOnceInAProcess();
    void missingPart_readsAsIn01_data();
    void missingPart_readsAsIn01();
};

void TestFirstVersion::versionOfTheOtherSide_isLoggedOnceInAProcess()
{
    LogCapture log;
    RecordingCarrier first;
    RecordingCarrier second;
    first.parseIncomingData(onboardFrame(4, QByteArray(7, '\0'))); // malformed: does not count
    first.parseIncomingData(onboardFrame(3, QByteArray(10, '\0')));
    QCOMPARE(log.take(), QStringList{QStringLiteral("[X] WARN: Received invalid message")});

    first.parseIncomingData(onboardFrame(254, pingBody(0)));
    const QStringList lines = log.take();
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.last(), QStringLiteral("[DISPATCHER] \"Protocol version received from Zor: 0.1\""));
    QCOMPARE(log.takenTypes().last(), QtInfoMsg);

    first.parseIncomingData(onboardFrame(254, pingBody(0, "\x02\x03")));
    QCOMPARE(log.take(), QStringList());
    second.parseIncomingData(onboardFrame(4, pingBody(0, "\x02\x03")));
    QCOMPARE(log.take(), QStringList{QStringLiteral("[X] Pong Message received")});
    OnboardMessageDispatcher other;
    QVERIFY(other.handle(
        OnboardMessage(onboardFrame(254, pingBody(0, "\x02\x03"))), [](OnboardMessageId, qint64) {},
        [](OnboardMessageId, const CompletePayload &) {}));
    QCOMPARE(log.take(), QStringList());
}

void TestFirstVersion::missingPart_readsAsIn01_data()
{
    QTest::addColumn<QByteArray>("version");
    QTest::addColumn<QByteArray>("logged");
    QTest::newRow("nothing") << QByteArray() << QByteArray("0.1");
    QTest::newRow("major") << QByteArray("\x07") << QByteArray("7.1");
    QTest::newRow("major 0") << QByteArray(1, '\0') << QByteArray("0.1");
    QTest::newRow("both") << QByteArray("\x07\x09") << QByteArray("7.9");
    QTest::newRow("both 0") << QByteArray(2, '\0') << QByteArray("0.0");
    QTest::newRow("largest") << QByteArray("\xFF\xFF") << QByteArray("255.255");
    QTest::newRow("more") << QByteArray("\x01\x02\x03") << QByteArray("1.2");
}

void TestFirstVersion::missingPart_readsAsIn01()
{
    QFETCH(QByteArray, version);
    QFETCH(QByteArray, logged);
    QCOMPARE(linesOfAProcess(pingBody(0, version)),
             "[X] Pong Message received\n[DISPATCHER] \"Protocol version received from Zor: " + logged +
                 "\"\n");
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], ChildOption) == 0)
        return runAsChild(argv[2]);
    TestFirstVersion test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_firstversion.moc"
