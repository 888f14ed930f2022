// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <QSignalSpy>
#include <QThread>

#include <memory>
#include <type_traits>

namespace {

static_assert(std::is_aggregate_v<TextToGround>);
static_assert(std::is_same_v<decltype(TextToGround::text), QString>);
static_assert(std::is_same_v<decltype(TextToGround::type), QFlags<TextToGround::MessageType>>);
static_assert(sizeof(TextToGround::type) == 4);

TextToGround only(const QSignalSpy &sent)
{
    return sent.count() == 1 ? sent.first().first().value<TextToGround>()
                             : TextToGround{QStringLiteral("%1 texts").arg(sent.count()), {}};
}

} // namespace

class TestTextToGround : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaType_isRegisteredByTheApp();
    void types_areNoughtForInformationAndOneForAnError();
    void message_isEmittedAsItIs_data();
    void message_isEmittedAsItIs();
    void taggedMessage_data();
    void taggedMessage();
    void message_whileNotVerbose_isEmittedAllTheSame();
    void message_withoutAReceiver_isDropped();
    void message_fromAnotherThread_isEmittedOnTheMainThread();
};

void TestTextToGround::metaType_isRegisteredByTheApp()
{
    const ApplicationFixture<> f;
    QVERIFY(QMetaType::type("TextToGround") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("TextToGround"), qMetaTypeId<TextToGround>());
}

void TestTextToGround::types_areNoughtForInformationAndOneForAnError()
{
    QCOMPARE(int(TextToGround::Information), 0);
    QCOMPARE(int(TextToGround::Error), 1);
    QCOMPARE(int(TextToGround().type), 0);
}

void TestTextToGround::message_isEmittedAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::newRow("information") << QStringLiteral("Wi-Fi off") << 0;
    QTest::newRow("error") << QStringLiteral("No link") << 1;
    QTest::newRow("other flags") << QStringLiteral("x") << 0x40000002;
    QTest::newRow("empty") << QString() << 1;
    QTest::newRow("place markers") << QStringLiteral("%1 %2") << 0;
    QTest::newRow("utf-8") << QString::fromUtf8("Höhe") << 0;
}

void TestTextToGround::message_isEmittedAsItIs()
{
    QFETCH(QString, text);
    QFETCH(int, type);
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy sent(&f.app, &App::textToGround);
    f.app.sendMessage(text, QFlags<TextToGround::MessageType>(QFlag(type)));
    QCOMPARE(sent.count(), 1);
    QCOMPARE(only(sent).text, text);
    QCOMPARE(int(only(sent).type), type);
}

void TestTextToGround::taggedMessage_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("tag and text") << QStringLiteral("TCP") << QStringLiteral("X")
                                  << QStringLiteral("[TCP] X");
    QTest::newRow("no tag") << QString() << QStringLiteral("X") << QStringLiteral("X");
    QTest::newRow("empty tag") << QString(QLatin1String("")) << QStringLiteral(" X") << QStringLiteral(" X");
    QTest::newRow("no text") << QStringLiteral("TCP") << QString() << QStringLiteral("[TCP] ");
    QTest::newRow("neither") << QString() << QString() << QString();
    QTest::newRow("blank tag") << QStringLiteral(" ") << QStringLiteral("X") << QStringLiteral("[ ] X");
    QTest::newRow("place markers") << QStringLiteral("%1") << QStringLiteral("%2 %1")
                                   << QStringLiteral("[%1] %2 %1");
}

void TestTextToGround::taggedMessage()
{
    QFETCH(QString, tag);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy sent(&f.app, &App::textToGround);
    f.app.sendMessage(text, tag, TextToGround::Error);
    QCOMPARE(sent.count(), 1);
    QCOMPARE(only(sent).text, expected);
    QCOMPARE(only(sent).type, TextToGround::MessageTypes(TextToGround::Error));
}

void TestTextToGround::message_whileNotVerbose_isEmittedAllTheSame()
{
    const LogCapture log;
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=false\n");
    const QSignalSpy sent(&f.app, &App::textToGround);
    f.app.sendMessage(QStringLiteral("X"), TextToGround::Information);
    QCOMPARE(sent.count(), 1);
}

void TestTextToGround::message_withoutAReceiver_isDropped()
{
    const LogCapture log;
    ApplicationFixture<> f;
    f.app.sendMessage(QStringLiteral("X"), TextToGround::Information);
    const QSignalSpy sent(&f.app, &App::textToGround);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(sent.count(), 0);
}

void TestTextToGround::message_fromAnotherThread_isEmittedOnTheMainThread()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy sent(&f.app, &App::textToGround);
    const std::unique_ptr<QThread> thread(QThread::create(
        [&f] { f.app.sendMessage(QStringLiteral("X"), QStringLiteral("COMM"), TextToGround::Error); }));
    thread->start();
    thread->wait();
    QCOMPARE(sent.count(), 0);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(only(sent).text, QStringLiteral("[COMM] X"));
}

APPLESS_TEST_MAIN(TestTextToGround)
#include "tst_texttoground.moc"
