// SPDX-License-Identifier: MIT
#include "common/linkaddress.h"

#include <QtTest>

class TestLinkAddress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tcp_data();
    void tcp();
    void serialDevice_isPathAndBaud();
    void serialDeviceWithACommaInItsPath_isCutAtTheLastOne();
    void pty_isThePathOfTheLink();
    void toString_isWhatWasParsed_data();
    void toString_isWhatWasParsed();
    void noAddress_isRefusedByName_data();
    void noAddress_isRefusedByName();
};

void TestLinkAddress::tcp_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");

    QTest::newRow("IPv4") << "tcp:127.0.0.1:5760"
                          << "127.0.0.1" << 5760;
    QTest::newRow("name") << "tcp:drone.local:1"
                          << "drone.local" << 1;
    QTest::newRow("IPv6") << "tcp:[::1]:65535"
                          << "::1" << 65535;
    QTest::newRow("any port") << "tcp:localhost:0"
                              << "localhost" << 0;
}

void TestLinkAddress::tcp()
{
    QFETCH(QString, text);
    QString error;
    const std::optional<LinkAddress> address = LinkAddress::parse(text, &error);
    QVERIFY2(address, qPrintable(error));
    QCOMPARE(address->kind, LinkAddress::Kind::Tcp);
    QTEST(address->host, "host");
    QTEST(int(address->port), "port");
}

void TestLinkAddress::serialDevice_isPathAndBaud()
{
    QString error;
    const std::optional<LinkAddress> address =
        LinkAddress::parse(QStringLiteral("/dev/ttyUSB0,921600"), &error);
    QVERIFY2(address, qPrintable(error));
    QCOMPARE(address->kind, LinkAddress::Kind::Serial);
    QCOMPARE(address->path, QStringLiteral("/dev/ttyUSB0"));
    QCOMPARE(address->baud, 921600);
}

void TestLinkAddress::serialDeviceWithACommaInItsPath_isCutAtTheLastOne()
{
    QString error;
    const std::optional<LinkAddress> address = LinkAddress::parse(QStringLiteral("/dev/a,b,9600"), &error);
    QVERIFY2(address, qPrintable(error));
    QCOMPARE(address->path, QStringLiteral("/dev/a,b"));
    QCOMPARE(address->baud, 9600);
}

void TestLinkAddress::pty_isThePathOfTheLink()
{
    QString error;
    const std::optional<LinkAddress> address = LinkAddress::parse(QStringLiteral("pty:run/a:b,1"), &error);
    QVERIFY2(address, qPrintable(error));
    QCOMPARE(address->kind, LinkAddress::Kind::Pty);
    QCOMPARE(address->path, QStringLiteral("run/a:b,1"));
}

void TestLinkAddress::toString_isWhatWasParsed_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text :
         {"tcp:127.0.0.1:5760", "tcp:[fe80::1]:0", "tcp:drone:1", "/dev/ttyS0,57600", "pty:link"})
        QTest::newRow(text) << text;
}

void TestLinkAddress::toString_isWhatWasParsed()
{
    QFETCH(QString, text);
    QString error;
    const std::optional<LinkAddress> address = LinkAddress::parse(text, &error);
    QVERIFY2(address, qPrintable(error));
    QCOMPARE(address->toString(), text);
}

void TestLinkAddress::noAddress_isRefusedByName_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text :
         {"", "tcp:", "tcp:host", "tcp::5760", "tcp:[]:5760", "tcp:host:", "tcp:host:x", "tcp:host:-1",
          "tcp:host:65536", "tcp:::1:5760", "pty:", "/dev/ttyS0", "/dev/ttyS0,", "/dev/ttyS0,fast",
          "/dev/ttyS0,0", "/dev/ttyS0,-9600", ",57600", "57600", "udp:host:1"})
        QTest::newRow(*text ? text : "nothing") << text;
}

void TestLinkAddress::noAddress_isRefusedByName()
{
    QFETCH(QString, text);
    QString error;
    QVERIFY(!LinkAddress::parse(text, &error));
    QVERIFY2(error.startsWith(QStringLiteral("\"%1\" is no address").arg(text)), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestLinkAddress)
#include "tst_linkaddress.moc"
