// SPDX-License-Identifier: MIT
#include "host/condition.h"

#include <QCborMap>
#include <QCborValue>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

const QStringList Names{QStringLiteral("roll"), QStringLiteral("velocity"), QStringLiteral("altitude"),
                        QStringLiteral("plugin.data"), QStringLiteral("plugin.dataReceived")};

/// Of whose values nothing is known.
KnownSignals formless()
{
    KnownSignals known;
    for (const QString &name : Names)
        known.insert(name, QCborValue());
    return known;
}

KnownSignals formed()
{
    const QCborMap reading{{QStringLiteral("value"), 0.0}, {QStringLiteral("status"), 0}};
    const QCborMap text{{QStringLiteral("text"), QString()}};
    return {{QStringLiteral("roll"), 0.0},
            {QStringLiteral("armed"), false},
            {QStringLiteral("altitude"), reading},
            {QStringLiteral("texts"), text},
            {QStringLiteral("landed"), QCborValue(QCborValue::Null)}};
}

QCborValue fromText(const QByteArray &text)
{
    return QCborValue::fromJsonValue(
        QJsonDocument::fromJson("{\"v\":" + text + "}").object().value(QLatin1String("v")));
}

} // namespace

class TestCondition : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data();
    void parse();
    void parse_ofAMistake_says_data();
    void parse_ofAMistake_says();
    void parse_ofWhatCanNeverBe_says_data();
    void parse_ofWhatCanNeverBe_says();
    void parse_ofWhatFitsTheForm_isRight_data();
    void parse_ofWhatFitsTheForm_isRight();
    void isMetBy_data();
    void isMetBy();
    void isMetBy_aSignalNotSeen_isFalse();
};

void TestCondition::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QStringList>("fields");
    QTest::addColumn<int>("comparison");
    QTest::addColumn<QString>("value");
    const auto row = [](const char *text, const char *signal, const char *fields,
                        Condition::Comparison comparison, const char *value) {
        QTest::newRow(text) << QString::fromLatin1(text) << QString::fromLatin1(signal)
                            << QString::fromLatin1(fields).split(QLatin1Char('.'), Qt::SkipEmptyParts)
                            << int(comparison) << QString::fromLatin1(value);
    };
    row("roll", "roll", "", Condition::Comparison::Seen, "");
    row("roll=1", "roll", "", Condition::Comparison::Equal, "1");
    row("roll<-1.5e3", "roll", "", Condition::Comparison::Less, "-1.5e3");
    row("velocity>2", "velocity", "", Condition::Comparison::Greater, "2");
    row("altitude.value>10", "altitude", "value", Condition::Comparison::Greater, "10");
    row("altitude.a.b=x", "altitude", "a.b", Condition::Comparison::Equal, "x");
    row("plugin.dataReceived.data=ab=cd", "plugin.dataReceived", "data", Condition::Comparison::Equal,
        "ab=cd");
    row("plugin.data.received", "plugin.data", "received", Condition::Comparison::Seen, "");
    row("roll=", "roll", "", Condition::Comparison::Equal, "");
}

void TestCondition::parse()
{
    QFETCH(QString, text);
    QString error;
    const auto condition = Condition::parse(text, formless(), error);
    QVERIFY2(condition, qPrintable(error));
    QTEST(condition->signal, "signal");
    QTEST(condition->fields, "fields");
    QTEST(int(condition->comparison), "comparison");
    QTEST(condition->value, "value");
}

void TestCondition::parse_ofAMistake_says_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    QTest::newRow("unknown") << "pitch=1"
                             << "no signal is called pitch=1";
    QTest::newRow("longer than a name") << "rolling"
                                        << "no signal is called rolling";
    QTest::newRow("empty") << ""
                           << "no signal is called ";
    QTest::newRow("no field") << "altitude.>1"
                              << "a field name is missing in altitude.>1";
    QTest::newRow("no inner field") << "altitude.a..b"
                                    << "a field name is missing in altitude.a..b";
    QTest::newRow("less than a word") << "roll<x"
                                      << "a number is missing in roll<x";
    QTest::newRow("greater than nothing") << "roll>"
                                          << "a number is missing in roll>";
    QTest::newRow("greater than what nothing is compared with") << "roll>nan"
                                                                << "a number is missing in roll>nan";
    QTest::newRow("less than what everything is") << "roll<inf"
                                                  << "a number is missing in roll<inf";
}

void TestCondition::parse_ofAMistake_says()
{
    QFETCH(QString, text);
    QString error;
    QVERIFY(!Condition::parse(text, formless(), error));
    QTEST(error, "error");
}

void TestCondition::parse_ofWhatCanNeverBe_says_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *text, const char *error) {
        QTest::newRow(text) << QString::fromLatin1(text) << QString::fromLatin1(error);
    };
    row("altitude.valeu>1", "altitude has no field valeu; there are value, status");
    row("altitude.value.x", "altitude.value has no fields");
    row("roll.value>1", "roll has no fields");
    row("landed.value", "landed has no fields");
    row("altitude>1", "altitude has the fields value, status: name one");
    row("roll=high", "roll is a number, never high");
    row("roll=nan", "roll is a number, never nan"); // one that is not finite is null
    row("roll=-inf", "roll is a number, never -inf");
    row("altitude.value=", "altitude.value is a number, never ");
    row("armed=yes", "armed is true or false");
    row("armed>0", "armed is true or false");
    row("texts.text<1", "texts.text is a text");
}

void TestCondition::parse_ofWhatCanNeverBe_says()
{
    QFETCH(QString, text);
    QString error;
    QVERIFY(!Condition::parse(text, formed(), error));
    QTEST(error, "error");
}

void TestCondition::parse_ofWhatFitsTheForm_isRight_data()
{
    QTest::addColumn<QString>("text");
    for (const char *text : {"roll", "roll=1", "roll=null", "armed=true", "armed=0", "altitude",
                             "altitude.status=4", "texts.text=7", "landed"})
        QTest::newRow(text) << QString::fromLatin1(text);
}

void TestCondition::parse_ofWhatFitsTheForm_isRight()
{
    QFETCH(QString, text);
    QString error;
    QVERIFY2(Condition::parse(text, formed(), error), qPrintable(error));
}

void TestCondition::isMetBy_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("met");
    const auto row = [](const char *text, const char *value, bool met) {
        QTest::addRow("%s of %s", text, value) << QString::fromLatin1(text) << QByteArray(value) << met;
    };
    row("roll", "null", true);
    row("roll=2", "2", true);
    row("roll=2.0", "2", true);
    row("roll=2", "3", false);
    row("roll=x", "2", false);
    row("roll=0.1", "0.10000000149011612", true); // single precision
    row("roll=0.1", "0.1000001", false);
    row("altitude.latitude=47.3977419", "{\"latitude\":47.3977418}", false);
    row("roll<2", "1.5", true);
    row("roll<2", "2", false);
    row("roll>2", "2.5", true);
    row("roll>2", "2", false);
    row("roll=true", "true", true);
    row("roll=false", "true", false);
    row("roll=1", "true", true);
    row("roll=0", "true", false);
    row("roll=null", "null", true);
    row("roll>1", "null", false);
    row("roll>1", "true", false);
    row("roll=on", "\"on\"", true);
    row("roll=on", "\"only\"", false);
    row("roll>1", "\"2\"", false);
    row("altitude.status=0", "{\"status\":0,\"value\":5}", true);
    row("altitude.value>4", "{\"status\":0,\"value\":5}", true);
    row("altitude.other", "{\"status\":0}", false);
    row("altitude.status.deeper", "{\"status\":0}", false);
    row("altitude=0", "{\"status\":0}", false);
}

void TestCondition::isMetBy()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, value);
    QString error;
    const auto condition = Condition::parse(text, formless(), error);
    QVERIFY2(condition, qPrintable(error));
    QTEST(condition->isMetBy(fromText(value)), "met");
}

void TestCondition::isMetBy_aSignalNotSeen_isFalse()
{
    QString error;
    QVERIFY(!Condition::parse(QStringLiteral("roll"), formless(), error)
                 ->isMetBy(QCborValue(QCborValue::Undefined)));
}

QTEST_GUILESS_MAIN(TestCondition)
#include "tst_condition.moc"
