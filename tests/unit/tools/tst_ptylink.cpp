// SPDX-License-Identifier: MIT
#include "link/ptylink.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <memory>
#include <sys/ioctl.h>
#include <termios.h>

namespace {

const int patienceMs = 60'000;

FileDescriptor openClient(const QString &path)
{
    return FileDescriptor(::open(qPrintable(path), O_RDWR | O_NOCTTY | O_NONBLOCK));
}

QByteArray readAvailable(const FileDescriptor &client)
{
    char bytes[4096];
    const ssize_t size = ::read(client.get(), bytes, sizeof bytes);
    return QByteArray(bytes, size > 0 ? int(size) : 0);
}

QByteArray allReceived(const QSignalSpy &received)
{
    QByteArray all;
    for (const QList<QVariant> &arguments : received)
        all += arguments[0].toByteArray();
    return all;
}

ssize_t writeWhatFits(const FileDescriptor &client)
{
    const char bytes[4096] = {};
    ssize_t sum = 0;
    while (true) {
        const ssize_t written = ::write(client.get(), bytes, sizeof bytes);
        if (written <= 0)
            return sum;
        sum += written;
    }
}

} // namespace

class TestPtyLink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void open_makesALinkToARawTerminal_andRemovesItAtTheEnd();
    void open_overAFile_failsAndLeavesIt();
    void open_inAMissingFolder_fails();
    void openedFarEnd_isAClientThatJoins_closedOneThatLeaves();
    void secondOpening_ofTheFarEnd_isTheSameClient();
    void write_reachesTheClient();
    void write_withoutAClient_isLost();
    void write_toAClientThatDoesNotRead_isQueued_andDroppedWhenItLeaves();
    void clientInput_isHandedOn();
    void inputRightAfterOpening_isHandedOnOnceJoined();
    void lastWords_comeBeforeTheClientLeaves();
    void moreInputThanTheTerminalHolds_isAllRead();
    void finish_withoutAClient_isFinished();
    void finish_waitsUntilTheClientHasRead();
    void finish_endsWhenTheClientLeaves();

private:
    FileDescriptor join();

    QTemporaryDir dir;
    QString path;
    std::unique_ptr<PtyLink> link;
};

void TestPtyLink::init()
{
    path = dir.filePath(QStringLiteral("autopilot"));
    link.reset(); // before the next one claims the path
    link = std::make_unique<PtyLink>(LinkAddress{LinkAddress::Kind::Pty, {}, 0, path, 0});
    QString error;
    QVERIFY2(link->open(&error), qPrintable(error));
}

FileDescriptor TestPtyLink::join()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    FileDescriptor client = openClient(path);
    if (!joined.wait(patienceMs))
        client.reset();
    return client;
}

void TestPtyLink::open_makesALinkToARawTerminal_andRemovesItAtTheEnd()
{
    QCOMPARE(link->address(), QStringLiteral("pty:") + path);
    const FileDescriptor client = openClient(path);
    termios settings = {};
    QCOMPARE(::tcgetattr(client.get(), &settings), 0);
    QCOMPARE(settings.c_lflag & tcflag_t(ECHO | ICANON | ISIG), tcflag_t(0));
    link.reset();
    QVERIFY(!QFileInfo(path).isSymLink());
}

void TestPtyLink::open_overAFile_failsAndLeavesIt()
{
    QFile file(dir.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    PtyLink other({LinkAddress::Kind::Pty, {}, 0, file.fileName(), 0});
    QString error;
    QVERIFY(!other.open(&error));
    QCOMPARE(error, QStringLiteral("exists and is no symlink to a pseudo-terminal"));
    QVERIFY(QFileInfo(file).isFile());
}

void TestPtyLink::open_inAMissingFolder_fails()
{
    PtyLink other({LinkAddress::Kind::Pty, {}, 0, dir.filePath(QStringLiteral("missing/link")), 0});
    QString error;
    QVERIFY(!other.open(&error));
    QVERIFY2(error.startsWith(QStringLiteral("cannot make the symlink: ")), qPrintable(error));
}

void TestPtyLink::openedFarEnd_isAClientThatJoins_closedOneThatLeaves()
{
    QSignalSpy joined(link.get(), &Link::clientJoined);
    QSignalSpy left(link.get(), &Link::clientLeft);
    FileDescriptor client = openClient(path);
    QVERIFY(joined.wait(patienceMs));
    QCOMPARE(left.count(), 0);
    client.reset();
    QVERIFY(left.wait(patienceMs));
    client = openClient(path);
    QVERIFY(joined.wait(patienceMs));
    QCOMPARE(joined.count(), 2);
    QCOMPARE(left.count(), 1);
}

void TestPtyLink::secondOpening_ofTheFarEnd_isTheSameClient()
{
    QSignalSpy left(link.get(), &Link::clientLeft);
    FileDescriptor client = join();
    QVERIFY(client.isValid());
    QSignalSpy joined(link.get(), &Link::clientJoined);
    FileDescriptor second = openClient(path);
    client.reset();
    link->write("still there");
    QByteArray got;
    QTRY_VERIFY_WITH_TIMEOUT((got += readAvailable(second)) == "still there", patienceMs);
    QCOMPARE(joined.count(), 0);
    QCOMPARE(left.count(), 0);
    second.reset();
    QVERIFY(left.wait(patienceMs));
}

void TestPtyLink::write_reachesTheClient()
{
    const FileDescriptor client = join();
    QVERIFY(client.isValid());
    QSignalSpy drained(link.get(), &Link::drained);
    const QByteArray bytes("\x00\x03\x04\x11\x13\r\n\xff", 8);
    link->write(bytes);
    QByteArray got;
    QTRY_VERIFY_WITH_TIMEOUT((got += readAvailable(client)).size() >= bytes.size(), patienceMs);
    QCOMPARE(got, bytes);
    QCOMPARE(link->queuedBytes(), qint64(0));
    QVERIFY(drained.count() > 0);
}

void TestPtyLink::write_withoutAClient_isLost()
{
    link->write("nobody");
    QCOMPARE(link->queuedBytes(), qint64(0));
    const FileDescriptor client = join();
    QVERIFY(client.isValid());
    link->write("somebody");
    QByteArray got;
    QTRY_VERIFY_WITH_TIMEOUT((got += readAvailable(client)).size() >= 8, patienceMs);
    QCOMPARE(got, QByteArray("somebody"));
}

void TestPtyLink::write_toAClientThatDoesNotRead_isQueued_andDroppedWhenItLeaves()
{
    FileDescriptor client = join();
    QVERIFY(client.isValid());
    QSignalSpy drained(link.get(), &Link::drained);
    link->write(QByteArray(1'000'000, 'x'));
    QVERIFY(drained.wait(patienceMs));
    QVERIFY(link->queuedBytes() > 500'000);
    QSignalSpy left(link.get(), &Link::clientLeft);
    client.reset();
    QVERIFY(left.wait(patienceMs));
    QCOMPARE(link->queuedBytes(), qint64(0));
    client = join();
    QVERIFY(client.isValid());
    QCOMPARE(readAvailable(client), QByteArray());
}

void TestPtyLink::clientInput_isHandedOn()
{
    const FileDescriptor client = join();
    QVERIFY(client.isValid());
    QSignalSpy received(link.get(), &Link::received);
    const QByteArray bytes("\x00\x03\x04\x11\x13\r\n\xff", 8);
    QCOMPARE(::write(client.get(), bytes.constData(), size_t(bytes.size())), ssize_t(bytes.size()));
    QTRY_COMPARE_WITH_TIMEOUT(allReceived(received), bytes, patienceMs);
}

void TestPtyLink::inputRightAfterOpening_isHandedOnOnceJoined()
{
    QStringList order;
    connect(link.get(), &Link::clientJoined, link.get(), [&] { order << QStringLiteral("joined"); });
    connect(link.get(), &Link::received, link.get(),
            [&](const QByteArray &bytes) { order << QString::fromLatin1(bytes); });
    const FileDescriptor client = openClient(path);
    QCOMPARE(::write(client.get(), "first", 5), ssize_t(5));
    QTRY_COMPARE_WITH_TIMEOUT(order, QStringList({QStringLiteral("joined"), QStringLiteral("first")}),
                              patienceMs);
}

void TestPtyLink::lastWords_comeBeforeTheClientLeaves()
{
    FileDescriptor client = join();
    QVERIFY(client.isValid());
    QStringList order;
    connect(link.get(), &Link::clientLeft, link.get(), [&] { order << QStringLiteral("left"); });
    connect(link.get(), &Link::received, link.get(),
            [&](const QByteArray &bytes) { order << QString::fromLatin1(bytes); });
    QCOMPARE(::write(client.get(), "last", 4), ssize_t(4));
    client.reset();
    QTRY_COMPARE_WITH_TIMEOUT(order, QStringList({QStringLiteral("last"), QStringLiteral("left")}),
                              patienceMs);
}

void TestPtyLink::moreInputThanTheTerminalHolds_isAllRead()
{
    const FileDescriptor client = join();
    QVERIFY(client.isValid());
    qint64 sent = 0;
    QTRY_VERIFY_WITH_TIMEOUT((sent += writeWhatFits(client)) > 200'000, patienceMs);
    QCOMPARE(readAvailable(client), QByteArray());
}

void TestPtyLink::finish_withoutAClient_isFinished()
{
    QSignalSpy finished(link.get(), &Link::finished);
    link->finish();
    QVERIFY(finished.wait(patienceMs));
}

void TestPtyLink::finish_waitsUntilTheClientHasRead()
{
    const FileDescriptor client = join();
    QVERIFY(client.isValid());
    QVERIFY(::ioctl(client.get(), TIOCEXCL) == 0);
    QSignalSpy finished(link.get(), &Link::finished);
    link->write("the end");
    link->finish();
    QVERIFY(!finished.wait(200));
    QByteArray got;
    QTRY_VERIFY_WITH_TIMEOUT((got += readAvailable(client)) == "the end", patienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, patienceMs);
}

void TestPtyLink::finish_endsWhenTheClientLeaves()
{
    FileDescriptor client = join();
    QVERIFY(client.isValid());
    QSignalSpy finished(link.get(), &Link::finished);
    link->write(QByteArray(1'000'000, 'x'));
    link->finish();
    client.reset();
    QVERIFY(finished.wait(patienceMs));
}

QTEST_GUILESS_MAIN(TestPtyLink)
#include "tst_ptylink.moc"
