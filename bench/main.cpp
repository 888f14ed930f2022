// SPDX-License-Identifier: MIT
#include "app/app.h"

#include <QLoggingCategory>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

// Log lines are dropped, and the clock is set by the stand-in: it happens once per benchmark, outside the
// timed loop.
int main(int argc, char *argv[])
{
    qputenv("PATH", QByteArrayLiteral(NOFLAILSTEN_STANDINS ":") + qgetenv("PATH"));
    qputenv("NOFLAILSTEN_STANDIN_LOG", "/dev/null");
    App app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QTemporaryDir scratch;
    app.loadSettings(scratch.filePath(QStringLiteral("bench.ini")));
    app.updateSetting("MAV", "CONNECTION_TYPE", QStringLiteral("TCP"));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
