// SPDX-License-Identifier: MIT
#include "host/settingskey.h"

#include "app/app.h"

#include <QMetaMethod>

QStringList knownSettings()
{
    // Only settings have an underscore in the names of their signals.
    QStringList settings;
    const QMetaObject &app = App::staticMetaObject;
    for (int i = app.methodOffset(); i < app.methodCount(); ++i) {
        const QString name = QString::fromLatin1(app.method(i).name());
        const int underscore = name.indexOf(QLatin1Char('_'));
        if (app.method(i).methodType() == QMetaMethod::Signal && underscore > 0)
            settings.append(name.left(underscore) + QLatin1Char(' ') + name.mid(underscore + 1));
    }
    return settings;
}

bool isKnownSetting(const QByteArray &group, const QByteArray &name)
{
    if (group.isEmpty() || name.isEmpty())
        return false;
    const QString wanted = QString::fromUtf8(group + '_' + name);
    const QStringList settings = knownSettings();
    for (QString setting : settings)
        if (setting.replace(QLatin1Char(' '), QLatin1Char('_')) == wanted)
            return true;
    return false;
}
