// SPDX-License-Identifier: MIT
#include "host/hostoptions.h"

#include <QtTest>

namespace {

std::optional<HostOptions> parse(const QString &arguments, QString &error)
{
    return HostOptions::parse(QStringList(QStringLiteral("noflailsten-host")) +
                                  arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts),
                              error);
}

} // namespace

class TestHostOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void configAlone_givesTheDefaults();
    void everyOption_isRead();
    void settings_keepOrderAndValue();
    void helpAndVersion_needNoConfig();
    void mistake_isSaidInOneLine_data();
    void mistake_isSaidInOneLine();
};

void TestHostOptions::configAlone_givesTheDefaults()
{
    QString error;
    const auto options = parse(QStringLiteral("--config host.ini"), error);
    QVERIFY2(options, qPrintable(error));
    QCOMPARE(options->task, HostOptions::Task::Run);
    QCOMPARE(options->configFile, QStringLiteral("host.ini"));
    QVERIFY(options->pluginFile.isEmpty() && options->scriptFile.isEmpty() && options->settings.isEmpty());
    QVERIFY(!options->json && !options->quiet && !options->pruneSettings && !options->duration);
    QVERIFY(!options->resourcesPeriod && !options->linkCountersPeriod);
    QVERIFY(options->reconnect);
}

void TestHostOptions::everyOption_isRead()
{
    QString error;
    const auto options =
        parse(QStringLiteral("--config a --plugin b --json --script - --duration 1.5 --no-reconnect "
                             "--prune-settings --set MAV/SYSTEM_ID=7 --resources 10 --link-counters 0.5"),
              error);
    QVERIFY2(options, qPrintable(error));
    QCOMPARE(options->pluginFile, QStringLiteral("b"));
    QCOMPARE(options->scriptFile, QStringLiteral("-"));
    QVERIFY(options->json && options->pruneSettings && !options->reconnect);
    QCOMPARE(options->duration, std::chrono::milliseconds(1500));
    QCOMPARE(options->resourcesPeriod, std::chrono::milliseconds(10'000));
    QCOMPARE(options->linkCountersPeriod, std::chrono::milliseconds(500));
    QCOMPARE(options->settings.size(), 1);
}

void TestHostOptions::settings_keepOrderAndValue()
{
    QString error;
    const auto options =
        parse(QStringLiteral("--config a --set MAV/SERIAL_DEVICE=a/b=c --set APP/VERBOSE=true"), error);
    QVERIFY2(options, qPrintable(error));
    QCOMPARE(options->settings.size(), 2);
    QCOMPARE(options->settings.at(0).group, QByteArray("MAV"));
    QCOMPARE(options->settings.at(0).name, QByteArray("SERIAL_DEVICE"));
    QCOMPARE(options->settings.at(0).value, QStringLiteral("a/b=c"));
    QCOMPARE(options->settings.at(1).name, QByteArray("VERBOSE"));
}

void TestHostOptions::helpAndVersion_needNoConfig()
{
    QString error;
    QCOMPARE(parse(QStringLiteral("--help"), error)->task, HostOptions::Task::ShowHelp);
    QVERIFY(parse(QStringLiteral("--help"), error)->helpText.contains(QLatin1String("--no-reconnect")));
    QCOMPARE(parse(QStringLiteral("--version"), error)->task, HostOptions::Task::ShowVersion);
}

void TestHostOptions::mistake_isSaidInOneLine_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("error");
    QTest::newRow("nothing") << ""
                             << "--config FILE is required";
    QTest::newRow("no file") << "--config"
                             << "Missing value after '--config'.";
    QTest::newRow("empty file") << "--config="
                                << "--config FILE is required";
    QTest::newRow("empty script") << "--config a --script="
                                  << "--script: a file name is required";
    QTest::newRow("unknown option") << "--config a --loud"
                                    << "Unknown option 'loud'.";
    QTest::newRow("value for a flag") << "--config a --json=1"
                                      << "Unexpected value after '--json'.";
    QTest::newRow("argument") << "--config a b"
                              << "unexpected argument b";
    QTest::newRow("json and quiet") << "--config a --json --quiet"
                                    << "--json and --quiet exclude each other";
    QTest::newRow("no duration") << "--config a --duration 0"
                                 << "--duration: expected a number of seconds above 0, not 0";
    QTest::newRow("a word for a duration") << "--config a --duration x"
                                           << "--duration: expected a number of seconds above 0, not x";
    QTest::newRow("infinite duration") << "--config a --duration inf"
                                       << "--duration: expected a number of seconds above 0, not inf";
    QTest::newRow("no period") << "--config a --json --resources 0"
                               << "--resources: expected a number of seconds above 0, not 0";
    QTest::newRow("resources for nobody") << "--config a --resources 10"
                                          << "--resources is told with --json only";
    QTest::newRow("counters for nobody") << "--config a --quiet --link-counters 1"
                                         << "--link-counters is told with --json only";
    QTest::newRow("setting without group") << "--config a --set /A=1"
                                           << "--set: expected GROUP/NAME=VALUE, not /A=1";
    QTest::newRow("setting without name") << "--config a --set A/=1"
                                          << "--set: expected GROUP/NAME=VALUE, not A/=1";
    QTest::newRow("setting without value") << "--config a --set A/B"
                                           << "--set: expected GROUP/NAME=VALUE, not A/B";
    QTest::newRow("unknown setting") << "--config a --set MAV/NOTHING=1"
                                     << "--set: there is no setting MAV/NOTHING";
    QTest::newRow("setting in lower case") << "--config a --set mav/system_id=1"
                                           << "--set: there is no setting mav/system_id";
}

void TestHostOptions::mistake_isSaidInOneLine()
{
    QFETCH(QString, arguments);
    QString error;
    QVERIFY(!parse(arguments, error));
    QTEST(error, "error");
}

QTEST_GUILESS_MAIN(TestHostOptions)
#include "tst_hostoptions.moc"
