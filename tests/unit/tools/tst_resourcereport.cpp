// SPDX-License-Identifier: MIT
#include "host/resourcereport.h"

#include <QtTest>

// The C library's own, which a sanitizer's malloc does not stand before.
extern "C" {
void *__libc_malloc(size_t size);
void __libc_free(void *memory);
}

class TestResourceReport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objectsBelowTheRoots_areCountedOnce();
    void timersOfAllObjects_areCounted();
    void rootThatGoesAway_isLeftOut();
    void singleShot_isCountedUntilItFires();
    void heap_isWhatIsInUse();

private:
    static QCborMap next(ResourceReport &report);
    static qint64 timersOf(const QCborMap &resources);
    static qint64 objectsOf(const QCborMap &resources);
    static qint64 heapOf(const QCborMap &resources);
};

QCborMap TestResourceReport::next(ResourceReport &report)
{
    QCborMap seen;
    const auto connection = connect(&report, &ResourceReport::counted, &report,
                                    [&seen](const QCborMap &counted) { seen = counted; });
    const bool came = QTest::qWaitFor([&seen] { return !seen.isEmpty(); });
    disconnect(connection);
    return came ? seen : QCborMap();
}

qint64 TestResourceReport::timersOf(const QCborMap &resources)
{
    return resources.value(QStringLiteral("timers")).toInteger(-1);
}

qint64 TestResourceReport::objectsOf(const QCborMap &resources)
{
    return resources.value(QStringLiteral("objects")).toInteger(-1);
}

qint64 TestResourceReport::heapOf(const QCborMap &resources)
{
    return resources.value(QStringLiteral("heap_kb")).toInteger(-1);
}

void TestResourceReport::objectsBelowTheRoots_areCountedOnce()
{
    QObject root;
    auto *child = new QObject(&root);
    ResourceReport none(QVector<QObject *>{});
    ResourceReport report({&root, child});
    none.start(std::chrono::milliseconds(1));
    const qint64 before = objectsOf(next(none));
    report.start(std::chrono::milliseconds(1));
    QVERIFY(before > 0); // the event loop's own
    QCOMPARE(objectsOf(next(report)), before + 2);
    delete child;
    QCOMPARE(objectsOf(next(report)), before + 1);
}

void TestResourceReport::timersOfAllObjects_areCounted()
{
    QObject root;
    auto *timer = new QTimer(&root);
    ResourceReport report({&root});
    report.start(std::chrono::milliseconds(1));
    const qint64 before = timersOf(next(report));
    timer->start(std::chrono::hours(1));
    QCOMPARE(timersOf(next(report)), before + 1);
    root.startTimer(std::chrono::hours(1));
    QCOMPARE(timersOf(next(report)), before + 2);
    timer->stop();
    QCOMPARE(timersOf(next(report)), before + 1);
}

void TestResourceReport::rootThatGoesAway_isLeftOut()
{
    QObject kept;
    auto gone = std::make_unique<QObject>();
    ResourceReport report({&kept, gone.get()});
    report.start(std::chrono::milliseconds(1));
    const qint64 before = objectsOf(next(report));
    gone.reset();
    QCOMPARE(objectsOf(next(report)), before - 1);
}

void TestResourceReport::singleShot_isCountedUntilItFires()
{
    ResourceReport report(QVector<QObject *>{});
    report.start(std::chrono::milliseconds(1));
    const qint64 before = timersOf(next(report));
    bool fired = false;
    QTimer::singleShot(std::chrono::milliseconds(200), this, [&fired] { fired = true; });
    QCOMPARE(timersOf(next(report)), before + 1);
    QVERIFY(QTest::qWaitFor([&fired] { return fired; }));
    QCOMPARE(timersOf(next(report)), before);
}

void TestResourceReport::heap_isWhatIsInUse()
{
    constexpr int Size = 300 * 1024;
    ResourceReport report(QVector<QObject *>{});
    report.start(std::chrono::milliseconds(1));
    const qint64 before = heapOf(next(report));
    void *taken = __libc_malloc(Size);
    QVERIFY(taken);
    QVERIFY(heapOf(next(report)) - before >= Size / 1024);
    __libc_free(taken);
    QVERIFY(heapOf(next(report)) - before < Size / 1024);
}

QTEST_GUILESS_MAIN(TestResourceReport)
#include "tst_resourcereport.moc"
