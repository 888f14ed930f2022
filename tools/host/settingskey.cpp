// SPDX-License-Identifier: MIT
#include "host/settingskey.h"

#include "app/app.h"

#include <QMetaMethod>

bool isKnownSetting(const QByteArray &group, const QByteArray &name)
{
    // Only settings have an underscore in the names of their signals.
    if (group.isEmpty() || name.isEmpty())
        return false;
    const QByteArray wanted = group + '_' + name;
    const QMetaObject &app = App::staticMetaObject;
    for (int i = app.methodOffset(); i < app.methodCount(); ++i)
        if (app.method(i).methodType() == QMetaMethod::Signal && app.method(i).name() == wanted)
            return true;
    return false;
}
