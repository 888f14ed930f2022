// SPDX-License-Identifier: MIT
#include "sim/player.h"

#include "link/link.h"
#include "simfixture.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using namespace std::chrono_literals;

namespace {

/// Keeps what is written and lets the test say how much of it is taken.
class FakeLink : public Link
{
public:
    bool open(QString *) override { return true; }
    QString address() const override { return QStringLiteral("fake"); }
    void write(const QByteArray &bytes) override
    {
        written += bytes;
        queued += bytes.size();
    }
    qint64 queuedBytes() const override { return queued; }
    void finish() override {}

    void takeAll() { take(queued); }
    void take(qint64 size)
    {
        queued -= size;
        Q_EMIT drained();
    }

    QByteArray written;
    qint64 queued = 0;
};

} // namespace

class TestPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void beforeTheStart_nothingIsWritten();
    void frames_areWrittenWhenTheyAreDue();
    void secondStart_changesNothing();
    void lastFrame_endsTheReplayOnce();
    void everyLink_getsEverything();
    void loop_beginsAgainAfterTheLastFrame();
    void fullQueue_pausesTheReplayAndItsClock();
    void slowestLink_isWaitedFor();
    void queueAtTheLimit_goesOn();
    void shrunkenFile_endsTheReplayWithAReason();
    void longRecordingDueAtOnce_isWrittenInSteps();
    void startedFromTheEventLoop_playsToTheEnd();

private:
    QByteArray record(const QVector<quint64> &timesUs, const QByteArray &frame = Frames::version2());
    Player *makePlayer(bool loop = false);

    QTemporaryDir dir;
    QString path;
    std::unique_ptr<Recording> recording;
    std::unique_ptr<FakeLink> link;
    std::unique_ptr<FakeLink> otherLink;
    std::unique_ptr<Player> player;
    std::chrono::nanoseconds now{777s};
};

void TestPlayer::init()
{
    link = std::make_unique<FakeLink>();
    otherLink = std::make_unique<FakeLink>();
}

void TestPlayer::cleanup()
{
    player.reset();
    link.reset();
    otherLink.reset();
}

/// Makes the recording and returns its frames.
QByteArray TestPlayer::record(const QVector<quint64> &timesUs, const QByteArray &frame)
{
    QByteArray content;
    for (const quint64 time : timesUs)
        content += tlogRecord(time, frame);
    path = writeFile(dir.filePath(QStringLiteral("flight.tlog")), content);
    QString error;
    recording = Recording::open(path, 57600, &error);
    return frame.repeated(timesUs.size());
}

Player *TestPlayer::makePlayer(bool loop)
{
    player = std::make_unique<Player>(
        Player::Setup{recording.get(), ReplayClock(1, [this] { return now; }), loop});
    player->addLink(link.get());
    player->addLink(otherLink.get());
    return player.get();
}

void TestPlayer::beforeTheStart_nothingIsWritten()
{
    record({0});
    makePlayer()->step();
    QCOMPARE(link->written, QByteArray());
}

void TestPlayer::frames_areWrittenWhenTheyAreDue()
{
    const QByteArray frames = record({5'000'000, 6'000'000, 8'000'000});
    const int size = frames.size() / 3;
    makePlayer()->start();
    player->step();
    QCOMPARE(link->written, frames.left(size));
    now += 999ms;
    player->step();
    QCOMPARE(link->written.size(), size);
    now += 1ms;
    player->step();
    QCOMPARE(link->written, frames.left(2 * size));
    now += 2s;
    player->step();
    QCOMPARE(link->written, frames);
    QCOMPARE(player->bytesPlayed(), qint64(frames.size()));
}

void TestPlayer::secondStart_changesNothing()
{
    const QByteArray frames = record({0, 1'000'000});
    makePlayer()->start();
    player->step();
    now += 500ms;
    player->start();
    now += 500ms;
    player->step();
    QCOMPARE(link->written, frames);
}

void TestPlayer::lastFrame_endsTheReplayOnce()
{
    const QByteArray frames = record({0, 0});
    QSignalSpy over(makePlayer(), &Player::over);
    player->start();
    player->step();
    QCOMPARE(over.count(), 1);
    player->step();
    player->start();
    player->step();
    QCOMPARE(over.count(), 1);
    QCOMPARE(link->written, frames);
}

void TestPlayer::everyLink_getsEverything()
{
    const QByteArray frames = record({0, 0, 0});
    makePlayer()->start();
    player->step();
    QCOMPARE(link->written, frames);
    QCOMPARE(otherLink->written, frames);
}

void TestPlayer::loop_beginsAgainAfterTheLastFrame()
{
    const QByteArray frames = record({0, 1'000'000});
    QSignalSpy over(makePlayer(true), &Player::over);
    player->start();
    now += 1s;
    player->step();
    QCOMPARE(link->written, frames + frames.left(frames.size() / 2));
    now += 1s;
    player->step();
    QCOMPARE(link->written, (frames + frames + frames).left(frames.size() / 2 * 5));
    QCOMPARE(over.count(), 0);
}

void TestPlayer::fullQueue_pausesTheReplayAndItsClock()
{
    const QByteArray frames = record({0, 1'000'000, 2'000'000});
    const int size = frames.size() / 3;
    makePlayer()->start();
    player->step();
    link->queued = Player::queueLimit + 1;
    now += 1s;
    player->step();
    QCOMPARE(link->written.size(), size);
    QCOMPARE(player->pauseCount(), qint64(1));

    now += 100s;
    link->takeAll();
    player->step();
    QCOMPARE(link->written.size(), 2 * size);
    now += 1s;
    player->step();
    QCOMPARE(link->written, frames);
    QCOMPARE(player->pauseCount(), qint64(1));
}

void TestPlayer::slowestLink_isWaitedFor()
{
    const QByteArray frames = record({0});
    makePlayer()->start();
    otherLink->queued = Player::queueLimit + 2;
    player->step();
    link->takeAll();
    QCOMPARE(link->written, QByteArray());
    otherLink->take(1);
    QTest::qWait(0);
    QCOMPARE(link->written, QByteArray());
    otherLink->take(1);
    QTRY_COMPARE(link->written, frames);
}

void TestPlayer::queueAtTheLimit_goesOn()
{
    const QByteArray frames = record({0});
    makePlayer()->start();
    link->queued = Player::queueLimit;
    player->step();
    QCOMPARE(link->written, frames);
    QCOMPARE(player->pauseCount(), qint64(0));
}

void TestPlayer::shrunkenFile_endsTheReplayWithAReason()
{
    const QByteArray frames = record({0, 1'000'000});
    QSignalSpy over(makePlayer(), &Player::over);
    QSignalSpy failed(player.get(), &Player::failed);
    QVERIFY(QFile::resize(path, recording->piece(1).offset));
    player->start();
    now += 1s;
    player->step();
    QCOMPARE(link->written, frames.left(frames.size() / 2));
    QCOMPARE(failed.count(), 1);
    QCOMPARE(failed.takeFirst().at(0).toString(),
             QStringLiteral("cannot be read at byte %1").arg(recording->piece(1).offset));
    QCOMPARE(over.count(), 0);
    player->step();
    QCOMPARE(failed.count(), 0);
}

void TestPlayer::longRecordingDueAtOnce_isWrittenInSteps()
{
    const QByteArray longFrame = QByteArray::fromHex("FDFF0000000101FFFFFF") + QByteArray(255 + 2, 'x');
    const QByteArray frames = record(QVector<quint64>(400, 0), longFrame);
    makePlayer()->start();
    player->step();
    QVERIFY(link->written.size() >= 64 * 1024);
    QVERIFY(link->written.size() < 64 * 1024 + longFrame.size());
    player->step();
    QCOMPARE(link->written, frames);
}

void TestPlayer::startedFromTheEventLoop_playsToTheEnd()
{
    const QByteArray frames = record({0, 3000, 9000, 9000});
    player = std::make_unique<Player>(Player::Setup{recording.get(), ReplayClock(1)});
    player->addLink(link.get());
    QSignalSpy over(player.get(), &Player::over);
    player->start();
    QCOMPARE(link->written, QByteArray());
    QVERIFY(over.wait(60'000));
    QCOMPARE(link->written, frames);
}

QTEST_GUILESS_MAIN(TestPlayer)
#include "tst_player.moc"
