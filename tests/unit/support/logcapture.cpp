// SPDX-License-Identifier: MIT
#include "support/logcapture.h"

#include <QtTest>

#include <utility>

namespace {

LogCapture *active = nullptr;

} // namespace

LogCapture::LogCapture()
{
    Q_ASSERT(!active);
    active = this;
    previous = qInstallMessageHandler(&LogCapture::handle);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(previous);
    active = nullptr;
    if (!lines.isEmpty() && !QTest::currentTestFailed())
        QTest::qFail(qPrintable(QStringLiteral("unexpected log lines:\n") + lines.join(QLatin1Char('\n'))),
                     __FILE__, __LINE__);
}

QStringList LogCapture::take()
{
    const QMutexLocker lock(&mutex);
    lastTypes = std::exchange(types, {});
    return std::exchange(lines, {});
}

QStringList LogCapture::takeMatching(const QString &text)
{
    return take().filter(text);
}

void LogCapture::handle(QtMsgType type, const QMessageLogContext &, const QString &line)
{
    if (type == QtDebugMsg && active->debugIgnored)
        return;
    const QMutexLocker lock(&active->mutex);
    active->lines.append(line);
    active->types.append(type);
}
