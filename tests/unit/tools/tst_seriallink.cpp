// SPDX-License-Identifier: MIT
#include "link/seriallink.h"

#include "link/filedescriptor.h"

#include <QSignalSpy>
#include <QtTest>

#include <fcntl.h>
#include <memory>
#include <stdlib.h>

namespace {
const int patienceMs = 60'000;
}

/// The device is the far end of a pseudo-terminal whose near end the test holds.
class TestSerialLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void open_isAClientFromTheStart();
    void open_ofAMissingDevice_fails();
    void write_reachesTheLine_andFinishEnds();
    void input_isHandedOn();
    void unpluggedDevice_isAClientThatLeft();

private:
    FileDescriptor nearEnd;
    QString device;
    std::unique_ptr<SerialLink> link;
};

void TestSerialLink::init()
{
    link.reset();
    nearEnd.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK));
    char name[64];
    QVERIFY(::grantpt(nearEnd.get()) == 0 && ::unlockpt(nearEnd.get()) == 0);
    QCOMPARE(::ptsname_r(nearEnd.get(), name, sizeof name), 0);
    device = QString::fromLatin1(name);
    link = std::make_unique<SerialLink>(LinkAddress{LinkAddress::Kind::Serial, {}, 0, device, 57600});
}

void TestSerialLink::open_isAClientFromTheStart()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    QString error;
    QVERIFY2(link->open(&error), qPrintable(error));
    QCOMPARE(joined.count(), 0);
    QVERIFY(joined.wait(patienceMs));
    QCOMPARE(link->address(), device + QStringLiteral(",57600"));
}

void TestSerialLink::open_ofAMissingDevice_fails()
{
    SerialLink other({LinkAddress::Kind::Serial, {}, 0, QStringLiteral("/dev/pts/missing"), 57600});
    QString error;
    QVERIFY(!other.open(&error));
    QVERIFY(!error.isEmpty());
}

void TestSerialLink::write_reachesTheLine_andFinishEnds()
{
    QString error;
    QVERIFY2(link->open(&error), qPrintable(error));
    QSignalSpy finished(link.get(), &Link::finished);
    const QByteArray bytes("\x00\x03\x11\x13\r\n\xff", 7);
    link->write(bytes);
    link->finish();
    QVERIFY(finished.wait(patienceMs));
    QCOMPARE(link->queuedBytes(), qint64(0));
    char got[64];
    QCOMPARE(::read(nearEnd.get(), got, sizeof got), ssize_t(bytes.size()));
    QCOMPARE(QByteArray(got, bytes.size()), bytes);
}

void TestSerialLink::input_isHandedOn()
{
    QString error;
    QVERIFY2(link->open(&error), qPrintable(error));
    QCOMPARE(::write(nearEnd.get(), "\xfd\x00\r", 3), ssize_t(3));
    QByteArray got;
    connect(link.get(), &Link::received, link.get(), [&](const QByteArray &bytes) { got += bytes; });
    QTRY_COMPARE_WITH_TIMEOUT(got, QByteArray("\xfd\x00\r", 3), patienceMs);
}

void TestSerialLink::unpluggedDevice_isAClientThatLeft()
{
    QString error;
    QVERIFY2(link->open(&error), qPrintable(error));
    QSignalSpy left(link.get(), &Link::clientLeft);
    nearEnd.reset();
    QVERIFY(left.wait(patienceMs));
    link->write("nobody");
    QCOMPARE(link->queuedBytes(), qint64(0));
    QSignalSpy finished(link.get(), &Link::finished);
    link->finish();
    QVERIFY(finished.wait(patienceMs));
}

QTEST_GUILESS_MAIN(TestSerialLink)
#include "tst_seriallink.moc"
