// SPDX-License-Identifier: MIT
#include "host/logoutput.h"

#include "host/screen.h"

#include <QLoggingCategory>
#include <QMutex>
#include <QMutexLocker>

#include <cstdio>

namespace {

QBasicMutex mutex; // guards currentScreen
Screen *currentScreen = nullptr;

void writeLine(const QByteArray &line)
{
    const QMutexLocker lock(&mutex);
    if (currentScreen) {
        currentScreen->scroll(line);
        return;
    }
    const QByteArray bytes = line + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
}

void handle(QtMsgType, const QMessageLogContext &, const QString &text)
{
    writeLine(text.toUtf8());
}

} // namespace

void LogOutput::install()
{
    setVerbose(false);
    qInstallMessageHandler(handle);
}

void LogOutput::setVerbose(bool verbose)
{
    QLoggingCategory::setFilterRules(verbose ? QStringLiteral("default.debug=true")
                                             : QStringLiteral("default.debug=false"));
}

void LogOutput::setScreen(Screen *screen)
{
    const QMutexLocker lock(&mutex);
    currentScreen = screen;
}

void LogOutput::complain(const QString &message)
{
    writeLine("noflailsten-host: " + message.toUtf8());
}
