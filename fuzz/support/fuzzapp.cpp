// SPDX-License-Identifier: MIT
#include "support/fuzzapp.h"

#include "support/fuzzcheck.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <dlfcn.h>

namespace {

bool appIsMade = false;

void dropLine(QtMsgType, const QMessageLogContext &, const QString &) {}

QString scratchTemplate()
{
    const QString inMemory = QStringLiteral("/dev/shm");
    const QString parent = QFileInfo(inMemory).isWritable() ? inMemory : QDir::tempPath();
    return parent + QStringLiteral("/noflailsten-fuzz-XXXXXX");
}

/// The fuzzing engine starts processes of its own by the same function, before there is an App.
int systemOfTheEngine(const char *command)
{
    using System = int (*)(const char *);
    return reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"))(command);
}

} // namespace

/// Takes the place of the C library's: what comes off the wire must never make any other command than these
/// two.
extern "C" int system(const char *command)
{
    if (!appIsMade)
        return systemOfTheEngine(command);
    static const QRegularExpression allowed(
        QStringLiteral("\\A(nmcli radio wifi (on|off)|date --set "
                       "-?[0-9]+\\.[0-9]{2}\\.[0-9]{2}-[0-9]{2}:[0-9]{2}:[0-9]{2})\\z"));
    fuzzCheck(allowed.match(QLatin1String(command)).hasMatch(), command);
    return 0;
}

App &fuzzApp()
{
    static App *const app = [] {
        qInstallMessageHandler(dropLine);
        QLoggingCategory::setFilterRules(QStringLiteral("*=true"));
        static int argc = 1;
        static char name[] = "fuzz";
        static char *argv[] = {name, nullptr};
        appIsMade = true;
        return new App(argc, argv);
    }();
    return *app;
}

QString scratchFile(const QString &suffix)
{
    static const QTemporaryDir dir(scratchTemplate());
    static int count = 0;
    return dir.filePath(QString::number(++count) + suffix);
}
