// SPDX-License-Identifier: MIT
#include "support/testmain.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

QTemporaryDir &scratch()
{
    static QTemporaryDir dir;
    return dir;
}

QString standInLog()
{
    return scratch().filePath(QStringLiteral("stand-ins.log"));
}

} // namespace

void prepareTestEnvironment()
{
    qputenv("PATH", QByteArrayLiteral(NOFLAILSTEN_STANDINS ":") + qgetenv("PATH"));
    qputenv("NOFLAILSTEN_STANDIN_LOG", standInLog().toLocal8Bit());
    qunsetenv("NOFLAILSTEN_STANDIN_STATUS");
    qunsetenv("QT_LOGGING_RULES");
    qputenv("XDG_CONFIG_HOME", scratch().path().toLocal8Bit());
    qputenv("LC_ALL", "C.UTF-8");
}

QStringList takeStandInCalls()
{
    QFile file(standInLog());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.readAll());
    file.remove();
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
