// SPDX-License-Identifier: MIT
#include "host/trackpicture.h"

#include <QtTest>

#include <limits>

class TestTrackPicture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void empty_showsTheOriginAlone();
    void directions_data();
    void directions();
    void track_isDrawnToScale();
    void hovering_leavesNoTrack();
    void notANumber_isPassedOver();
    void longFlight_staysInBounds();

private:
    /// Row and column of a mark; -1 where there is none.
    static QPoint find(const QStringList &lines, char mark)
    {
        for (int row = 0; row < lines.size() - 1; ++row)
            if (const int column = lines[row].indexOf(QLatin1Char(mark)); column >= 0)
                return {column, row};
        return {-1, -1};
    }
};

void TestTrackPicture::empty_showsTheOriginAlone()
{
    const TrackPicture picture;
    QVERIFY(picture.isEmpty());
    const QStringList lines = picture.draw(6, 21);
    QCOMPARE(lines.size(), 6);
    for (const QString &line : lines)
        QCOMPARE(line.size(), 21);
    QCOMPARE(find(lines, '+'), QPoint(10, 2));
    QCOMPARE(find(lines, '#'), QPoint(-1, -1));
    QVERIFY(lines.last().startsWith(QLatin1String("10 m wide")));
}

void TestTrackPicture::directions_data()
{
    QTest::addColumn<double>("north");
    QTest::addColumn<double>("east");
    QTest::addColumn<QPoint>("direction"); // of the vehicle, seen from the origin
    QTest::newRow("north") << 20.0 << 0.0 << QPoint(0, -1);
    QTest::newRow("south") << -20.0 << 0.0 << QPoint(0, 1);
    QTest::newRow("east") << 0.0 << 20.0 << QPoint(1, 0);
    QTest::newRow("west") << 0.0 << -20.0 << QPoint(-1, 0);
}

void TestTrackPicture::directions()
{
    QFETCH(double, north);
    QFETCH(double, east);
    QFETCH(QPoint, direction);
    TrackPicture picture;
    picture.add(north, east);
    const QStringList lines = picture.draw(11, 31);
    const QPoint offset = find(lines, '#') - find(lines, '+');
    QVERIFY(find(lines, '#').x() >= 0);
    QCOMPARE(QPoint(qBound(-1, offset.x(), 1), qBound(-1, offset.y(), 1)), direction);
}

void TestTrackPicture::track_isDrawnToScale()
{
    TrackPicture picture;
    for (int i = 0; i <= 40; ++i)
        picture.add(0, i);
    for (int i = 0; i <= 10; ++i)
        picture.add(i, 40);
    const QStringList lines = picture.draw(12, 45); // 44 m wide: a cell is about a metre, and two high
    QCOMPARE(lines.last().trimmed(), QStringLiteral("44 m wide, north up"));
    const QPoint offset = find(lines, '#') - find(lines, '+');
    QVERIFY2(qAbs(offset.x() - 41) <= 1 && qAbs(offset.y() + 5) <= 1,
             qPrintable(lines.join(QLatin1Char('\n'))));
}

void TestTrackPicture::hovering_leavesNoTrack()
{
    TrackPicture picture;
    for (int i = 0; i < 100; ++i)
        picture.add(0.001 * i, 5);
    const QStringList lines = picture.draw(12, 31);
    QCOMPARE(lines.join(QString()).count(QLatin1Char('.')), 0);
}

void TestTrackPicture::notANumber_isPassedOver()
{
    TrackPicture picture;
    picture.add(std::numeric_limits<double>::quiet_NaN(), 0);
    picture.add(0, std::numeric_limits<double>::infinity());
    QVERIFY(picture.isEmpty());
}

void TestTrackPicture::longFlight_staysInBounds()
{
    TrackPicture picture;
    for (int i = 0; i <= 20000; ++i)
        picture.add(i, 2.0 * i);
    const QStringList lines = picture.draw(11, 31);
    const QPoint offset = find(lines, '#') - find(lines, '+');
    QVERIFY(offset.x() > 15 && offset.y() < -5);
}

QTEST_GUILESS_MAIN(TestTrackPicture)
#include "tst_trackpicture.moc"
