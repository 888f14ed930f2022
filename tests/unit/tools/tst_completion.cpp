// SPDX-License-Identifier: MIT
#include "host/completion.h"

#include <QCborMap>
#include <QtTest>

class TestCompletion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void candidates_data();
    void candidates();
    void groups_standOnceEach();

private:
    const Completion completion{
        KnownSignals{{QStringLiteral("roll"), 0.0},
                     {QStringLiteral("virtualStick.statusChanged"),
                      QCborMap{{QStringLiteral("armed"), false}, {QStringLiteral("guided"), false}}},
                     {QStringLiteral("velocity"), 0.0}}};
};

void TestCompletion::candidates_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("words");
    const auto list = [](const char *words) {
        return QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    QTest::newRow("command") << "st" << list("status");
    QTest::newRow("commands") << "s" << list("send set status subscribe");
    QTest::newRow("two that begin alike") << "wait" << list("wait wait-for");
    QTest::newRow("indented") << "  qu" << list("quit");
    QTest::newRow("no command") << "x" << list("");
    QTest::newRow("signal") << "wait-for v" << list("velocity virtualStick.statusChanged");
    QTest::newRow("signal with fields") << "wait-for virtualStick.s" << list("virtualStick.statusChanged");
    QTest::newRow("fields") << "wait-for virtualStick.statusChanged."
                            << list("virtualStick.statusChanged.armed virtualStick.statusChanged.guided");
    QTest::newRow("field") << "wait-for virtualStick.statusChanged.g"
                           << list("virtualStick.statusChanged.guided");
    QTest::newRow("no fields") << "wait-for roll." << list("");
    QTest::newRow("whole signal") << "wait-for roll" << list("roll");
    QTest::newRow("after the signal") << "wait-for roll " << list("");
    QTest::newRow("group") << "set AP" << list("APP");
    QTest::newRow("name") << "set MAV V2" << list("V2_EXTENSION");
    QTest::newRow("name, blanks") << "set  MAV   BAUD" << list("BAUD_RATE");
    QTest::newRow("name of another group") << "set APP V2" << list("");
    QTest::newRow("value") << "set MAV V2_EXTENSION t" << list("");
    QTest::newRow("words of a text") << "text sta" << list("");
}

void TestCompletion::candidates()
{
    QFETCH(QString, line);
    QTEST(completion.candidates(line), "words");
}

void TestCompletion::groups_standOnceEach()
{
    const QStringList groups = completion.candidates(QStringLiteral("set "));
    QVERIFY(groups.contains(QStringLiteral("MAV")));
    QCOMPARE(groups.count(QStringLiteral("MAV")), 1);
}

QTEST_GUILESS_MAIN(TestCompletion)
#include "tst_completion.moc"
