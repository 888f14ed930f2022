// SPDX-License-Identifier: MIT
#include "connection/serialportfinder.h"

#include <QSerialPortInfo>
#include <QtTest>

class TestSerialPortFinder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void missingPort_isNeitherListedNorLocked_data();
    void missingPort_isNeitherListedNorLocked();
    void everyListedPort_isFoundByItsNameAndNotByItsPath();
};

void TestSerialPortFinder::missingPort_isNeitherListedNorLocked_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("no such port") << QStringLiteral("noflailsten-no-such-port");
    QTest::newRow("no name") << QString();
    QTest::newRow("folder of devices") << QStringLiteral("/dev/");
}

void TestSerialPortFinder::missingPort_isNeitherListedNorLocked()
{
    QFETCH(QString, name);

    const SerialPortListing listing = findSerialPort(name);
    QVERIFY(!listing.listed);
    QVERIFY(!listing.locked);
}

void TestSerialPortFinder::everyListedPort_isFoundByItsNameAndNotByItsPath()
{
    QStringList listed;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        listed.append(port.portName());

    QStringList found;
    for (const QString &name : qAsConst(listed)) {
        if (findSerialPort(name).listed)
            found.append(name);
        QVERIFY(!findSerialPort(QStringLiteral("/dev/") + name).listed);
    }
    QCOMPARE(found, listed);
}

QTEST_GUILESS_MAIN(TestSerialPortFinder)
#include "tst_serialportfinder.moc"
